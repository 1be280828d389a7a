#include "Velmar/SDK/Platform/malloc_alloc.h"

#include "Velmar/SDK/Platform/AllocationFaults.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace Velmar::SDK::Platform {

namespace {
std::atomic<std::size_t> inUse{0};
}

void* malloc_alloc::allocate(std::size_t size) {
    void* p = AllocationFaults::nextFails() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    inUse.fetch_add(size, std::memory_order_relaxed);
    return p;
}

void malloc_alloc::deallocate(void* pointer, std::size_t size) noexcept {
    if (pointer == nullptr) {
        return;
    }
    inUse.fetch_sub(size, std::memory_order_relaxed);
    std::free(pointer);
}

std::size_t malloc_alloc::bytesInUse() noexcept {
    return inUse.load(std::memory_order_relaxed);
}

}  // namespace Velmar::SDK::Platform
