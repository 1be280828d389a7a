#pragma once

#include <cstddef>

#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Platform/malloc_alloc.h"

namespace Velmar::SDK::Platform {

// Standard allocator over a raw toolkit allocator, so the standard containers can serve as the
// toolkit's containers while their storage still comes from the toolkit.
template <class T, class RawAllocator = malloc_alloc>
class VELMAR_SDK_API Allocator {
  public:
    using value_type = T;
    template <class U>
    struct rebind {
        using other = Allocator<U, RawAllocator>;
    };

    Allocator() noexcept = default;
    template <class U>
    Allocator(const Allocator<U, RawAllocator>&) noexcept {}

    T* allocate(std::size_t n) { return static_cast<T*>(RawAllocator::allocate(n * sizeof(T))); }
    void deallocate(T* p, std::size_t n) noexcept { RawAllocator::deallocate(p, n * sizeof(T)); }

    template <class U>
    bool operator==(const Allocator<U, RawAllocator>&) const noexcept {
        return true;
    }
    template <class U>
    bool operator!=(const Allocator<U, RawAllocator>&) const noexcept {
        return false;
    }
};

}  // namespace Velmar::SDK::Platform
