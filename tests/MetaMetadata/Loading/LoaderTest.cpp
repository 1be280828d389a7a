#include <gtest/gtest.h>

#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>

#include <xalanc/XPath/XPathParserException.hpp>
#include <xalanc/XPath/XalanXPathException.hpp>
#include <xalanc/XercesParserLiaison/XercesDOMWrapperException.hpp>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/RuntimeException.hpp>
#include <xercesc/util/UTFDataFormatException.hpp>
#include <xercesc/util/XMLDOMMsg.hpp>

#include "Velmar/SDK/Exceptions/InvalidMetaElementDeclaration.h"
#include "Velmar/SDK/Exceptions/InvalidULDesignator.h"
#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/Platform/malloc_alloc.h"
#include "Velmar/SDK/XMLUtils/Initializer.h"
#include "Velmar/SDK/XMLUtils/Utils.h"
#include "Velmar/SDK/XMLUtils/XPathEngine.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using MetaMetadata::Dictionary;
using MetaMetadata::Loading::XSDDictionaryLoader;
using MetaMetadata::Loading::XSDDictionaryLoaderImpl;
using testing_support::utf8;
using testing_support::wide;

namespace {

const std::string kSample = std::string(VELMAR_SAMPLES_DIR) + "/mxf-header.xsd";

std::string loadFailure(XSDDictionaryLoader& loader, const XMLCh* path, Dictionary& dictionary) {
    try {
        loader.load(path, dictionary);
    } catch (const Exceptions::ParseError& e) {
        return utf8(e.message());
    }
    return "no failure";
}

// An engine exception of the base class, which the engine itself only throws as derived ones.
class EngineException : public xalanc::XSLException {
  public:
    EngineException()
        : XSLException(xalanc::XalanDOMString("engine failure"),
                       xalanc::XalanMemMgrs::getDefaultXercesMemMgr()) {}
    const xalanc::XalanDOMChar* getType() const override { return u"EngineException"; }
};

struct Kept : Exceptions::InvalidULDesignator {
    using InvalidULDesignator::InvalidULDesignator;
};

}  // namespace

TEST(SchemaPath, SplitsAtTheLastSlash) {
    const std::pair<const char16_t*, std::pair<const char16_t*, const char16_t*>> cases[] = {
        {u"C:/schemas/dict.xsd", {u"C:/schemas", u"dict.xsd"}},
        {u"dict.xsd", {u".", u"dict.xsd"}},
        {u"/dict.xsd", {u"", u"dict.xsd"}},
        {u"schemas/", {u"schemas", u""}},
        {u"", {u".", u""}},
        {u"a//b/./c.xsd", {u"a//b/.", u"c.xsd"}},
    };
    for (const auto& [path, expected] : cases) {
        WString rest(path);
        const WString folder = XSDDictionaryLoaderImpl::splitSchemaPath(rest);
        EXPECT_EQ(utf8(folder), utf8(expected.first)) << utf8(path);
        EXPECT_EQ(utf8(rest), utf8(expected.second)) << utf8(path);
    }
}

TEST(Loader, NormalisesBackslashesAndRefusesANullPath) {
    XSDDictionaryLoader loader;
    Dictionary dictionary;
    const std::string message = loadFailure(loader, u"no\\such\\folder/dict.xsd", dictionary);
    EXPECT_NE(message.find("\"no/such/folder/dict.xsd\""), std::string::npos) << message;

    XSDDictionaryLoader fresh;
    EXPECT_EQ(loadFailure(fresh, nullptr, dictionary), "Null schema path");
}

// A loader loads once: a second call returns at once, also after a failed first one, and an
// assigned loader takes over that state.
TEST(Loader, LoadsOnceWhateverTheOutcome) {
    Dictionary dictionary;
    XSDDictionaryLoader failed;
    EXPECT_NE(loadFailure(failed, u"/nonexistent/dict.xsd", dictionary), "no failure");
    EXPECT_NO_THROW(failed.load(u"/nonexistent/dict.xsd", dictionary));

    XSDDictionaryLoader loaded;
    EXPECT_NO_THROW(loaded.load(wide(kSample).c_str(), dictionary));
    EXPECT_NO_THROW(loaded.load(u"/nonexistent/dict.xsd", dictionary));

    XSDDictionaryLoader assigned;
    assigned = failed;
    EXPECT_NO_THROW(assigned.load(u"/nonexistent/dict.xsd", dictionary));
    XSDDictionaryLoader ready;
    assigned = ready;
    XSDDictionaryLoader& same = assigned;
    assigned = same;  // assigning a loader to itself keeps its state
    EXPECT_NE(loadFailure(assigned, u"/nonexistent/dict.xsd", dictionary), "no failure");
}

TEST(Loader, GivesBackEverythingItTook) {
    const std::size_t before = Platform::malloc_alloc::bytesInUse();
    {
        Dictionary dictionary;
        auto* loader = new XSDDictionaryLoader;
        loader->loadMetaElementDocumentation(true);
        loader->load(wide(kSample).c_str(), dictionary);
        XSDDictionaryLoader other;
        *loader = other;
        delete loader;
        auto* several = new XSDDictionaryLoader[3];
        delete[] several;
    }
    EXPECT_EQ(Platform::malloc_alloc::bytesInUse(), before);
}

// A program may load and free dictionaries for as long as it runs: once the first loads have
// made what is made once per process, every load gives back all it took, the parser's too. The
// whole heap is compared only where glibc's per-thread cache is off (the suite runs this test
// so once): chunks held there count as in use.
TEST(Loader, LoadsAndFreesInALoopWithoutGrowth) {
    auto loadOnce = [] {
        Dictionary dictionary;
        XSDDictionaryLoader loader;
        loader.load(wide(kSample).c_str(), dictionary);
        ASSERT_GT(dictionary.metaElementCount(), 0u);
    };
    loadOnce();
    loadOnce();
    const std::size_t toolkit = Platform::malloc_alloc::bytesInUse();
    const std::size_t heap = mallinfo2().uordblks;
    for (int i = 0; i < 10; ++i) {
        loadOnce();
    }
    EXPECT_EQ(Platform::malloc_alloc::bytesInUse(), toolkit);
    const char* tunables = std::getenv("GLIBC_TUNABLES");
    if (tunables != nullptr && std::strstr(tunables, "glibc.malloc.tcache_count=0") != nullptr) {
        EXPECT_EQ(mallinfo2().uordblks, heap);
    }
}

// What each kind of failure inside a guarded block becomes.
TEST(ExceptionTranslation, EachKindLeavesAsTheToolkitSeesIt) {
    XMLUtils::Initializer::instance();
    XMLUtils::XPathEngine::instance();  // only a loaded engine throws the engine's exceptions
    auto& memory = xalanc::XalanMemMgrs::getDefaultXercesMemMgr();
    const xercesc::DOMException notFound(xercesc::DOMException::NOT_FOUND_ERR,
                                         xercesc::XMLDOMMsg::NOT_FOUND_ERR);
    struct Case {
        std::function<void()> raise;
        std::string expected;  // ParseError message; empty when the exception passes unchanged
    };
    const Case cases[] = {
        {[&] {
             throw xalanc::XPathParserException(xalanc::XalanDOMString("bad query"), memory,
                                                nullptr);
         },
         "XalanXPathException:: bad query"},
        {[&] { throw xalanc::XalanXPathException(xalanc::XalanDOMString("err"), memory); },
         "XalanXPathException:: err"},
        {[] { throw EngineException(); }, "XSLException:: engine failure"},
        {[] {
             throw xalanc::XercesDOMWrapperException(xalanc::XalanDOMException::WRONG_DOCUMENT_ERR);
         },
         "XalanDOMException:: DOM error(4)"},
        {[&] { throw notFound; }, "DOMException:: " + utf8(notFound.getMessage()) + "(8)"},
        {[] {
             throw xercesc::UTFDataFormatException("f", 1, xercesc::XMLExcepts::UTF8_FormatError);
         },
         "class xercesc_3_2::UTFDataFormatException: "},
        {[] { throw xercesc::SAXException(u"bad"); }, "class xercesc_3_2::SAXException: bad"},
        {[] { throw xercesc::SAXParseException(u"derived", u"p", u"s", 1, 2); },
         "class xercesc_3_2::SAXException: derived"},
        {[] { throw xercesc::RuntimeException("f", 1, xercesc::XMLExcepts::Gen_ParseInProgress); },
         "class xercesc_3_2::XMLException: "},
        {[] { throw std::bad_alloc(); }, "Unknown error in Xerces or XQilla"},
        {[] { throw 42; }, "Unknown error in Xerces or XQilla"},
    };
    for (const Case& c : cases) {
        try {
            try {
                c.raise();
            } catch (...) {
                XMLUtils::translateCurrentException("driver.cpp", 7);
            }
            ADD_FAILURE() << "nothing left for " << c.expected;
        } catch (const Exceptions::ParseError& e) {
            const std::string message = utf8(e.message());
            EXPECT_EQ(message.substr(0, c.expected.size()), c.expected);
            if (c.expected.rfind("Unknown", 0) == 0) {
                EXPECT_EQ(e.sourceLine(), 7);
                EXPECT_STREQ(e.sourceFile(), "driver.cpp");
            }
        }
    }

    // The toolkit's own exceptions pass unchanged: same class, message and position.
    const std::function<void()> own[] = {
        [] { throw Exceptions::ParseError("p", "pass.cpp", 11); },
        [] { throw Exceptions::InvalidMetaElementDeclaration("m", "pass.cpp", 12); },
        [] { throw Kept("d", "pass.cpp", 13); },
    };
    for (const auto& raise : own) {
        try {
            try {
                raise();
            } catch (...) {
                XMLUtils::translateCurrentException("driver.cpp", 7);
            }
        } catch (const Exceptions::BaseException& e) {
            EXPECT_STREQ(e.sourceFile(), "pass.cpp");
            EXPECT_GE(e.sourceLine(), 11);
            if (e.sourceLine() == 13) {
                EXPECT_NE(dynamic_cast<const Kept*>(&e), nullptr);
                EXPECT_EQ(e.errorCode(), 25);
            }
        }
    }
}
