#include "Velmar/SDK/Platform/malloc_alloc.h"

#include "Velmar/SDK/Platform/AllocationFaults.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>

namespace Velmar::SDK::Platform {

namespace {

// The balance of bytes handed out is kept per thread, changed by its own thread with a plain
// load and store: one locked add per allocation was a tenth of a compiled dictionary's load.
// bytesInUse sums the live threads' balances and what exited threads left.
struct Balance {
    std::atomic<std::int64_t> bytes{0};  // written by its thread, read by bytesInUse
    Balance* next = nullptr;
    Balance* previous = nullptr;
};

std::mutex registryMutex;  // trivially destroyed: usable to the end of the process
Balance* registry = nullptr;
// Exited threads' balances, and allocations of a thread after its balance has gone.
std::atomic<std::int64_t> retired{0};

// Plain pointers, so that reaching them is one access relative to the thread pointer.
thread_local Balance* mine __attribute__((tls_model("initial-exec"))) = nullptr;
thread_local bool gone __attribute__((tls_model("initial-exec"))) = false;

struct Registration {
    Balance balance;
    Registration() {
        const std::lock_guard<std::mutex> lock(registryMutex);
        balance.next = registry;
        if (registry != nullptr) {
            registry->previous = &balance;
        }
        registry = &balance;
    }
    ~Registration() {
        const std::lock_guard<std::mutex> lock(registryMutex);
        (balance.previous != nullptr ? balance.previous->next : registry) = balance.next;
        if (balance.next != nullptr) {
            balance.next->previous = balance.previous;
        }
        retired.fetch_add(balance.bytes.load(std::memory_order_relaxed), std::memory_order_relaxed);
        mine = nullptr;
        gone = true;
    }
};

Balance* firstUse() {
    if (gone) {
        return nullptr;  // the thread is ending
    }
    static thread_local Registration registration;
    mine = &registration.balance;
    return mine;
}

void count(std::int64_t bytes) {
    Balance* balance = mine != nullptr ? mine : firstUse();
    if (balance != nullptr) {
        balance->bytes.store(balance->bytes.load(std::memory_order_relaxed) + bytes,
                             std::memory_order_relaxed);
    } else {
        retired.fetch_add(bytes, std::memory_order_relaxed);
    }
}

}  // namespace

void* malloc_alloc::allocate(std::size_t size) {
    void* p = AllocationFaults::nextFails() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    count(static_cast<std::int64_t>(size));
    return p;
}

void malloc_alloc::deallocate(void* pointer, std::size_t size) noexcept {
    if (pointer == nullptr) {
        return;
    }
    count(-static_cast<std::int64_t>(size));
    std::free(pointer);
}

std::size_t malloc_alloc::bytesInUse() noexcept {
    const std::lock_guard<std::mutex> lock(registryMutex);
    std::int64_t sum = retired.load(std::memory_order_relaxed);
    for (const Balance* balance = registry; balance != nullptr; balance = balance->next) {
        sum += balance->bytes.load(std::memory_order_relaxed);
    }
    return static_cast<std::size_t>(sum);
}

}  // namespace Velmar::SDK::Platform
