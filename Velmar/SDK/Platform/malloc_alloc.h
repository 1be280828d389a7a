#pragma once

#include <cstddef>

#include "Velmar/SDK/Platform/Export.h"

namespace Velmar::SDK::Platform {

// The toolkit's allocator. Every container and class-level operator new draws on it, so the
// bytes it has handed out and not yet been given back can be counted: a balance that does not
// return to where it was reveals a leak or a deallocation told the wrong size.
class VELMAR_SDK_API malloc_alloc {
  public:
    static void* allocate(std::size_t size);  // throws std::bad_alloc
    static void deallocate(void* pointer, std::size_t size) noexcept;

    static std::size_t bytesInUse() noexcept;
};

}  // namespace Velmar::SDK::Platform
