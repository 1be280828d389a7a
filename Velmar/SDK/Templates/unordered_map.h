#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "Velmar/SDK/Platform/Allocator.h"

namespace Velmar::SDK::Templates {

// std::hash, extended to the keys the toolkit hashes that the standard leaves out: strings
// with the toolkit's allocator, views of strings, and fixed runs of bytes such as labels. Their
// call operators are not noexcept on purpose: the standard library then keeps each key's hash
// beside it, as it does for its own string hashes, so that a lookup walking a bucket compares
// hashes rather than hashing or comparing the keys of other entries, each a miss in an index of
// tens of thousands of entries.
template <class Key>
struct hash : std::hash<Key> {};

template <class C, class Traits, class Allocator>
struct hash<std::basic_string<C, Traits, Allocator>> {
    std::size_t operator()(const std::basic_string<C, Traits, Allocator>& s) const {
        return std::hash<std::basic_string_view<C, Traits>>{}(
            std::basic_string_view<C, Traits>(s.data(), s.size()));
    }
};

template <class C, class Traits>
struct hash<std::basic_string_view<C, Traits>> {
    std::size_t operator()(std::basic_string_view<C, Traits> s) const {
        return std::hash<std::basic_string_view<C, Traits>>{}(s);
    }
};

template <std::size_t N>
struct hash<std::array<unsigned char, N>> {
    std::size_t operator()(const std::array<unsigned char, N>& bytes) const {
        return std::hash<std::string_view>{}(
            std::string_view(reinterpret_cast<const char*>(bytes.data()), N));
    }
};

// Hashed map: for lookups by key that never need the keys in order.
template <class Key, class Value, class Hash = hash<Key>, class Equal = std::equal_to<Key>,
          class RawAllocator = Platform::malloc_alloc>
using unordered_map =
    std::unordered_map<Key, Value, Hash, Equal,
                       Platform::Allocator<std::pair<const Key, Value>, RawAllocator>>;

}  // namespace Velmar::SDK::Templates
