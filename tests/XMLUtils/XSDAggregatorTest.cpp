#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/XMLUtils/Initializer.h"
#include "Velmar/SDK/XMLUtils/XSDAggregator.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using testing_support::fixture;
using testing_support::utf8;
using testing_support::wide;

namespace {

struct ParserRelease {
    void operator()(XMLUtils::SchemaParser* p) const { p->release(); }
};

class Aggregation : public ::testing::Test {
  protected:
    Aggregation()
        : parser_((XMLUtils::Initializer::instance(), new XMLUtils::SchemaParser(positions_))) {}

    xercesc::DOMDocument* aggregate(const std::filesystem::path& file) {
        XMLUtils::XSDAggregator aggregator(wide(file.parent_path().string()).c_str(),
                                           wide(file.filename().string()).c_str());
        return aggregator.createStandAloneSchemaDocument(*parser_);
    }

    // The ParseError's message, or a failure when there is none.
    std::string failure(const std::filesystem::path& folder, const std::string& fileName) {
        try {
            XMLUtils::XSDAggregator aggregator(wide(folder.string()).c_str(),
                                               wide(fileName).c_str());
            aggregator.createStandAloneSchemaDocument(*parser_);
        } catch (const Exceptions::ParseError& e) {
            return utf8(e.message());
        }
        ADD_FAILURE() << "no ParseError for " << (folder / fileName);
        return {};
    }

    // Name attributes of the root's element children, in document order.
    static std::vector<std::string> topLevelNames(const xercesc::DOMDocument* document) {
        std::vector<std::string> names;
        for (auto* e = document->getDocumentElement()->getFirstElementChild(); e;
             e = e->getNextElementSibling()) {
            names.push_back(e->hasAttribute(u"name") ? utf8(e->getAttribute(u"name"))
                                                     : "<" + utf8(e->getLocalName()) + ">");
        }
        return names;
    }

    XMLUtils::SourcePositions positions_;
    std::unique_ptr<XMLUtils::SchemaParser, ParserRelease> parser_;
};

}  // namespace

TEST_F(Aggregation, IncludedComponentsTakeTheIncludesPlaceInReadingOrder) {
    const auto* document = aggregate(fixture("XMLUtils/fixtures/order/main.xsd"));
    EXPECT_EQ(topLevelNames(document),
              (std::vector<std::string>{"A", "X1", "Y1", "Z1", "X2", "B"}));
}

// Each declaration knows the file and line it was written at, also after its file's components
// were moved into the main document.
TEST_F(Aggregation, DeclarationsKeepTheirFileAndLine) {
    const auto* document = aggregate(fixture("XMLUtils/fixtures/order/main.xsd"));
    std::vector<std::string> where;
    for (const auto* e = document->getDocumentElement()->getFirstElementChild(); e != nullptr;
         e = e->getNextElementSibling()) {
        const auto position = positions_.find(e);
        ASSERT_NE(position.file, nullptr) << utf8(e->getAttribute(u"name"));
        where.push_back(std::filesystem::path(*position.file).filename().string() + ":" +
                        std::to_string(position.line));
    }
    EXPECT_EQ(where, (std::vector<std::string>{"main.xsd:3", "x.xsd:2", "y.xsd:3", "z.xsd:1",
                                               "x.xsd:4", "main.xsd:5"}));
    EXPECT_EQ(positions_.find(document->getDocumentElement()).file, nullptr);
}

// Nesting and attributes are refused past their limits from the parser's own callbacks, before
// their cost (which grows with the square of the count) is paid; at the limit the file reads.
TEST_F(Aggregation, RefusesNestingAndAttributesPastTheLimits) {
    testing_support::TempDir temp;
    auto nested = [&](unsigned depth) {
        std::string text = "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">\n";
        for (unsigned i = 1; i < depth; ++i) {
            text += "<a>";
        }
        for (unsigned i = 1; i < depth; ++i) {
            text += "</a>";
        }
        return text + "\n</xs:schema>\n";
    };
    temp.write("limit.xsd", nested(XMLUtils::SchemaParser::kMaxDepth));
    EXPECT_NE(aggregate(temp.path() / "limit.xsd"), nullptr);
    temp.write("deep.xsd", nested(200000));
    const std::string message = failure(temp.path(), "deep.xsd");
    EXPECT_NE(message.find("deep.xsd\" at line 2: elements nest deeper than 1000 levels"),
              std::string::npos)
        << message;
    // The parser is usable again afterwards.
    EXPECT_NE(aggregate(temp.path() / "limit.xsd"), nullptr);

    // Attributes likewise: the DOM adds each by a search of those before it.
    const auto attributes = [](XMLSize_t count) {
        std::string text =
            "<?xml version=\"1.0\"?>\n<xs:schema "
            "xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">\n<xs:element name=\"E\"";
        for (XMLSize_t i = 1; i < count; ++i) {
            text += " a" + std::to_string(i) + "=\"x\"";
        }
        return text + "/>\n</xs:schema>\n";
    };
    temp.write("attributes.xsd", attributes(XMLUtils::SchemaParser::kMaxAttributes));
    EXPECT_NE(aggregate(temp.path() / "attributes.xsd"), nullptr);
    temp.write("too-many.xsd", attributes(100000));
    EXPECT_NE(failure(temp.path(), "too-many.xsd")
                  .find("too-many.xsd\" at line 3: an element has more than 1000 attributes"),
              std::string::npos);
}

// Diamonds, self-inclusion and cycles: each file is read once, at its first inclusion, and an
// import without a location stays as it is.
TEST_F(Aggregation, ReadsEachFileOnce) {
    const auto* document = aggregate(fixture("XMLUtils/fixtures/once/main.xsd"));
    EXPECT_EQ(topLevelNames(document), (std::vector<std::string>{"L", "C", "R", "<import>", "M"}));
}

TEST_F(Aggregation, AddsIncludedPrefixesTheMainRootLacksAndTurnsCDATAIntoText) {
    const auto* document = aggregate(fixture("XMLUtils/fixtures/prefixes/main.xsd"));
    const auto* root = document->getDocumentElement();
    const XMLCh* xmlns = u"http://www.w3.org/2000/xmlns/";
    EXPECT_EQ(utf8(root->getAttributeNS(xmlns, u"p")), "urn:main-p")
        << "the main root's own binding stays";
    EXPECT_EQ(utf8(root->getAttributeNS(xmlns, u"q")), "urn:q");
    EXPECT_FALSE(root->hasAttribute(u"xmlns")) << "default namespaces are not carried over";

    const auto* appinfo = document->getElementsByTagName(u"xs:appinfo")->item(0);
    ASSERT_NE(appinfo, nullptr);
    ASSERT_EQ(appinfo->getFirstChild()->getNodeType(), xercesc::DOMNode::TEXT_NODE);
    EXPECT_EQ(utf8(appinfo->getFirstChild()->getNodeValue()), "<kept> & whole tail");
}

TEST_F(Aggregation, RefusesWhatItCannotReadNamingTheFile) {
    testing_support::TempDir temp;
    temp.write("sub/empty.xsd", "");
    temp.write("bom.xsd", "\xfe\xff<xs:schema/>");
    const auto bad = fixture("XMLUtils/fixtures/bad");
    struct Case {
        std::filesystem::path folder;
        std::string file;
        std::vector<std::string> expected;  // parts of the message
    };
    const Case cases[] = {
        {bad,
         "absent.xsd",
         {"Cannot read schema file \"", "absent.xsd\": No such file or directory"}},
        {temp.path(), "sub", {"sub\": it is a directory"}},
        {temp.path() / "sub", "", {"it is a directory"}},
        {temp.path() / "sub", "empty.xsd", {"empty.xsd\"", "Cannot parse schema file"}},
        {temp.path(), "bom.xsd", {"bom.xsd\"", "Cannot parse schema file"}},
        {bad,
         "missing-include.xsd",
         {"nothere.xsd\" (included from \"", "missing-include.xsd\")",
          "No such file or directory"}},
        {bad,
         "url-include.xsd",
         {"Refusing to read \"http://example.invalid/dictionary.xsd\"", "only local files"}},
        {bad, "malformed.xsd", {"malformed.xsd\" at line 3, column ", "xs:element"}},
        {bad, "includes-malformed.xsd", {"malformed.xsd\" (included from", "at line 3"}},
        {bad,
         "not-schema.xsd",
         {"has the root element <schema>, not an XML Schema xs:schema element"}},
    };
    for (const Case& c : cases) {
        const std::string message = failure(c.folder, c.file);
        for (const std::string& part : c.expected) {
            EXPECT_NE(message.find(part), std::string::npos) << c.file << ": " << message;
        }
    }
}

// Whitespace between the schema vocabulary's elements makes no node; text in an appinfo or a
// documentation is kept whole, however it is spaced and whatever it holds.
TEST_F(Aggregation, KeepsTextOnlyWhereTheSchemaVocabularyAllowsIt) {
    testing_support::TempDir temp;
    const auto file = temp.write(
        "spaced.xsd", testing_support::schema(
                          "\n  <xs:element name=\"E\">\n    <xs:annotation>\n      "
                          "<xs:appinfo source=\"s\">  </xs:appinfo>\n      <xs:documentation> "
                          "<b>bold</b> <i>x</i>\n</xs:documentation>\n    </xs:annotation>\n  "
                          "</xs:element>\n  <f:other xmlns:f=\"urn:f\"> <f:in/> </f:other>\n",
                          ""));
    const auto* root = aggregate(file)->getDocumentElement();
    auto texts = [](const xercesc::DOMNode* parent) {
        std::vector<std::string> found;
        for (auto* child = parent->getFirstChild(); child; child = child->getNextSibling()) {
            if (child->getNodeType() == xercesc::DOMNode::TEXT_NODE)
                found.push_back(utf8(child->getNodeValue()));
        }
        return found;
    };
    const auto* element = root->getFirstElementChild();
    const auto* annotation = element->getFirstElementChild();
    const auto* appinfo = annotation->getFirstElementChild();
    const auto* documentation = appinfo->getNextElementSibling();
    const auto* other = element->getNextElementSibling();
    EXPECT_EQ(texts(root), std::vector<std::string>{});
    EXPECT_EQ(texts(element), std::vector<std::string>{});
    EXPECT_EQ(texts(annotation), std::vector<std::string>{});
    EXPECT_EQ(texts(appinfo), std::vector<std::string>{"  "});
    EXPECT_EQ(texts(documentation), (std::vector<std::string>{" ", " ", "\n"}));
    EXPECT_EQ(texts(documentation->getFirstElementChild()), std::vector<std::string>{"bold"});
    EXPECT_EQ(texts(other), (std::vector<std::string>{" ", " "})) << "not the schema vocabulary";
}

// Documentation makes nodes only when asked for, in included files too; whatever it holds, what
// follows it reads as before and keeps its line.
TEST_F(Aggregation, DocumentationMakesNodesOnlyWhenKept) {
    testing_support::TempDir temp;
    temp.write("part.xsd", testing_support::schema("\n<xs:element name=\"P\"><xs:annotation>"
                                                   "<xs:documentation>p</xs:documentation>"
                                                   "</xs:annotation></xs:element>\n"));
    const auto main = temp.write(
        "main.xsd",
        testing_support::schema(
            "\n<xs:element name=\"E\"><xs:annotation><xs:documentation/>"
            "<xs:documentation>a<b><xs:documentation>in</xs:documentation></b><!-- c --><?p i?>"
            "<xs:element name=\"NotADeclaration\"/></xs:documentation>\n"
            "<xs:appinfo source=\"s\">kept</xs:appinfo></xs:annotation></xs:element>\n"
            "<xs:include schemaLocation=\"part.xsd\"/>\n<xs:element name=\"F\"/>\n"));
    for (const bool keep : {false, true}) {
        SCOPED_TRACE(keep ? "kept" : "dropped");
        parser_->keepDocumentation(keep);
        const auto* document = aggregate(main);
        const auto* documentation =
            document->getElementsByTagNameNS(u"http://www.w3.org/2001/XMLSchema", u"*");
        std::vector<std::string> names;
        for (XMLSize_t i = 0; i < documentation->getLength(); ++i) {
            names.push_back(utf8(documentation->item(i)->getLocalName()));
        }
        const std::vector<std::string> always{"schema",  "element",    "annotation", "appinfo",
                                              "element", "annotation", "element"};
        const std::vector<std::string> all{
            "schema",  "element", "annotation", "documentation", "documentation", "documentation",
            "element", "appinfo", "element",    "annotation",    "documentation", "element"};
        EXPECT_EQ(names, keep ? all : always);
        std::vector<std::string> where;
        for (auto* e = document->getDocumentElement()->getFirstElementChild(); e;
             e = e->getNextElementSibling()) {
            where.push_back(utf8(e->getAttribute(u"name")) + ":" +
                            std::to_string(positions_.find(e).line));
        }
        EXPECT_EQ(where, (std::vector<std::string>{"E:2", "P:2", "F:5"}));
    }
}

// The top level is listed as the parser makes it, included files' components in their include's
// place, and only when nothing but elements stands there: queries take the list for the root's
// children.
TEST_F(Aggregation, ListsTheTopLevelWhenItIsElementsOnly) {
    testing_support::TempDir temp;
    temp.write("part.xsd", "<?xml version=\"1.0\"?>\n<!-- before the root -->\n" +
                               testing_support::schema("<!-- not imported --><xs:element "
                                                       "name=\"P\"/><?pi not imported?>"));
    const struct {
        const char* name;
        std::string body;
        bool listed;
    } cases[] = {
        {"elements and includes",
         "<xs:element name=\"A\"/><xs:include schemaLocation=\"part.xsd\"/>"
         "<xs:include schemaLocation=\"part.xsd\"/><xs:complexType name=\"T\"/>",
         true},
        {"skipped documentation", "<xs:documentation>d</xs:documentation><xs:element name=\"A\"/>",
         true},
        {"a comment", "<xs:element name=\"A\"/><!-- c --><xs:element name=\"B\"/>", false},
        {"a PI", "<?pi x?><xs:element name=\"A\"/>", false},
        {"text", "<xs:element name=\"A\"/> text <xs:element name=\"B\"/>", false},
    };
    parser_->keepDocumentation(false);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        temp.write("main.xsd", "<!-- before the root -->\n" + testing_support::schema(c.body));
        XMLUtils::XSDAggregator aggregator(wide(temp.path().string()).c_str(), u"main.xsd");
        const auto* root =
            aggregator.createStandAloneSchemaDocument(*parser_)->getDocumentElement();
        const auto* listed = aggregator.topLevelElements();
        ASSERT_EQ(listed != nullptr, c.listed);
        if (listed != nullptr) {
            std::vector<const xercesc::DOMNode*> children;
            for (auto* child = root->getFirstChild(); child; child = child->getNextSibling())
                children.push_back(child);
            EXPECT_EQ(std::vector<const xercesc::DOMNode*>(listed->begin(), listed->end()),
                      children);
        }
    }
}
