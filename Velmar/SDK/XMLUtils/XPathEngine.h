#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMNode.hpp>
#include <xercesc/framework/MemoryManager.hpp>

namespace Velmar::SDK::XMLUtils {

// The XPath engine, in a module of its own that is loaded the first time a query needs it:
// most loads never do, and linking the engine would cost every process milliseconds and
// megabytes at start-up. The module and the library are built together, so this interface is
// shared by the two and nothing else. Engine failures leave its calls as the engine's own
// exceptions; describeCurrentException tells them apart.
class XPathEngine {
  public:
    using Bindings = std::vector<std::pair<std::u16string, std::u16string>>;  // prefix, URI

    class Query {
      public:
        virtual ~Query() = default;
    };

    // The engine's view of one document, built when opened.
    class View {
      public:
        virtual ~View() = default;
        // Prefixes resolve through bindings, once, here.
        virtual std::unique_ptr<Query> compile(const XMLCh* text, const Bindings& bindings) = 0;
        // Appends the result nodes in document order; the result must be a node set.
        virtual void select(const Query& query, const xercesc::DOMNode* context,
                            std::vector<const xercesc::DOMNode*>& results) = 0;
    };

    // The engine, loaded and started on first use; a ParseError when the module cannot be
    // loaded.
    static XPathEngine& instance();
    // The engine if some code has loaded it, else null.
    static XPathEngine* loaded();

    virtual std::unique_ptr<View> open(const xercesc::DOMDocument& document) = 0;
    // Call from a catch block: whether the exception in flight is the engine's, and if so its
    // text ("XalanXPathException:: <message>" and the like).
    virtual bool describeCurrentException(std::u16string& text) = 0;

  protected:
    ~XPathEngine() = default;
};

}  // namespace Velmar::SDK::XMLUtils

// The module's one entry point: the engine, started, allocating with the given manager.
extern "C" {
using VelmarXPathEngineEntry = Velmar::SDK::XMLUtils::XPathEngine* (*)(xercesc::MemoryManager*);
}
#define VELMAR_XPATH_ENGINE_ENTRY "velmar_xpath_engine"
