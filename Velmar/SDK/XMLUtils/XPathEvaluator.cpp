#include "Velmar/SDK/XMLUtils/XPathEvaluator.h"

#include <list>
#include <map>

#include <xalanc/PlatformSupport/PrefixResolver.hpp>
#include <xalanc/XPath/NodeRefList.hpp>
#include <xalanc/XPath/XPath.hpp>
#include <xalanc/XPath/XPathConstructionContextDefault.hpp>
#include <xalanc/XPath/XPathEvaluator.hpp>
#include <xalanc/XPath/XPathProcessorImpl.hpp>
#include <xalanc/XalanDOM/XalanDOMString.hpp>
#include <xalanc/XercesParserLiaison/XercesDOMSupport.hpp>
#include <xalanc/XercesParserLiaison/XercesDocumentWrapper.hpp>
#include <xalanc/XercesParserLiaison/XercesParserLiaison.hpp>

namespace Velmar::SDK::XMLUtils {

struct NamespaceResolver::Bindings : xalanc::PrefixResolver {
    std::map<xalanc::XalanDOMString, xalanc::XalanDOMString> uris;
    xalanc::XalanDOMString baseUri;

    const xalanc::XalanDOMString* getNamespaceForPrefix(
        const xalanc::XalanDOMString& prefix) const override {
        auto it = uris.find(prefix);
        return it == uris.end() ? nullptr : &it->second;
    }
    const xalanc::XalanDOMString& getURI() const override { return baseUri; }
};

NamespaceResolver::NamespaceResolver() : bindings_(std::make_unique<Bindings>()) {}
NamespaceResolver::~NamespaceResolver() = default;

void NamespaceResolver::addNamespaceBinding(const XMLCh* prefix, const XMLCh* uri) {
    bindings_->uris[xalanc::XalanDOMString(prefix != nullptr ? prefix : u"")] =
        xalanc::XalanDOMString(uri != nullptr ? uri : u"");
}

const XMLCh* NamespaceResolver::lookupNamespaceURI(const XMLCh* prefix) const {
    const auto* uri =
        bindings_->getNamespaceForPrefix(xalanc::XalanDOMString(prefix != nullptr ? prefix : u""));
    return uri == nullptr ? nullptr : uri->c_str();
}

namespace {

// The engine reports compile problems through its construction context before throwing; the
// library must stay silent, so the report is dropped and only the exception counts.
class QuietConstructionContext : public xalanc::XPathConstructionContextDefault {
  public:
    using XPathConstructionContextDefault::XPathConstructionContextDefault;
    void problem(eSource, eClassification, const xalanc::XalanDOMString&, const xalanc::Locator*,
                 const xalanc::XalanNode*) override {}
    void problem(eSource, eClassification, const xalanc::XalanDOMString&,
                 const xalanc::XalanNode*) override {}
};

xalanc::MemoryManager& memoryManager() {
    return xalanc::XalanMemMgrs::getDefaultXercesMemMgr();
}

}  // namespace

struct XPathExpression::Compiled {
    explicit Compiled(const xalanc::PrefixResolver& r) : xpath(memoryManager()), resolver(r) {}
    xalanc::XPath xpath;
    const xalanc::PrefixResolver& resolver;
};

XPathExpression::XPathExpression(std::unique_ptr<Compiled> compiled)
    : compiled_(std::move(compiled)) {}
XPathExpression::~XPathExpression() = default;

struct XPathEvaluator::Engine {
    explicit Engine(const xercesc::DOMDocument& document)
        : liaison(memoryManager()), domSupport(liaison), constructionContext(memoryManager()) {
        // The whole wrapper with node maps, so that parser nodes map to engine nodes and back.
        wrapperDocument = liaison.createDocument(&document, false, true, true);
        wrapper = liaison.mapDocumentToWrapper(wrapperDocument);
    }
    ~Engine() { liaison.destroyDocument(wrapperDocument); }

    xalanc::XercesParserLiaison liaison;
    xalanc::XercesDOMSupport domSupport;
    xalanc::XalanDocument* wrapperDocument = nullptr;
    xalanc::XercesDocumentWrapper* wrapper = nullptr;
    QuietConstructionContext constructionContext;
    xalanc::XPathProcessorImpl processor;
    xalanc::XPathEvaluator evaluator;
    NamespaceResolver noBindings;
    std::list<NamespaceResolver> resolvers;
};

XPathEvaluator::XPathEvaluator(const xercesc::DOMDocument& document)
    : document_(document), engine_(std::make_unique<Engine>(document)) {}

XPathEvaluator::~XPathEvaluator() = default;

NamespaceResolver* XPathEvaluator::createNSResolver() {
    return &engine_->resolvers.emplace_back();
}

Templates::auto_ptr<XPathExpression> XPathEvaluator::createExpression(
    const XMLCh* query, const NamespaceResolver* resolver) {
    const NamespaceResolver& bindings = resolver != nullptr ? *resolver : engine_->noBindings;
    auto compiled = std::make_unique<XPathExpression::Compiled>(*bindings.bindings_);
    engine_->processor.initXPath(
        compiled->xpath, engine_->constructionContext,
        xalanc::XalanDOMString(query != nullptr ? query : u"", memoryManager()),
        *bindings.bindings_);
    return Templates::auto_ptr<XPathExpression>(new XPathExpression(std::move(compiled)));
}

void XPathEvaluator::evaluate(const XPathExpression& expression, const xercesc::DOMNode* context,
                              NodeList& results) {
    xalanc::XalanNode* engineContext = engine_->wrapperDocument;
    if (context != nullptr && context != &document_) {
        engineContext = engine_->wrapper->mapNode(context);
    }
    xalanc::NodeRefList nodes(memoryManager());
    engine_->evaluator.selectNodeList(nodes, engine_->domSupport, engineContext,
                                      expression.compiled_->xpath, expression.compiled_->resolver);
    const auto count = nodes.getLength();
    for (xalanc::NodeRefList::size_type i = 0; i < count; ++i) {
        results.push_back(const_cast<xercesc::DOMNode*>(engine_->wrapper->mapNode(nodes.item(i))));
    }
}

}  // namespace Velmar::SDK::XMLUtils
