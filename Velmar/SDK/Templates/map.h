#pragma once

#include <functional>
#include <map>
#include <utility>

#include "Velmar/SDK/Platform/Allocator.h"

namespace Velmar::SDK::Templates {

// Ordered map (balanced tree): inserting a key already present leaves the map unchanged and
// operator[] of an absent key inserts a value-initialised (null) entry.
template <class Key, class Value, class Compare = std::less<Key>,
          class RawAllocator = Platform::malloc_alloc>
using map =
    std::map<Key, Value, Compare, Platform::Allocator<std::pair<const Key, Value>, RawAllocator>>;

}  // namespace Velmar::SDK::Templates
