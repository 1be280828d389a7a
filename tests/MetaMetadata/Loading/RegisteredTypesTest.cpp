#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using namespace Velmar::SDK::MetaMetadata;
using testing_support::wide;

namespace {

const char* const kElement =
    "  <xs:element name=\"Count\" type=\"UInt32\"><xs:annotation><xs:appinfo source=\"RP210\"/>"
    "<xs:appinfo source=\"UL Designator\">06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00"
    "</xs:appinfo><xs:appinfo source=\"XMLNamespaceURI\">urn:SMPTE:MXF:file_format</xs:appinfo>"
    "</xs:annotation></xs:element>\n";

std::string schema(const std::string& entries) {
    std::string text =
        "<?xml version=\"1.0\"?>\n"
        "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">\n";
    text += kElement;
    if (!entries.empty()) {
        text +=
            "  <xs:annotation><xs:appinfo source=\"Registered Types\">\n"
            "    <rt:Types xmlns:rt=\"urn:velmar:xsddictionary:registered-types\">\n" +
            entries + "    </rt:Types>\n  </xs:appinfo></xs:annotation>\n";
    }
    return text + "</xs:schema>\n";
}

constexpr const char* kUL = "urn:smpte:ul:060e2b34.01040101.01010300.00000000";

// The message of the load's refusal, or "loaded".
std::string load(const std::string& text, Dictionary& dictionary) {
    testing_support::TempDir temp;
    temp.write("d.xsd", text);
    try {
        Loading::XSDDictionaryLoader().load(wide((temp.path() / "d.xsd").string()).c_str(),
                                            dictionary);
    } catch (const Exceptions::ParseError& e) {
        return Utils::toUtf8(e.message()).c_str();
    }
    return "loaded";
}

}  // namespace

TEST(RegisteredTypes, AreReadBesideTheDeclarationsWhichStayAsTheyWere) {
    const std::string entries =
        std::string("      <rt:Type ul=\"") + kUL +
        "\" symbol=\"UInt32\" name=\"UInt32\" namespace=\"http://t\" kind=\"Integer\" "
        "size=\"4\"/>\n"
        "      <rt:Type ul=\"urn:smpte:ul:060e2b34.01040101.03010300.00000000\" "
        "symbol=\"VersionType\" kind=\"Record\">\n"
        "        <rt:Member symbol=\"VersionMajor\" name=\"Major\" type=\"" +
        kUL +
        "\"/>\n"
        "        <rt:Member symbol=\"VersionMinor\" type=\"" +
        kUL +
        "\"/>\n"
        "      </rt:Type>\n"
        "      <rt:Type ul=\"urn:smpte:ul:060e2b34.01040101.02010108.00000000\" "
        "symbol=\"LayoutType\" kind=\"Enumeration\" base=\"" +
        kUL +
        "\">\n"
        "        <rt:Item symbol=\"FullFrame\" value=\"0\"/><rt:Item symbol=\"OneField\" "
        "value=\"2\"/>\n"
        "      </rt:Type>\n"
        "      <rt:Element ul=\"urn:smpte:ul:060e2b34.01010101.0f000000.00000100\" type=\"" +
        kUL +
        "\" symbol=\"Count\" unique=\"true\"/>\n"
        "      <rt:Set ul=\"urn:smpte:ul:060e2b34.02530101.0d010101.01012f00\" "
        "symbol=\"Preface\"/>\n"
        "      <rt:Label ul=\"urn:smpte:ul:060e2b34.04010101.0d010201.01010900\" "
        "symbol=\"MXFOP1aSingleItemSinglePackage\" name=\"OP1a\"/>\n"
        "      <rt:Future ul=\"anything\"/>\n";
    Dictionary with, without;
    ASSERT_EQ(load(schema(entries), with), "loaded");
    ASSERT_EQ(load(schema(""), without), "loaded");
    EXPECT_TRUE(without.typeDefinitions().empty());
    ASSERT_EQ(with.metaElementCount(), 1u);
    EXPECT_EQ(with.metaElementCount(), without.metaElementCount());
    EXPECT_EQ(with.metaElementAt(0).propertyCount(), without.metaElementAt(0).propertyCount());

    const TypeDefinitions& types = with.typeDefinitions();
    ASSERT_EQ(types.types().size(), 3u);
    const TypeDefinition* count = with.typeOf(with.metaElementAt(0));
    ASSERT_NE(count, nullptr);
    EXPECT_EQ(count->symbol, "UInt32");
    EXPECT_EQ(count->size, 4u);
    EXPECT_FALSE(count->isSigned);
    EXPECT_EQ(count->namespaceURI, "http://t");
    const TypeDefinition* version =
        types.type(*labelFromText("urn:smpte:ul:060e2b34.01040101.03010300.00000000"));
    ASSERT_EQ(version->members.size(), 2u);
    EXPECT_EQ(version->members[0].name, "Major");
    const TypeDefinition* layout =
        types.type(*labelFromText("urn:smpte:ul:060e2b34.01040101.02010108.00000000"));
    ASSERT_EQ(layout->items.size(), 2u);
    EXPECT_EQ(layout->items[1].number, 2);
    EXPECT_EQ(
        types.registeredSymbol(*labelFromText("urn:smpte:ul:060e2b34.02530101.0d010101.01012f00")),
        "Preface");
    EXPECT_TRUE(
        types.uniqueIdentifier(*labelFromText("urn:smpte:ul:060e2b34.01010101.0f000000.00000100")));
    EXPECT_EQ(types.label(*labelFromText("urn:smpte:ul:060e2b34.04010102.0d010201.01010900"))->name,
              "OP1a");
}

// A broken entry is refused naming what it is, where, and what is wrong; each bound at its
// edge loads.
TEST(RegisteredTypes, RefusesBrokenEntriesSayingWhatAndWhere) {
    const std::string ul = std::string("ul=\"") + kUL + "\"";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"<rt:Type " + ul + " symbol=\"T\" kind=\"Integer\" size=\"999999999\"/>", "loaded"},
        {"<rt:Type " + ul + " symbol=\"T\" kind=\"Integer\" size=\"1000000000\"/>",
         "its size \"1000000000\" is not a count below 10^9"},
        {"<rt:Type " + ul + " symbol=\"T\" kind=\"Integer\" size=\"-1\"/>",
         "its size \"-1\" is not a count below 10^9"},
        {"<rt:Type symbol=\"T\" kind=\"Integer\"/>", "it has no ul"},
        {"<rt:Type ul=\"urn:smpte:ul:060e2b34\" symbol=\"T\" kind=\"Integer\"/>",
         "its ul \"urn:smpte:ul:060e2b34\" is not a label"},
        {"<rt:Type " + ul + " kind=\"Integer\"/>", "it has no symbol"},
        {"<rt:Type " + ul + " symbol=\"T\" kind=\"Integral\"/>",
         "its kind \"Integral\" is none of the types register's"},
        {"<rt:Type " + ul + " symbol=\"T\" kind=\"Integer\" signed=\"yes\"/>",
         "its signed \"yes\" is neither true nor false"},
        {"<rt:Type " + ul + " symbol=\"T\" kind=\"Rename\" base=\"UInt8\"/>",
         "its base \"UInt8\" is not a label"},
        {"<rt:Type " + ul + " symbol=\"T\" kind=\"Record\"><rt:Member symbol=\"M\"/></rt:Type>",
         "it has no type"},
        {"<rt:Type " + ul + " symbol=\"T\" kind=\"Enumeration\"><rt:Item symbol=\"I\"/></rt:Type>",
         "it has no value"},
        {"<rt:Element " + ul + " type=\"" + kUL + "\" unique=\"1\"/>",
         "its unique \"1\" is neither true nor false"},
        {"<rt:Label " + ul + " name=\"n\"/>", "it has no symbol"},
    };
    for (const auto& [entry, expected] : cases) {
        Dictionary dictionary;
        const std::string message = load(schema("      " + entry + "\n"), dictionary);
        if (expected == "loaded") {
            EXPECT_EQ(message, expected) << entry;
        } else {
            EXPECT_NE(message.find("Registered type entry rt:"), std::string::npos) << message;
            EXPECT_NE(message.find("d.xsd at line 6: " + expected), std::string::npos)
                << entry << "\n"
                << message;
        }
    }
}
