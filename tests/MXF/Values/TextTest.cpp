// The texts RegXML gives values, each form's edge cases in a table.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "Velmar/MXF/Values/Text.h"

namespace RegXMLText = Velmar::MXF::Values::RegXMLText;

TEST(RegXMLText, IntegersOverTheirFullRange) {
    EXPECT_EQ(RegXMLText::integer(std::numeric_limits<std::int64_t>::min()),
              "-9223372036854775808");
    EXPECT_EQ(RegXMLText::integer(std::int64_t{-1}), "-1");
    EXPECT_EQ(RegXMLText::integer(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
    EXPECT_EQ(RegXMLText::integer(std::numeric_limits<std::uint64_t>::max()),
              "18446744073709551615");
    EXPECT_EQ(RegXMLText::integer(std::uint64_t{0}), "0");
}

TEST(RegXMLText, RealsAsWidenedToSixtyFourBits) {
    struct Case {
        double value;
        const char* text;
    };
    const Case cases[] = {
        {static_cast<double>(0.1f), "0.10000000149011612"},  // a Float32 not exact in decimal
        {1.0, "1.0"},
        {-2.5, "-2.5"},
        {0.0, "0.0"},
        {-0.0, "-0.0"},
        {0.001, "0.001"},       // the least in plain form
        {0.000999, "9.99E-4"},  // and just below it
        {1e-5, "1.0E-5"},
        {9999999.0, "9999999.0"},  // the greatest in plain form
        {1e7, "1.0E7"},            // and from there
        {123456789.0, "1.23456789E8"},
        {std::numeric_limits<double>::max(), "1.7976931348623157E308"},
        {std::numeric_limits<double>::quiet_NaN(), "NaN"},
        {std::numeric_limits<double>::infinity(), "INF"},
        {-std::numeric_limits<double>::infinity(), "-INF"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(RegXMLText::real(c.value), c.text) << c.text;
    }
}

TEST(RegXMLText, TimestampsWithMillisecondsOnlyWhereStored) {
    struct Case {
        std::vector<std::uint8_t> bytes;
        const char* text;
    };
    const Case cases[] = {
        {{0x07, 0xe2, 6, 22, 19, 24, 6, 0}, "2018-06-22T19:24:06Z"},
        {{0x07, 0xe2, 6, 22, 19, 24, 6, 1}, "2018-06-22T19:24:06.004Z"},     // the least unit
        {{0x07, 0xe2, 6, 22, 19, 24, 6, 249}, "2018-06-22T19:24:06.996Z"},   // 4 ms a unit
        {{0x07, 0xe2, 6, 22, 19, 24, 6, 250}, "2018-06-22T19:24:06.1000Z"},  // as stored
        {{0, 0, 0, 0, 0, 0, 0, 0}, "0000-00-00T00:00:00Z"},
        {{0xa6, 0x99, 12, 3, 16, 15, 28, 0}, "42649-12-03T16:15:28Z"},  // unchecked
    };
    for (const Case& c : cases) {
        EXPECT_EQ(RegXMLText::timestamp(c.bytes.data()), c.text) << c.text;
    }
}

TEST(RegXMLText, IdentifiersOfEachKind) {
    const std::uint8_t label[16] = {0x06, 0x0e, 0x2b, 0x34, 0x04, 0x01, 0x01, 0x01,
                                    0x0d, 0x01, 0x02, 0x01, 0x01, 0x01, 0x01, 0x00};
    const std::uint8_t swapped[16] = {0x80, 0x53, 0x08, 0x00, 0x36, 0x21, 0x08, 0x04,
                                      0xb3, 0xb3, 0x98, 0xa5, 0x1c, 0x90, 0x11, 0xd4};
    const std::uint8_t low[16] = {0x7f, 0xff, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01};
    const std::uint8_t zero[16] = {};
    EXPECT_EQ(RegXMLText::auid(label), "urn:smpte:ul:060e2b34.04010101.0d010201.01010100");
    EXPECT_EQ(RegXMLText::auid(swapped), "urn:uuid:b3b398a5-1c90-11d4-8053-080036210804");
    EXPECT_EQ(RegXMLText::auid(low), "urn:smpte:ul:7fff0000.00000000.00000000.00000001");
    EXPECT_EQ(RegXMLText::auid(zero), "urn:smpte:ul:00000000.00000000.00000000.00000000");
    EXPECT_EQ(RegXMLText::uuid(swapped), "urn:uuid:80530800-3621-0804-b3b3-98a51c9011d4");
    EXPECT_EQ(RegXMLText::umid(swapped, 16), "urn:smpte:umid:80530800.36210804.b3b398a5.1c9011d4");
    EXPECT_EQ(RegXMLText::rational(24000, 1001), "24000/1001");
    EXPECT_EQ(RegXMLText::rational(-1, -2147483647 - 1), "-1/-2147483648");
    EXPECT_EQ(RegXMLText::boolean(true), "True");
    EXPECT_EQ(RegXMLText::boolean(false), "False");
}

TEST(RegXMLText, EscapesEveryCharacterItMust) {
    struct Case {
        std::string utf8;
        const char* text;
        bool escaped;
    };
    const Case cases[] = {
        {"plain", "plain", false},
        {"\t\n", "\t\n", false},
        {" !\"#", " !\"#", false},  // U+0020 to U+0023 stand
        {"$", "$#x24;", true},      // U+0024 never does
        {"%", "%", false},
        {"\r", "$#xd;", true},
        {std::string(1, '\0'), "$#x0;", true},
        {"\x1f", "$#x1f;", true},
        {"\x7f", "\x7f", false},
        {"\xef\xbf\xbd", "\xef\xbf\xbd", false},  // U+FFFD stands
        {"\xef\xbf\xbe\xef\xbf\xbf", "$#xfffe;$#xffff;", true},
        {"\xf0\x9f\x98\x80", "\xf0\x9f\x98\x80", false},  // beyond the first plane
        {"<&>", "<&>", false},                            // markup is the XML writer's
    };
    for (const Case& c : cases) {
        const RegXMLText::Escaped escaped = RegXMLText::escape(c.utf8);
        EXPECT_EQ(escaped.text, c.text) << c.text;
        EXPECT_EQ(escaped.escaped, c.escaped) << c.text;
        EXPECT_EQ(RegXMLText::unescape(escaped.text), c.utf8) << c.text;  // and back
    }
    // What starts no escape stays as written.
    for (const char* text : {"$", "$#x;", "$#xg0;", "$#x110000;", "$#x123456789;", "$#x41"}) {
        EXPECT_EQ(RegXMLText::unescape(text), text);
    }
    EXPECT_EQ(RegXMLText::unescape("a$#x10ffff;b$#X41;"),
              "a\xf4\x8f\xbf\xbf"
              "b$#X41;");
}
