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
    void operator()(xercesc::DOMLSParser* p) const { p->release(); }
};

class Aggregation : public ::testing::Test {
  protected:
    Aggregation()
        : parser_(static_cast<xercesc::DOMImplementationLS*>(
                      XMLUtils::Initializer::instance().domImplementation())
                      ->createLSParser(xercesc::DOMImplementationLS::MODE_SYNCHRONOUS, nullptr)) {}

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

    std::unique_ptr<xercesc::DOMLSParser, ParserRelease> parser_;
};

}  // namespace

TEST_F(Aggregation, IncludedComponentsTakeTheIncludesPlaceInReadingOrder) {
    const auto* document = aggregate(fixture("XMLUtils/fixtures/order/main.xsd"));
    EXPECT_EQ(topLevelNames(document),
              (std::vector<std::string>{"A", "X1", "Y1", "Z1", "X2", "B"}));
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
