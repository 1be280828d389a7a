#pragma once

#include <cstddef>
#include <memory>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMNode.hpp>

#include "Velmar/SDK/Templates/auto_ptr.h"
#include "Velmar/SDK/Templates/vector.h"

namespace Velmar::SDK::XMLUtils {

// Prefix-to-URI bindings that compiled queries resolve their prefixes against. Binding a prefix
// again replaces its URI.
class NamespaceResolver {
  public:
    NamespaceResolver();
    ~NamespaceResolver();
    NamespaceResolver(const NamespaceResolver&) = delete;
    NamespaceResolver& operator=(const NamespaceResolver&) = delete;

    void addNamespaceBinding(const XMLCh* prefix, const XMLCh* uri);
    // Null when the prefix is not bound.
    const XMLCh* lookupNamespaceURI(const XMLCh* prefix) const;

  private:
    friend class XPathEvaluator;
    struct Bindings;
    std::unique_ptr<Bindings> bindings_;
};

// A compiled query; valid as long as the evaluator that compiled it.
class XPathExpression {
  public:
    ~XPathExpression();

  private:
    friend class XPathEvaluator;
    struct Compiled;
    explicit XPathExpression(std::unique_ptr<Compiled> compiled);
    std::unique_ptr<Compiled> compiled_;
};

using NodeList = Templates::vector<xercesc::DOMNode*>;

// The XPath engine over one parsed document: the engine reads its own view of the DOM, and
// result nodes are mapped back to the parser's nodes. It must be destroyed before the
// document is released. The engine's failures leave as its own exceptions (xalanc::XSLException
// and derived), and it writes nothing to standard output or error.
class XPathEvaluator {
  public:
    explicit XPathEvaluator(const xercesc::DOMDocument& document);
    ~XPathEvaluator();
    XPathEvaluator(const XPathEvaluator&) = delete;
    XPathEvaluator& operator=(const XPathEvaluator&) = delete;

    // An empty resolver owned by the evaluator.
    NamespaceResolver* createNSResolver();

    // Compiles a query; without a resolver, no prefix resolves.
    Templates::auto_ptr<XPathExpression> createExpression(const XMLCh* query,
                                                          const NamespaceResolver* resolver);

    // Appends the result nodes, in document order, to results. The result must be a node set.
    void evaluate(const XPathExpression& expression, const xercesc::DOMNode* context,
                  NodeList& results);

    const xercesc::DOMDocument& document() const { return document_; }

  private:
    struct Engine;
    const xercesc::DOMDocument& document_;
    std::unique_ptr<Engine> engine_;
};

}  // namespace Velmar::SDK::XMLUtils
