#include "Velmar/SDK/XMLUtils/XPathEvaluator.h"

#include "Velmar/SDK/XMLUtils/Initializer.h"
#include "Velmar/SDK/XMLUtils/MemoryManager.h"

#include <xercesc/util/XMLString.hpp>

#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/DirectPath.h"

#include <atomic>
#include <list>
#include <map>
#include <mutex>
#include <string>

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
    return EngineMemoryManager::instance();
}

}  // namespace

struct XPathExpression::Compiled {
    explicit Compiled(const xalanc::PrefixResolver& r) : xpath(memoryManager()), resolver(r) {}
    xalanc::XPath xpath;
    const xalanc::PrefixResolver& resolver;
};

XPathExpression::XPathExpression() = default;
XPathExpression::~XPathExpression() = default;

struct XPathEvaluator::Engine {
    explicit Engine(const xercesc::DOMDocument& document)
        : liaison(memoryManager()),
          domSupport(liaison),
          constructionContext(memoryManager()),
          processor(memoryManager()),
          evaluator(memoryManager()) {
        // The whole view with node maps, so that parser nodes map to engine nodes and back.
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
};

namespace {
std::atomic<XPathEvaluator::Mode> modeForNewEvaluators{XPathEvaluator::Mode::Direct};
std::mutex differencesMutex;
std::vector<std::string> differences;

std::string describe(const NodeList& nodes) {
    std::string text = std::to_string(nodes.size()) + " nodes:";
    for (const xercesc::DOMNode* node : nodes) {
        text += " " + std::string(Utils::toUtf8(node->getNodeName()).c_str());
    }
    return text;
}
}  // namespace

std::vector<std::string> XPathEvaluator::takeCheckedDifferences() {
    std::lock_guard<std::mutex> lock(differencesMutex);
    return std::exchange(differences, {});
}

void XPathEvaluator::setDefaultMode(Mode mode) {
    modeForNewEvaluators = mode;
}
XPathEvaluator::Mode XPathEvaluator::defaultMode() {
    return modeForNewEvaluators;
}

XPathEvaluator::XPathEvaluator(const xercesc::DOMDocument& document, Mode mode)
    : document_(document), mode_(mode), index_(std::make_unique<ChildIndex>()) {}

XPathEvaluator::~XPathEvaluator() {
    // Expressions compiled by the engine refer to its string pools.
    expressions_.clear();
}

XPathEvaluator::Engine& XPathEvaluator::engine() {
    if (!engine_) {
        Initializer::instance().startEngine();
        engine_ = std::make_unique<Engine>(document_);
        EngineMemoryManager::raiseIfExhausted();
    }
    return *engine_;
}

NamespaceResolver* XPathEvaluator::createNSResolver() {
    return &resolvers_.emplace_back();
}

const XPathExpression& XPathEvaluator::createExpression(const XMLCh* query,
                                                        const NamespaceResolver* resolver) {
    if (query != nullptr) {
        const auto known = byAddress_.find(query);
        if (known != byAddress_.end() && known->second.first == resolver &&
            xercesc::XMLString::equals(known->second.second->text_.c_str(), query)) {
            return *known->second.second;
        }
    }
    WString text(query != nullptr ? query : u"");
    auto& cache = expressions_[resolver];
    auto& slot = cache[text];
    if (slot) {
        if (query != nullptr) {
            byAddress_[query] = {resolver, slot.get()};
        }
        return *slot;
    }
    auto expression = std::unique_ptr<XPathExpression>(new XPathExpression);
    expression->text_ = text;
    if (mode_ != Mode::EngineOnly) {
        expression->direct_ = DirectPath::compile(text.c_str(), resolver);
    }
    if (!expression->direct_ || mode_ != Mode::Direct) {
        const NamespaceResolver& bindings = resolver != nullptr ? *resolver : noBindings_;
        auto compiled = std::make_unique<XPathExpression::Compiled>(*bindings.bindings_);
        Engine& e = engine();
        try {
            e.processor.initXPath(compiled->xpath, e.constructionContext,
                                  xalanc::XalanDOMString(text.c_str(), memoryManager()),
                                  *bindings.bindings_);
            EngineMemoryManager::raiseIfExhausted();
        } catch (...) {
            cache.erase(text);
            throw;
        }
        expression->engine_ = std::move(compiled);
    }
    slot = std::move(expression);
    if (query != nullptr) {
        byAddress_[query] = {resolver, slot.get()};
    }
    return *slot;
}

void XPathEvaluator::evaluateWithEngine(const XPathExpression& expression,
                                        const xercesc::DOMNode* context, NodeList& results) {
    Engine& e = engine();
    xalanc::XalanNode* engineContext = e.wrapperDocument;
    if (context != nullptr && context != &document_) {
        engineContext = e.wrapper->mapNode(context);
    }
    xalanc::NodeRefList nodes(memoryManager());
    e.evaluator.selectNodeList(nodes, e.domSupport, engineContext, expression.engine_->xpath,
                               expression.engine_->resolver);
    EngineMemoryManager::raiseIfExhausted();
    const auto count = nodes.getLength();
    for (xalanc::NodeRefList::size_type i = 0; i < count; ++i) {
        results.push_back(const_cast<xercesc::DOMNode*>(e.wrapper->mapNode(nodes.item(i))));
    }
}

void XPathEvaluator::evaluate(const XPathExpression& expression, const xercesc::DOMNode* context,
                              NodeList& results) {
    if (!expression.direct_) {
        evaluateWithEngine(expression, context, results);
        return;
    }
    NodeList direct;
    if (expression.direct_->absolute() && expression.absoluteResult_) {
        direct = *expression.absoluteResult_;
    } else {
        expression.direct_->evaluate(context != nullptr ? context : &document_, direct, *index_);
        if (expression.direct_->absolute()) {
            expression.absoluteResult_ = std::make_unique<NodeList>(direct);
        }
    }
    if (mode_ == Mode::Checked) {
        NodeList engine;
        evaluateWithEngine(expression, context, engine);
        if (engine != direct) {
            std::lock_guard<std::mutex> lock(differencesMutex);
            differences.push_back(
                "\"" + std::string(Utils::toUtf8(expression.text_.c_str()).c_str()) +
                "\": direct " + describe(direct) + ", engine " + describe(engine));
        }
        direct.swap(engine);
    }
    results.insert(results.end(), direct.begin(), direct.end());
}

}  // namespace Velmar::SDK::XMLUtils
