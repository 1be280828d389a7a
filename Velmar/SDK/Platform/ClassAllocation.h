#pragma once

#include <cstddef>

#include "Velmar/SDK/Platform/malloc_alloc.h"

// Class-level allocation through the toolkit's allocator: the single, array and placement forms.
// Deleting through a virtual destructor hands the most derived class's size back, as
// malloc_alloc::deallocate requires.
#define VELMAR_SDK_CLASS_ALLOCATION                                     \
  public:                                                               \
    static void* operator new(std::size_t size) {                       \
        return ::Velmar::SDK::Platform::malloc_alloc::allocate(size);   \
    }                                                                   \
    static void operator delete(void* p, std::size_t size) noexcept {   \
        ::Velmar::SDK::Platform::malloc_alloc::deallocate(p, size);     \
    }                                                                   \
    static void* operator new[](std::size_t size) {                     \
        return ::Velmar::SDK::Platform::malloc_alloc::allocate(size);   \
    }                                                                   \
    static void operator delete[](void* p, std::size_t size) noexcept { \
        ::Velmar::SDK::Platform::malloc_alloc::deallocate(p, size);     \
    }                                                                   \
    static void* operator new(std::size_t, void* where) noexcept {      \
        return where;                                                   \
    }                                                                   \
    static void* operator new[](std::size_t, void* where) noexcept {    \
        return where;                                                   \
    }                                                                   \
    static void operator delete(void*, void*) noexcept {}               \
    static void operator delete[](void*, void*) noexcept {}
