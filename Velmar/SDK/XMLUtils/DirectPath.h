#pragma once

#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNode.hpp>

#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/Templates/unordered_map.h"
#include "Velmar/SDK/Templates/vector.h"

namespace Velmar::SDK::XMLUtils {

class NamespaceResolver;
using NodeList = Templates::vector<xercesc::DOMNode*>;

// Children of one element grouped by the value of one attribute, for name lookups among the
// thousands of declarations under a schema root. One index serves every query that selects
// the same children by the same attribute, whatever value it asks for.
class ChildIndex {
  public:
    struct Selection {
        const xercesc::DOMNode* parent;
        WString namespaceUri;  // with the local name, which children count ("*" for any)
        WString localName;
        WString attribute;
        bool operator<(const Selection& other) const;
    };
    using Children = Templates::vector<xercesc::DOMElement*>;
    // Keyed by the values as the document holds them: the index lives no longer than it.
    using Index = Templates::unordered_map<std::u16string_view, Children>;

    // The children of node when it is its document's root element, listed on first use so
    // that walks among them can load a few ahead; else null.
    const NodeList* rootChildren(const xercesc::DOMNode* node);
    // The root's children as whoever built the document listed them, all of them in order,
    // so that they are not listed by a walk.
    void setRootChildren(const xercesc::DOMElement* root, NodeList children);

    // Null until built.
    const Index* find(const Selection& selection) const;
    Index& build(const Selection& selection);

  private:
    std::map<Selection, Index> indexes_;
    const xercesc::DOMNode* root_ = nullptr;
    bool rootListed_ = false;
    NodeList rootChildren_;
};

// A query of the XPath forms the loader asks, answered by walking the parser's DOM directly:
// location paths of child, descendant ("./" then "//" first), attribute and text() steps, name
// tests with bound prefixes or "*", predicates that test an attribute path for presence or
// compare it with a literal (= and !=), joined with "and", and the outermost ancestor of a
// name. Results are exactly what the XPath engine gives: nodes in document order, no repeats.
// The document must not change while its queries are in use.
class DirectPath {
  public:
    ~DirectPath();

    // Null when the query is not of those forms (or uses an unbound prefix): the engine then
    // answers it, and reports its errors.
    static std::unique_ptr<DirectPath> compile(const XMLCh* query,
                                               const NamespaceResolver* resolver);

    void evaluate(const xercesc::DOMNode* context, NodeList& results, ChildIndex& index) const;
    // Absolute paths give the same result from any context.
    bool absolute() const;

    struct Path;

  private:
    explicit DirectPath(std::unique_ptr<Path> path);
    std::unique_ptr<Path> path_;
};

}  // namespace Velmar::SDK::XMLUtils
