#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/XMLUtils/Initializer.h"
#include "Velmar/SDK/XMLUtils/Utils.h"
#include "Velmar/SDK/XMLUtils/XSDAggregator.h"
#include "support/LoadedSchema.h"

using namespace Velmar::SDK;
using testing_support::schema;
using testing_support::utf8;
using testing_support::wide;
using Velmar::SDK::MetaMetadata::Loading::ElementList;
using Velmar::SDK::MetaMetadata::Loading::Prefixes;
using Velmar::SDK::MetaMetadata::Loading::XSDDictionaryLoaderImpl;

namespace {

constexpr const char* kFileFormat = "urn:SMPTE:MXF:file_format";
constexpr const char* kSchemaNamespace = "http://www.w3.org/2001/XMLSchema";

// The harness with the helpers these tests read results through.
class Schema : public testing_support::LoadedSchema {
  public:
    using LoadedSchema::LoadedSchema;

    std::map<std::string, std::string> prefixes() {
        std::map<std::string, std::string> result;
        for (const auto& [uri, prefix] : (**this).namespace2PrefixMap_) {
            result[utf8(uri)] = utf8(prefix);
        }
        return result;
    }

    // The names of the elements a query selects, "null" for non-element results.
    std::vector<std::string> names(const XMLCh* query, const xercesc::DOMNode* context = nullptr) {
        ElementList list;
        (*this)->selectElements(query, context != nullptr ? context : (*this)->rootElement(), list);
        std::vector<std::string> result;
        for (const auto* element : list) {
            result.push_back(element == nullptr ? "null" : utf8(element->getAttribute(u"name")));
        }
        return result;
    }
};

// What an engine failure looks like once the driver has translated it.
std::string translatedFailure(const std::function<void()>& query) {
    try {
        try {
            query();
        } catch (...) {
            XMLUtils::translateCurrentException(__FILE__, __LINE__);
        }
    } catch (const Exceptions::ParseError& e) {
        return utf8(e.message());
    }
    return "no failure";
}

}  // namespace

TEST(Namespaces, BindFfAndEveryPrefixTheRootDeclaresFirstDeclarationGivingTheDefault) {
    const std::string xs = std::string("xmlns:xs=\"") + kSchemaNamespace + "\"";
    struct Case {
        std::string rootAttributes;
        std::map<std::string, std::string> defaults;
        std::vector<std::string> resolvable;
    };
    const Case cases[] = {
        {"xmlns:ff=\"" + std::string(kFileFormat) + "\"",
         {{kFileFormat, "ff"}, {kSchemaNamespace, "xs"}},
         {"ff"}},
        {"xmlns:fmt=\"" + std::string(kFileFormat) + "\"",
         {{kFileFormat, "ff"}, {kSchemaNamespace, "xs"}},
         {"ff", "fmt"}},
        {"xmlns:a=\"urn:x\" xmlns:b=\"urn:x\"",
         {{kFileFormat, "ff"}, {kSchemaNamespace, "xs"}, {"urn:x", "a"}},
         {"a", "b"}},
        {"xmlns=\"urn:default\"", {{kFileFormat, "ff"}, {kSchemaNamespace, "xs"}}, {"ff"}},
    };
    for (const Case& c : cases) {
        Schema loaded(std::string("<xs:schema ") + xs + " " + c.rootAttributes +
                      "><xs:element name=\"E\"/></xs:schema>");
        EXPECT_EQ(loaded.prefixes(), c.defaults) << c.rootAttributes;
        for (const std::string& prefix : c.resolvable) {
            // A bound prefix compiles; the query finds nothing, as no element is in that namespace.
            EXPECT_TRUE(loaded.names(wide("./" + prefix + ":E").c_str()).empty()) << prefix;
        }
    }
    Schema loaded(schema("<xs:element name=\"E\"/>"));
    EXPECT_NE(translatedFailure([&] {
                  loaded.names(u"./zz:E");
              }).find("XalanXPathException:: The prefix 'zz' is not declared"),
              std::string::npos);
}

TEST(Namespaces, ADocumentWithoutRootIsRefused) {
    auto* implementation = XMLUtils::Initializer::instance().domImplementation();
    xercesc::DOMDocument* empty = implementation->createDocument();
    Templates::auto_ptr<XSDDictionaryLoaderImpl> impl(new XSDDictionaryLoaderImpl);
    impl->attachDocument(empty);
    try {
        impl->setUpNamespaces(empty);
        ADD_FAILURE();
    } catch (const Exceptions::ParseError& e) {
        EXPECT_EQ(
            utf8(e.message()),
            "document -> getDocumentElement (): Unable to retrieve root element from document!");
    }
    impl.reset();
    empty->release();
}

TEST(Queries, AllResultsComeInDocumentOrderWithNullForNonElements) {
    Schema loaded(schema(R"(
        <xs:element name="A" type="Ref" substitutionGroup="ff:S"/>
        <xs:complexType name="T"><xs:sequence><xs:element name="Inner"/></xs:sequence></xs:complexType>
        <xs:element name="B"/>
        <xs:element name="C" type="ff:Ref"/>)"));
    EXPECT_EQ(loaded.names(u"./xs:element"), (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_EQ(loaded.names(u"./xs:element[@type='Ref']"), (std::vector<std::string>{"A"}));
    EXPECT_EQ(loaded.names(u"./xs:element[@type!='Ref']"), (std::vector<std::string>{"C"}))
        << "no type, no match";
    EXPECT_EQ(loaded.names(u"/xs:schema//xs:element"),
              (std::vector<std::string>{"A", "Inner", "B", "C"}));
    EXPECT_EQ(loaded.names(u"./xs:element/@name"),
              (std::vector<std::string>{"null", "null", "null"}));
    EXPECT_TRUE(loaded.names(u"./xs:attribute").empty());

    ElementList list{nullptr};
    loaded->selectElements(u"./xs:complexType", loaded->rootElement(), list);
    ASSERT_EQ(list.size(), 2u) << "results are appended";
    EXPECT_EQ(loaded.names(u"./xs:sequence/xs:element", list[1]),
              (std::vector<std::string>{"Inner"}));
}

TEST(Queries, FirstResultGivesTheFirstNodeOrNone) {
    Schema loaded(schema(R"(
        <xs:element name="A">
          <xs:annotation>
            <xs:appinfo source="Name In Specification">first<!-- split -->second</xs:appinfo>
            <xs:appinfo source="Name In Specification">other</xs:appinfo>
            <xs:appinfo source="Empty"/>
          </xs:annotation>
        </xs:element>)"));
    auto* declaration = loaded->rootElement()->getFirstElementChild();
    auto text = [&](const XMLCh* query, Prefixes prefixes = Prefixes::Bound) -> std::string {
        auto result = loaded->selectFirst(query, declaration, prefixes);
        return result.isNode() ? utf8(result.getNodeValue()->getNodeValue()) : "<none>";
    };
    EXPECT_EQ(text(u"./xs:annotation/xs:appinfo[@source='Name In Specification']/text()"), "first");
    EXPECT_EQ(text(u"./xs:annotation/xs:appinfo[@source='Empty']/text()"), "<none>");
    EXPECT_EQ(text(u"./xs:annotation/xs:appinfo[@source='Absent']/text()"), "<none>");
    EXPECT_EQ(text(u"./@name", Prefixes::None), "A");
    EXPECT_EQ(text(u"./*/*/@source", Prefixes::None), "Name In Specification");

    // Without the bindings "xs" is unknown; the engine's complaint becomes the load's error and
    // nothing is printed.
    testing::internal::CaptureStderr();
    const std::string failure =
        translatedFailure([&] { text(u"./xs:annotation", Prefixes::None); });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(failure.rfind("XalanXPathException:: The prefix 'xs' is not declared", 0), 0u)
        << failure;
    EXPECT_NE(translatedFailure([&] { text(u"count(./*)"); }).find("XalanXPathException:: "),
              std::string::npos);
    EXPECT_NE(translatedFailure([&] { text(u"./xs:element["); }).find("XalanXPathException:: "),
              std::string::npos);
}

TEST(Queries, TextHelpers) {
    const std::pair<const char16_t*, const char16_t*> localParts[] = {
        {u"ff:Foo", u"Foo"}, {u"Foo", u"Foo"}, {u"a:b:c", u"b:c"},
        {u"x:", u""},        {u"", u""},       {u":x", u"x"}};
    for (const auto& [name, local] : localParts) {
        EXPECT_EQ(utf8(XSDDictionaryLoaderImpl::localPart(WString(name))), utf8(local))
            << utf8(name);
    }
    EXPECT_EQ(utf8(XSDDictionaryLoaderImpl::toWString(u" as written ")), " as written ");
    EXPECT_EQ(XSDDictionaryLoaderImpl::toWString(nullptr).size(), 0u);
    const WString message(u"Couldn't retrieve node's NamespaceURI: ");
    const int line = __LINE__ + 2;  // the failed check's position is its caller's
    try {
        XSDDictionaryLoaderImpl::checkFailed("!namespaceURI.empty ()", message);
        ADD_FAILURE();
    } catch (const Exceptions::ParseError& e) {
        EXPECT_EQ(utf8(e.message()),
                  "!namespaceURI.empty (): Couldn't retrieve node's NamespaceURI: ");
        EXPECT_EQ(std::string(e.sourceFile()), __FILE__);
        EXPECT_EQ(e.sourceLine(), line);
        EXPECT_EQ(e.errorCode(), 33);
    }
}
