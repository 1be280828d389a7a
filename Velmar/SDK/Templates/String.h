#pragma once

#include <string>

#include "Velmar/SDK/Platform/Allocator.h"
#include "Velmar/SDK/Platform/Types.h"

namespace Velmar::SDK {

namespace Templates {

template <class C>
using char_traits = std::char_traits<C>;

// The toolkit's string: always null-terminated, storage from the toolkit's allocator. For
// char16_t the standard traits compare code units as unsigned numbers, which is the order the
// loader's maps rely on.
template <class C, class Traits = char_traits<C>, class RawAllocator = Platform::malloc_alloc>
using basic_string = std::basic_string<C, Traits, Platform::Allocator<C, RawAllocator>>;

}  // namespace Templates

using WString =
    Templates::basic_string<XMLCh, Templates::char_traits<XMLCh>, Platform::malloc_alloc>;
using String = Templates::basic_string<char, Templates::char_traits<char>, Platform::malloc_alloc>;

}  // namespace Velmar::SDK
