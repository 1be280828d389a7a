#include <gtest/gtest.h>

#include "Velmar/SDK/Utils/StringConversion.h"

using namespace Velmar::SDK;

TEST(StringConversion, Utf8ToUtf16AndBack) {
    struct Case {
        const char* utf8;
        std::u16string utf16;
        bool roundTrips;
    };
    const Case cases[] = {
        {"", u"", true},
        {"Preface", u"Preface", true},
        {"Gr\xc3\xb6\xc3\x9f"
         "e",
         u"Gr\u00f6\u00dfe", true},
        {"\xe2\x82\xac", u"\u20ac", true},
        {"\xf0\x9f\x8e\xac", u"\U0001F3AC", true},
        {"a\xff"
         "b",
         u"a\ufffdb", false},                // a byte that starts nothing
        {"\xc0\xaf", u"\ufffd", false},      // overlong
        {"\xed\xa0\x80", u"\ufffd", false},  // an encoded surrogate
        {"\xe2\x82", u"\ufffd", false},      // cut short
    };
    for (const Case& c : cases) {
        const WString wide = Utils::stringToWstring(c.utf8);
        EXPECT_EQ(std::u16string(wide.c_str()), c.utf16) << c.utf8;
        if (c.roundTrips) {
            EXPECT_STREQ(Utils::toUtf8(wide.c_str()).c_str(), c.utf8);
        }
    }
    EXPECT_STREQ(Utils::toUtf8(u"x\xd800y").c_str(), "x\xef\xbf\xbdy") << "an unpaired surrogate";
}

TEST(StringConversion, NarrowingKeepsLatin1AndMarksTheRest) {
    EXPECT_STREQ(Utils::wstringToString(u"a b\u00e9\u20ac").c_str(), "a b\xe9?");
    EXPECT_STREQ(Utils::wstringToString(nullptr).c_str(), "");
}

// Byte texts (paths) come back as the bytes they were, whatever their encoding.
TEST(StringConversion, BytesRoundTrip) {
    const char* texts[] = {"",
                           "plain/x.xsd",
                           "caf\xc3\xa9/\xf0\x9f\x8e\xac.xsd",
                           "d\xe9j\xe0/x.xsd",  // Latin-1
                           "\xc0\xaf\xed\xa0\x80\xe2\x82",
                           "\xff\xfe\x80"};
    for (const char* text : texts) {
        const WString wide = Utils::bytesToWstring(text);
        EXPECT_STREQ(Utils::wstringToBytes(wide.c_str()).c_str(), text) << text;
    }
    // Valid UTF-8 reads as stringToWstring reads it.
    EXPECT_EQ(std::u16string(Utils::bytesToWstring("caf\xc3\xa9").c_str()), u"caf\u00e9");
    EXPECT_EQ(std::u16string(Utils::bytesToWstring("d\xe9").c_str()), u"d\xdce9");
}

TEST(StringConversion, XmlEscapesMarkupAlone) {
    EXPECT_EQ(Utils::xmlEscaped("a<b>&\"c\"'$\t\xc3\xa9"),
              "a&lt;b&gt;&amp;&quot;c&quot;'$\t\xc3\xa9");
    EXPECT_EQ(Utils::xmlEscaped(""), "");
}
