#include <gtest/gtest.h>

#include <string>

#include "Json.h"

using Velmar::SDK::WString;

// A 16-bit text is written whole: a NUL inside it is escaped, not the end of the text; what
// JSON cannot hold raw is escaped, and a lone surrogate becomes U+FFFD.
TEST(Json, StringsAreWrittenWholeAndEscaped) {
    const struct {
        WString text;
        std::string json;
    } cases[] = {
        {WString(u"a\0b", 3), "\"a\\u0000b\""},
        {WString(u"\0", 1), "\"\\u0000\""},
        {u"quote \" backslash \\", "\"quote \\\" backslash \\\\\""},
        {u"\n\r\t\b\f\x1f", "\"\\n\\r\\t\\b\\f\\u001f\""},
        {u"caf\u00e9 \U0001F3AC", "\"caf\xc3\xa9 \xf0\x9f\x8e\xac\""},
        {WString(1, static_cast<char16_t>(0xD800)), "\"\xef\xbf\xbd\""},
    };
    for (const auto& [text, json] : cases) {
        EXPECT_EQ(xsddict::jsonString(text), json);
    }
    // A path that is not UTF-8 is still valid JSON.
    EXPECT_EQ(xsddict::jsonPath("d\xe9j\xe0/x.xsd"), "\"d\xef\xbf\xbdj\xef\xbf\xbd/x.xsd\"");
}
