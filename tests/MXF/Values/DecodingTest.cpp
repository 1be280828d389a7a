// Values decoded by their registered types, and written as RegXML: a hand-built item of each
// kind of type, read through the built-in register dictionary.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "../HandBuilt.h"
#include "../WellFormed.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/RegXML/RegXMLWriting.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"

using namespace Velmar;
using namespace handbuilt;
namespace MM = SDK::MetaMetadata;

namespace {

Bytes ul(const char* urn) {
    const auto label = MM::labelFromText(urn);
    return Bytes(label->begin(), label->end());
}

Bytes utf16(const std::string& ascii) {
    Bytes out;
    for (char c : ascii) {
        out.push_back(0);
        out.push_back(static_cast<std::uint8_t>(c));
    }
    return out;
}

const Bytes kPrefaceKey = key(0x02, 0x53, 0x01, 0x2f, 0x00, 0x01, 0x0d, 0x01, 0x01);
constexpr std::uint16_t kTag = 0x8001;

// A file whose Preface holds its InstanceUID and one item of this label and value.
Bytes fileWith(const Bytes& label, const Bytes& value) {
    const Bytes entries = be(0x3c0a, 2) + kInstanceUIDLabel + be(kTag, 2) + label;
    const Bytes primer = klv(key(0x02, 0x05, 0x05, 0x01), be(2, 4) + be(18, 4) + entries);
    const Bytes metadata = primer + klv(kPrefaceKey, item(0x3c0a, uid(1)) + item(kTag, value));
    return partition(metadata.size()) + metadata;
}

struct Case {
    const char* what;
    const char* element;  // the element's label
    Bytes value;
    std::string json;     // the value's JSON, or "hex" where it stays raw
    std::string finding;  // the rule of the item's finding, if it has one
    std::string xml;      // what the item's line of the RegXML document holds
};

std::string itemLine(const std::string& document) {
    std::istringstream lines(document);
    std::string line, found;
    int at = 0;
    // The Preface's second item (its InstanceID is first), whatever its form.
    while (std::getline(lines, line)) {
        if (line.rfind("  <", 0) == 0 || line.rfind("  <!--", 0) == 0) {
            if (++at == 2) {
                found = line;
            }
        }
        if (at == 2 && line.rfind("   ", 0) == 0) {
            found += "\n" + line;
        }
        if (at > 2) {
            break;
        }
    }
    return found;
}

}  // namespace

TEST(TypedValues, DecodesAndWritesEachKindOfType) {
    const char* kColorSiting = "urn:smpte:ul:060e2b34.01010101.04010501.06000000";
    const char* kVersion = "urn:smpte:ul:060e2b34.01010102.05200701.04000000";
    const char* kPixelLayout = "urn:smpte:ul:060e2b34.01010102.04010503.06000000";
    const char* kSizing = "urn:smpte:ul:060e2b34.0101010a.04010603.0b000000";
    const char* kIndirect = "urn:smpte:ul:060e2b34.01010102.05300507.00000000";
    const char* kDataDefinition = "urn:smpte:ul:060e2b34.01010102.04070100.00000000";
    const char* kPrimaries = "urn:smpte:ul:060e2b34.0101010e.04200401.01010000";
    const char* kColorPrimaries = "urn:smpte:ul:060e2b34.01010109.04010201.01060100";
    const char* kChannelStatus = "urn:smpte:ul:060e2b34.01010105.04020501.02000000";
    const char* kAudienceShare = "urn:smpte:ul:060e2b34.01010102.02200303.00000000";
    const char* kPlatform = "urn:smpte:ul:060e2b34.01010102.05200701.06010000";
    const char* kObjectModel = "urn:smpte:ul:060e2b34.01010102.03010201.04000000";
    const char* kModified = "urn:smpte:ul:060e2b34.01010102.07020110.02030000";
    const char* kOrganization = "urn:smpte:ul:060e2b34.01010101.01011001.00000000";
    const char* kUTF8Text = "urn:smpte:ul:060e2b34.0101010d.03010220.03010000";
    const char* kJ2KExtended = "urn:smpte:ul:060e2b34.0101010e.04010603.0f000000";
    const Bytes utf16Type = ul("urn:smpte:ul:060e2b34.01040101.01100200.00000000");
    const Bytes int32Type = ul("urn:smpte:ul:060e2b34.01040101.01010700.00000000");
    const Bytes pictureTrack = ul("urn:smpte:ul:060e2b34.04010101.01030202.01000000");
    const Bytes bt709 = ul("urn:smpte:ul:060e2b34.04010106.04010101.03030000");

    const std::vector<Case> cases = {
        {"an enumeration item",
         kColorSiting,
         {0x02},
         "\"ThreeTap\"",
         "",
         ":ColorSiting>ThreeTap</"},
        {"the last item of an enumeration",
         kColorSiting,
         {0xff},
         "\"UnknownSiting\"",
         "",
         ":ColorSiting>UnknownSiting</"},
        {"a value the enumeration lacks",
         kColorSiting,
         {0x77},
         "119",
         "unknown-enumeration-value",
         ":ColorSiting>UNDEFINED</"},
        {"an enumeration of the wrong size",
         kColorSiting,
         {0x00, 0x02},
         "hex",
         "bad-size",
         ":ColorSiting>0002</"},
        {"a product version as MXF stores it (10 bytes)", kVersion,
         be(1, 2) + be(2, 2) + be(3, 2) + be(4, 2) + be(2, 2),
         "{\"Major\": 1, \"Minor\": 2, \"Tertiary\": 3, \"PatchLevel\": 4, \"BuildType\": "
         "\"VersionDebug\"}",
         "", ":Tertiary>3</"},
        {"a product version as the register gives it (9 bytes)", kVersion,
         be(1, 2) + be(2, 2) + be(3, 2) + be(4, 2) + be(3, 1),
         "{\"Major\": 1, \"Minor\": 2, \"Tertiary\": 3, \"PatchLevel\": 4, \"BuildType\": "
         "\"VersionPatched\"}",
         "", ":BuildType>VersionPatched</"},
        {"a record one byte too long", kVersion, Bytes(11, 1), "hex", "bad-size",
         ":ApplicationVersion>0101010101010101010101</"},
        {"a fixed array of records", kPixelLayout,
         Bytes{'R', 10, 'G', 10, 'B', 10, 0, 0} + Bytes(8, 0),
         "[{\"Code\": \"CompRed\", \"ComponentSize\": 10}, {\"Code\": \"CompGreen\", "
         "\"ComponentSize\": 10}, {\"Code\": \"CompBlue\", \"ComponentSize\": 10}, {\"Code\": "
         "\"CompNull\", \"ComponentSize\": 0}, {\"Code\": \"CompNull\", \"ComponentSize\": 0}, "
         "{\"Code\": \"CompNull\", \"ComponentSize\": 0}, {\"Code\": \"CompNull\", "
         "\"ComponentSize\": 0}, {\"Code\": \"CompNull\", \"ComponentSize\": 0}]",
         "", ":Code>CompGreen</"},
        {"an array of records", kSizing, be(2, 4) + be(3, 4) + Bytes{9, 1, 1, 7, 2, 2},
         "[{\"Ssiz\": 9, \"XRSiz\": 1, \"YRSiz\": 1}, {\"Ssiz\": 7, \"XRSiz\": 2, \"YRSiz\": 2}]",
         "", ":J2KComponentSizing>"},
        {"an empty array of records", kSizing, be(0, 4) + be(3, 4), "[]", "",
         ":PictureComponentSizing/>"},
        {"an array whose items are not its records' size", kSizing,
         be(1, 4) + be(4, 4) + Bytes(4, 1), "hex", "bad-size", ">000000010000000401010101</"},
        {"an array whose count does not fit", kSizing, be(3, 4) + be(3, 4) + Bytes(6, 1), "hex",
         "bad-size", ">0000000300000003010101010101</"},
        {"an indirect string", kIndirect, Bytes{'B'} + utf16Type + utf16("Ab"),
         "{\"actualType\": {\"ul\": \"06.0e.2b.34.01.04.01.01.01.10.02.00.00.00.00.00\", "
         "\"symbol\": \"UTF16String\", \"name\": \"UTF16String\"}, \"value\": \"Ab\"}",
         "", "b:actualType=\"UTF16String\">Ab</"},
        {"an indirect integer", kIndirect, Bytes{'B'} + int32Type + be(0xfffffffb, 4),
         "{\"actualType\": {\"ul\": \"06.0e.2b.34.01.04.01.01.01.01.07.00.00.00.00.00\", "
         "\"symbol\": \"Int32\", \"name\": \"Int32\"}, \"value\": -5}",
         "", "b:actualType=\"Int32\">-5</"},
        // Stored little-endian, its type's identifier has its halves swapped and the first
        // half's fields reversed: RegXML reads it, the JSON leaves it hexadecimal.
        {"an indirect value stored little-endian", kIndirect,
         Bytes{'L'} + Bytes{0x00, 0x07, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00} +
             Bytes(int32Type.begin(), int32Type.begin() + 8) + Bytes{0xfb, 0xff, 0xff, 0xff},
         "hex", "", "b:actualType=\"Int32\">-5</"},
        {"a little-endian indirect value of a type not found", kIndirect,
         Bytes{'L'} + int32Type + be(5, 4), "hex", "",
         ">4c060e2b3401040101010107000000000000000005</"},
        {"an indirect value shorter than its header", kIndirect, Bytes(16, 'B'), "hex", "bad-size",
         ">42424242424242424242424242424242</"},
        {"a weak reference to a definition", kDataDefinition, pictureTrack,
         "{\"ul\": \"06.0e.2b.34.04.01.01.01.01.03.02.02.01.00.00.00\", \"symbol\": "
         "\"PictureEssenceTrack\", \"name\": \"Picture Essence Track\"}",
         "", ">urn:smpte:ul:060e2b34.04010101.01030202.01000000</"},
        {"a weak reference by UUID", kDataDefinition, uid(7),
         "\"ab.ab.ab.ab.ab.ab.ab.ab.ab.ab.ab.ab.ab.ab.ab.07\"", "",
         ">urn:uuid:abababab-abab-ab07-abab-abababababab</"},
        {"a fixed array of three records", kPrimaries,
         be(1, 2) + be(2, 2) + be(3, 2) + be(4, 2) + be(5, 2) + be(0xffff, 2),
         "[{\"X\": 1, \"Y\": 2}, {\"X\": 3, \"Y\": 4}, {\"X\": 5, \"Y\": 65535}]", "",
         ":ColorPrimary>"},
        {"an extendible enumeration's registered label", kColorPrimaries, bt709,
         "{\"ul\": \"06.0e.2b.34.04.01.01.06.04.01.01.01.03.03.00.00\", \"symbol\": "
         "\"ColorPrimaries_ITU709\", \"name\": \"ITU-R BT.709 Color Primaries\"}",
         "", ">urn:smpte:ul:060e2b34.04010106.04010101.03030000</"},
        {"an extendible enumeration's unknown label", kColorPrimaries,
         ul("urn:smpte:ul:060e2b34.04010101.0f0f0f0f.0f0f0f0f"),
         "\"06.0e.2b.34.04.01.01.01.0f.0f.0f.0f.0f.0f.0f.0f\"", "",
         ">urn:smpte:ul:060e2b34.04010101.0f0f0f0f.0f0f0f0f</"},
        {"an array of enumeration items", kChannelStatus, be(2, 4) + be(1, 4) + Bytes{1, 5},
         "[\"ChannelStatusMode_Minimum\", \"ChannelStatusMode_Essence\"]", "",
         ":ChannelStatusModeType>ChannelStatusMode_Essence</"},
        {"a float", kAudienceShare, be(0x3fc00000, 4), "1.5", "", ":AudienceShare>1.5</"},
        {"a Float32 not exact in decimal: in JSON the shortest that reads back as a Float32, in "
         "RegXML the value widened",
         kAudienceShare, be(0x3dcccccd, 4), "0.1", "", ":AudienceShare>0.10000000149011612</"},
        {"a timestamp whose last byte counts 4 ms", kModified,
         be(2024, 2) + Bytes{2, 29, 23, 59, 58, 249}, "\"2024-02-29T23:59:58.996\"", "",
         "2024-02-29T23:59:58.996"},
        {"ISO 646 text with a byte over 7f",
         kOrganization,
         {'c', 'a', 'f', 0xe9},
         "\"caf\xef\xbf\xbd\"",
         "invalid-text",
         ">caf\xef\xbf\xbd</"},
        {"UTF-8 text cut in a sequence",
         kUTF8Text,
         {'a', 0xe2, 0x82},
         "\"a\xef\xbf\xbd\"",
         "invalid-text",
         ">a\xef\xbf\xbd</"},
        {"UTF-8 text of two and four bytes",
         kUTF8Text,
         {0xc3, 0xa9, 0xf0, 0x9f, 0x8e, 0xac},
         "\"\xc3\xa9\xf0\x9f\x8e\xac\"",
         "",
         ">\xc3\xa9\xf0\x9f\x8e\xac</"},
        {"an overlong UTF-8 sequence",
         kUTF8Text,
         {0xe0, 0x80, 0x80},
         "\"\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\"",
         "invalid-text",
         "\xef\xbf\xbd<"},
        {"an unpaired surrogate in UTF-16", kPlatform, Bytes{0, 'x', 0xd8, 0x00},
         "\"x\xef\xbf\xbd\"", "invalid-text", ">x\xef\xbf\xbd</"},
        {"a record ending in a variable array", kJ2KExtended,
         be(18, 4) + be(2, 4) + be(2, 4) + be(0x0102, 2) + be(0x0304, 2),
         "{\"Pcap\": 18, \"Ccapi\": [258, 772]}", "", ":Pcap>18</"},
        {"a record shorter than its fixed members", kJ2KExtended, Bytes{0, 1}, "hex", "bad-size",
         ":J2KExtendedCapabilities>0001</"},
        {"a product version whose release type the enumeration lacks", kVersion,
         be(1, 2) + be(2, 2) + be(3, 2) + be(4, 2) + be(0x0105, 2),
         "{\"Major\": 1, \"Minor\": 2, \"Tertiary\": 3, \"PatchLevel\": 4, \"BuildType\": "
         "261}",
         "unknown-enumeration-value", ":Tertiary>3</"},
        {"an integer of the wrong length: the value of its bytes",
         kObjectModel,
         {0x01, 0x02},
         "hex",
         "bad-size",
         ":ObjectModelVersion>258</"},
        {"an integer of no bytes",
         kObjectModel,
         {},
         "hex",
         "bad-size",
         ":ObjectModelVersion>NaN</"},
        {"a string XML cannot hold as it is", kPlatform, utf16("a\x01$<b"), "\"a\\u0001$<b\"", "",
         "b:escape=\"true\">a$#x1;$#x24;&lt;b</"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const Bytes bytes = fileWith(ul(c.element), c.value);
        const MXF::Model::HeaderMetadata header =
            MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), registers());
        ASSERT_EQ(header.sets.size(), 1u);
        const MXF::Model::Item& item = header.sets[0].items.at(1);
        ASSERT_EQ(item.tag, kTag);
        ASSERT_NE(item.element, nullptr);
        EXPECT_EQ(item.value ? item.value->toJson() : "hex", c.json);
        std::string rule;
        for (const MXF::Model::Finding& f : header.findings) {
            if (f.tag == kTag && (f.rule == "bad-size" || f.rule == "unknown-enumeration-value" ||
                                  f.rule == "invalid-text")) {
                rule = f.rule;
            }
        }
        EXPECT_EQ(rule, c.finding);

        std::ostringstream document;
        MXF::RegXML::writeRegXML(document, header, registers());
        EXPECT_EQ(wellFormed(document.str()), "") << document.str();
        EXPECT_NE(itemLine(document.str()).find(c.xml), std::string::npos)
            << itemLine(document.str());
    }
}

// The types, members and items a reader sees come from the registers through the dictionary.
TEST(TypedValues, TheDictionaryGivesEachElementItsFullType) {
    const MM::TypeDefinitions& types = registers().typeDefinitions();
    const MM::TypeDefinition* layout =
        types.elementType(*MM::labelFromText("urn:smpte:ul:060e2b34.01010101.04010301.04000000"));
    ASSERT_NE(layout, nullptr);
    EXPECT_EQ(layout->symbol, "LayoutType");
    EXPECT_EQ(layout->kind, MM::TypeKind::Enumeration);
    ASSERT_GE(layout->items.size(), 2u);
    EXPECT_EQ(layout->items[1].symbol, "SeparateFields");
    EXPECT_EQ(layout->items[1].number, 1);

    const MM::TypeDefinition* version =
        types.elementType(*MM::labelFromText("urn:smpte:ul:060e2b34.01010102.05200701.04000000"));
    ASSERT_NE(version, nullptr);
    ASSERT_EQ(version->members.size(), 5u);
    EXPECT_EQ(version->members[4].symbol, "BuildType");
    EXPECT_EQ(types.type(version->members[4].type)->symbol, "ProductReleaseType");

    const MM::TypeDefinition* position =
        types.type(*MM::labelFromText("urn:smpte:ul:060e2b34.01040101.01012001.00000000"));
    ASSERT_NE(position, nullptr);
    EXPECT_EQ(position->kind, MM::TypeKind::Rename);
    EXPECT_EQ(types.resolve(*position)->symbol, "Int64");
    EXPECT_TRUE(types.resolve(*position)->isSigned);
    EXPECT_EQ(types.resolve(*position)->size, 8u);

    // A label of a file carries another version byte than the register's: still named.
    const MM::LabelDefinition* op1a =
        types.label(*MM::labelFromText("urn:smpte:ul:060e2b34.04010102.0d010201.01010900"));
    ASSERT_NE(op1a, nullptr);
    EXPECT_EQ(op1a->label[7], 0x01);

    EXPECT_TRUE(types.uniqueIdentifier(
        *MM::labelFromText("urn:smpte:ul:060e2b34.01010101.01011510.00000000")));  // PackageID
    EXPECT_FALSE(types.uniqueIdentifier(
        *MM::labelFromText("urn:smpte:ul:060e2b34.01010101.01011502.00000000")));  // InstanceID
}

// Texts that XML cannot hold as they stand, each as the element's text reads.
TEST(TypedValues, EscapesWhatXMLCannotHold) {
    struct Case {
        const char* what;
        Bytes utf16;  // an Application Platform, UTF-16BE
        std::string text;
        bool escaped;
    };
    const std::vector<Case> cases = {
        {"a dollar is always escaped", {0, '$', 0, 'a'}, "$#x24;a", true},
        {"markup", {0, '<', 0, '&', 0, '>', 0, '"'}, "&lt;&amp;&gt;&quot;", false},
        {"tab and newline stand", {0, 9, 0, 10, 0, ' ', 0, '#', 0, '%'}, "\t\n #%", false},
        {"carriage return is escaped", {0, 13}, "$#xd;", true},
        {"the highest control", {0, 0x1f, 0, '$'}, "$#x1f;$#x24;", true},
        {"the lowest control", {0, 1}, "$#x1;", true},
        {"U+FFFE and U+FFFF", {0xff, 0xfe, 0xff, 0xff}, "$#xfffe;$#xffff;", true},
        {"a NUL ends the string", {0, 'a', 0, 0, 0, 'b'}, "a", false},
        {"U+FFFD stands", {0xff, 0xfd}, "\xef\xbf\xbd", false},
        {"a character beyond the first plane", {0xd8, 0x3d, 0xde, 0x00}, "\xf0\x9f\x98\x80", false},
        {"trailing NULs are dropped", {0, 'x', 0, 0, 0, 0}, "x", false},
    };
    const Bytes platform = ul("urn:smpte:ul:060e2b34.01010102.05200701.06010000");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const Bytes bytes = fileWith(platform, c.utf16);
        const MXF::Model::HeaderMetadata header =
            MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), registers());
        std::ostringstream out;
        MXF::RegXML::writeRegXML(out, header, registers());
        EXPECT_EQ(wellFormed(out.str()), "");
        const std::string wanted = ":ApplicationPlatform" +
                                   std::string(c.escaped ? " b:escape=\"true\"" : "") + ">" +
                                   c.text + "</";
        EXPECT_NE(out.str().find(wanted), std::string::npos) << itemLine(out.str());
    }
}
