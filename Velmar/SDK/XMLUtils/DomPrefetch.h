#pragma once

#include <cstddef>

#include <xercesc/dom/DOMNode.hpp>

namespace Velmar::SDK::XMLUtils {

// Asks the processor to start loading the nodes of the declaration `from`, whose next
// declaration in document order is `to`. The parser allocates a subtree's nodes one after
// another, so the memory between two declarations holds the first one's nodes; a large DOM has
// long left the cache when the passes read it, and a declaration's nodes fetched together while
// the one before is read cost less than fetched one dependent pointer at a time. A span that is
// not one short run (the declarations came from different blocks) is left alone.
inline void prefetchDeclaration(const xercesc::DOMNode* from, const xercesc::DOMNode* to) {
    constexpr std::ptrdiff_t kLine = 64;
    constexpr std::ptrdiff_t kLongestSpan = 64 * 1024;
    const char* at = reinterpret_cast<const char*>(from);
    const char* end = reinterpret_cast<const char*>(to);
    if (end <= at || end - at > kLongestSpan) {
        return;
    }
    for (; at < end; at += kLine) {
        __builtin_prefetch(at);
    }
}

}  // namespace Velmar::SDK::XMLUtils
