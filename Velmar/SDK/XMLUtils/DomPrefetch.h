#pragma once

#include <cstddef>
#include <type_traits>

#include <xercesc/dom/DOMNode.hpp>

namespace Velmar::SDK::XMLUtils {

constexpr std::ptrdiff_t kCacheLine = 64;

// Asks the processor to start loading the nodes of the declaration `from`, whose next
// declaration in document order is `to`. The parser allocates a subtree's nodes one after
// another, so the memory between two declarations holds the first one's nodes; a large DOM has
// long left the cache when the passes read it, and a declaration's nodes fetched together while
// the one before is read cost less than fetched one dependent pointer at a time. A span that is
// not one short run (the declarations came from different blocks) is left alone.
inline void prefetchDeclaration(const xercesc::DOMNode* from, const xercesc::DOMNode* to) {
    constexpr std::ptrdiff_t kLongestSpan = 64 * 1024;
    const char* at = reinterpret_cast<const char*>(from);
    const char* end = reinterpret_cast<const char*>(to);
    if (end <= at || end - at > kLongestSpan) {
        return;
    }
    for (; at < end; at += kCacheLine) {
        __builtin_prefetch(at);
    }
}

// The same for one node: the parser allocates an element's attribute map, attributes and their
// text right after the element, so its first lines hold what a name test and an attribute read
// need, which read one dependent pointer at a time would be a miss each.
inline void prefetchNode(const xercesc::DOMNode* node) {
    constexpr int kLines = 8;
    const char* at = reinterpret_cast<const char*>(node);
    for (int line = 0; line < kLines; ++line) {
        __builtin_prefetch(at + line * kCacheLine);
    }
}

// Calls visit with each node in turn while the nodes a few places ahead are being loaded: a
// walk over thousands of declarations that reads a few attributes of each is bound by the
// misses, not by the work. A visit that returns false ends the walk, and so does this.
template <class Nodes, class Visit>
bool forEachPrefetched(const Nodes& nodes, Visit&& visit) {
    constexpr std::size_t kAhead = 8;
    const std::size_t count = nodes.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (i + kAhead < count) {
            prefetchNode(nodes[i + kAhead]);
        }
        if constexpr (std::is_void_v<decltype(visit(nodes[i]))>) {
            visit(nodes[i]);
        } else if (!visit(nodes[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace Velmar::SDK::XMLUtils
