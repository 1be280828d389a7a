#pragma once

#include <vector>

#include "Velmar/SDK/Platform/Allocator.h"

namespace Velmar::SDK::Templates {

template <class T, class RawAllocator = Platform::malloc_alloc>
using vector = std::vector<T, Platform::Allocator<T, RawAllocator>>;

}  // namespace Velmar::SDK::Templates
