// The XPath engine module: Xalan-C++ over the parser's DOM. Built as a module of its own and
// loaded by the library when a query first needs the engine.
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <xalanc/PlatformSupport/PrefixResolver.hpp>
#include <xalanc/PlatformSupport/XSLException.hpp>
#include <xalanc/XPath/NodeRefList.hpp>
#include <xalanc/XPath/XPath.hpp>
#include <xalanc/XPath/XPathConstructionContextDefault.hpp>
#include <xalanc/XPath/XPathEvaluator.hpp>
#include <xalanc/XPath/XPathProcessorImpl.hpp>
#include <xalanc/XPath/XalanXPathException.hpp>
#include <xalanc/XalanDOM/XalanDOMException.hpp>
#include <xalanc/XalanDOM/XalanDOMString.hpp>
#include <xalanc/XercesParserLiaison/XercesDOMSupport.hpp>
#include <xalanc/XercesParserLiaison/XercesDocumentWrapper.hpp>
#include <xalanc/XercesParserLiaison/XercesParserLiaison.hpp>

#include "Velmar/SDK/XMLUtils/XPathEngine.h"

namespace Velmar::SDK::XMLUtils {

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

// The bindings as they stood when the query was compiled.
class Resolver : public xalanc::PrefixResolver {
  public:
    Resolver(const XPathEngine::Bindings& bindings, xalanc::MemoryManager& memory)
        : baseUri_(memory) {
        for (const auto& [prefix, uri] : bindings) {
            uris_[xalanc::XalanDOMString(prefix.c_str(), memory)] =
                xalanc::XalanDOMString(uri.c_str(), memory);
        }
    }
    const xalanc::XalanDOMString* getNamespaceForPrefix(
        const xalanc::XalanDOMString& prefix) const override {
        const auto found = uris_.find(prefix);
        return found == uris_.end() ? nullptr : &found->second;
    }
    const xalanc::XalanDOMString& getURI() const override { return baseUri_; }

  private:
    std::map<xalanc::XalanDOMString, xalanc::XalanDOMString> uris_;
    xalanc::XalanDOMString baseUri_;
};

struct Compiled : XPathEngine::Query {
    Compiled(const XPathEngine::Bindings& bindings, xalanc::MemoryManager& memory)
        : resolver(bindings, memory), xpath(memory) {}
    Resolver resolver;
    xalanc::XPath xpath;
};

class DocumentView : public XPathEngine::View {
  public:
    DocumentView(const xercesc::DOMDocument& document, xalanc::MemoryManager& memory)
        : memory_(memory),
          liaison_(memory),
          domSupport_(liaison_),
          constructionContext_(memory),
          processor_(memory),
          evaluator_(memory),
          document_(document) {
        // The whole view with node maps, so that parser nodes map to engine nodes and back.
        wrapperDocument_ = liaison_.createDocument(&document, false, true, true);
        wrapper_ = liaison_.mapDocumentToWrapper(wrapperDocument_);
    }
    ~DocumentView() override { liaison_.destroyDocument(wrapperDocument_); }

    std::unique_ptr<XPathEngine::Query> compile(const XMLCh* text,
                                                const XPathEngine::Bindings& bindings) override {
        auto compiled = std::make_unique<Compiled>(bindings, memory_);
        processor_.initXPath(compiled->xpath, constructionContext_,
                             xalanc::XalanDOMString(text, memory_), compiled->resolver);
        return compiled;
    }

    void select(const XPathEngine::Query& query, const xercesc::DOMNode* context,
                std::vector<const xercesc::DOMNode*>& results) override {
        const auto& compiled = static_cast<const Compiled&>(query);
        xalanc::XalanNode* engineContext = wrapperDocument_;
        if (context != nullptr && context != &document_) {
            engineContext = wrapper_->mapNode(context);
        }
        xalanc::NodeRefList nodes(memory_);
        evaluator_.selectNodeList(nodes, domSupport_, engineContext, compiled.xpath,
                                  compiled.resolver);
        const auto count = nodes.getLength();
        for (xalanc::NodeRefList::size_type i = 0; i < count; ++i) {
            results.push_back(wrapper_->mapNode(nodes.item(i)));
        }
    }

  private:
    xalanc::MemoryManager& memory_;
    xalanc::XercesParserLiaison liaison_;
    xalanc::XercesDOMSupport domSupport_;
    QuietConstructionContext constructionContext_;
    xalanc::XPathProcessorImpl processor_;
    xalanc::XPathEvaluator evaluator_;
    const xercesc::DOMDocument& document_;
    xalanc::XalanDocument* wrapperDocument_ = nullptr;
    xalanc::XercesDocumentWrapper* wrapper_ = nullptr;
};

std::u16string describe(const char* className, const xalanc::XSLException& e) {
    std::u16string text(className, className + std::char_traits<char>::length(className));
    return text + u":: " + e.getMessage().c_str();
}

class Engine : public XPathEngine {
  public:
    explicit Engine(xalanc::MemoryManager& memory) : memory_(memory) {}

    std::unique_ptr<XPathEngine::View> open(const xercesc::DOMDocument& document) override {
        return std::make_unique<DocumentView>(document, memory_);
    }

    bool describeCurrentException(std::u16string& text) override {
        try {
            throw;
        } catch (const xalanc::XalanXPathException& e) {
            text = describe("XalanXPathException", e);
        } catch (const xalanc::XSLException& e) {
            text = describe("XSLException", e);
        } catch (const xalanc::XalanDOMException& e) {
            const std::string code = std::to_string(static_cast<int>(e.getExceptionCode()));
            text =
                u"XalanDOMException:: DOM error(" + std::u16string(code.begin(), code.end()) + u")";
        } catch (...) {
            return false;
        }
        return true;
    }

  private:
    xalanc::MemoryManager& memory_;
};

void terminateEngine() {
    xalanc::XPathEvaluator::terminate();
}

}  // namespace

}  // namespace Velmar::SDK::XMLUtils

extern "C" __attribute__((visibility("default"))) Velmar::SDK::XMLUtils::XPathEngine*
velmar_xpath_engine(xercesc::MemoryManager* memory) {
    static std::once_flag started;
    std::call_once(started, [] {
        xalanc::XPathEvaluator::initialize();
        // Registered after the engine's own statics were made, so it runs before they go, and
        // after the parser library's start, so before its end.
        std::atexit(Velmar::SDK::XMLUtils::terminateEngine);
    });
    // Never freed: the engine lives as long as the process.
    static auto* engine = new Velmar::SDK::XMLUtils::Engine(*memory);
    return engine;
}
