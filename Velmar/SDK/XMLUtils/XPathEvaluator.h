#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMNode.hpp>

#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/Templates/auto_ptr.h"
#include "Velmar/SDK/Templates/vector.h"
#include "Velmar/SDK/XMLUtils/DirectPath.h"
#include "Velmar/SDK/XMLUtils/XPathEngine.h"

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
    std::map<WString, WString> uris_;
};

// A compiled query, owned by the evaluator that compiled it.
class XPathExpression {
  public:
    ~XPathExpression();

  private:
    friend class XPathEvaluator;
    XPathExpression();
    WString text_;
    std::unique_ptr<DirectPath> direct_;
    std::unique_ptr<XPathEngine::Query> engine_;
    mutable std::unique_ptr<Templates::vector<xercesc::DOMNode*>> absoluteResult_;
};

using NodeList = Templates::vector<xercesc::DOMNode*>;

// Queries over one parsed document. Each query text is compiled once. The forms the loader
// asks are answered by walking the DOM directly (DirectPath); every other query goes to the
// XPath engine, which reads a view of the DOM of its own, built the first time it is needed.
// Both give the same nodes. Checked runs both, answers with the engine's nodes and records
// every query on which they differ (checkedDifferences), so that tests can prove the two agree.
// Engine failures leave as the engine's exceptions (xalanc::XSLException and derived), and
// failure to load the engine as a ParseError.
// Nothing is written to standard output or error. The document must not change while the
// evaluator is in use, and must outlive it.
class XPathEvaluator {
  public:
    enum class Mode { Direct, EngineOnly, Checked };

    explicit XPathEvaluator(const xercesc::DOMDocument& document, Mode mode = defaultMode());
    ~XPathEvaluator();
    XPathEvaluator(const XPathEvaluator&) = delete;
    XPathEvaluator& operator=(const XPathEvaluator&) = delete;

    // An empty resolver owned by the evaluator.
    NamespaceResolver* createNSResolver();

    // Compiled once per text and resolver; prefixes resolve at the first compilation. Without
    // a resolver, no prefix resolves.
    const XPathExpression& createExpression(const XMLCh* query, const NamespaceResolver* resolver);

    // Appends the result nodes, in document order, to results. The result must be a node set.
    void evaluate(const XPathExpression& expression, const xercesc::DOMNode* context,
                  NodeList& results);

    const xercesc::DOMDocument& document() const { return document_; }
    // The root element's children, all of them in order, as the document's builder knows
    // them: queries among them then need not walk thousands of siblings to list them.
    void setRootChildren(NodeList children);

    // The mode of evaluators made from now on; for tests that compare the two ways.
    static void setDefaultMode(Mode mode);
    static Mode defaultMode();
    // The differences Checked evaluators found, one line each, since the last call.
    static std::vector<std::string> takeCheckedDifferences();

  private:
    XPathEngine::View& engine();
    void evaluateWithEngine(const XPathExpression& expression, const xercesc::DOMNode* context,
                            NodeList& results);

    const xercesc::DOMDocument& document_;
    Mode mode_;
    std::unique_ptr<XPathEngine::View> engine_;
    std::unique_ptr<ChildIndex> index_;
    std::list<NamespaceResolver> resolvers_;
    std::map<const NamespaceResolver*,
             Templates::unordered_map<WString, std::unique_ptr<XPathExpression>>>
        expressions_;
    // The same expressions by the address of the query text: the passes ask fixed texts, so a
    // repeated query is found without copying or hashing its text (a match is confirmed by
    // comparing the text, so a reused address never finds the wrong expression).
    std::unordered_map<const XMLCh*, std::pair<const NamespaceResolver*, const XPathExpression*>>
        byAddress_;
};

}  // namespace Velmar::SDK::XMLUtils
