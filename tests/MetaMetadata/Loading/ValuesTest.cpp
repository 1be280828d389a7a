#include <gtest/gtest.h>

#include <locale>
#include <string>
#include <vector>

#include "Velmar/SDK/Exceptions/InvalidTextRepresentation.h"
#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/Exceptions/UnsupportedDataType.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/Numbers.h"
#include "Velmar/SDK/Types/Strings.h"
#include "Velmar/SDK/Types/ValueText.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
namespace Id = Types::Identifiers;
using Impl = MetaMetadata::Loading::XSDDictionaryLoaderImpl;
using testing_support::utf8;
using testing_support::wide;

namespace {

// "Type value" as the value prints, or "none" for an empty result.
std::string parsed(Id::Identifier dataType, const std::u16string& text,
                   Id::Identifier subType = Id::Unknown) {
    auto value = Impl::parseValue(dataType, subType, WString(text.c_str(), text.size()));
    return value ? std::string(Types::valueTypeName(*value)) + " " + utf8(Types::valueText(*value))
                 : "none";
}

// A locale that groups digits in threes with ',' and would read "1,234" as 1234.
struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

}  // namespace

TEST(ValueTexts, IntegersAreExtractedAsAStreamWouldThenNarrowed) {
    struct Case {
        Id::Identifier type;
        std::u16string text;
        std::string expected;
    };
    const Case cases[] = {
        {Id::Int32, u" 42", "Int32 42"},
        {Id::Int32, u"42abc", "Int32 42"},
        {Id::Int32, u"4.7", "Int32 4"},
        {Id::Int32, u"1e3", "Int32 1"},
        {Id::Int32, u"0x1F", "Int32 0"},
        {Id::Int32, u"012", "Int32 12"},
        {Id::Int32, u"+7", "Int32 7"},
        {Id::Int32, u"-5", "Int32 -5"},
        {Id::Int32, u"\t\n\v\f\r 5", "Int32 5"},
        {Id::Int32, u"+-1", "Int32 0"},
        {Id::Int32, u"- 1", "Int32 0"},
        {Id::Int32, u"abc", "Int32 0"},
        {Id::Int32, u"", "Int32 0"},
        {Id::Int32, u"\u00a05", "Int32 0"},  // no-break space is no white space here
        {Id::Int32, u"\u0663", "Int32 0"},   // nor is an Arabic-Indic digit a digit
        {Id::Int32, u"4\u00a05", "Int32 4"},
        {Id::Int32, u"2147483648", "Int32 2147483647"},
        {Id::Int32, u"-2147483649", "Int32 -2147483648"},
        {Id::Int8, u"127", "Int8 127"},
        {Id::Int8, u"128", "Int8 -128"},
        {Id::Int8, u"-129", "Int8 127"},
        {Id::Int8, u"200", "Int8 -56"},
        {Id::Int8, u"99999999999", "Int8 -1"},  // the 32-bit limit, then its low byte
        {Id::Int16, u"65535", "Int16 -1"},
        {Id::Int16, u"-32769", "Int16 32767"},
        {Id::UInt8, u"255", "UInt8 255"},
        {Id::UInt8, u"256", "UInt8 0"},
        {Id::UInt8, u"300", "UInt8 44"},
        {Id::UInt8, u"-1", "UInt8 255"},
        {Id::UInt16, u"-1", "UInt16 65535"},
        {Id::UInt16, u"70000", "UInt16 4464"},
        {Id::UInt32, u"-1", "UInt32 4294967295"},
        {Id::UInt32, u"-4294967295", "UInt32 1"},
        {Id::UInt32, u"4294967296", "UInt32 4294967295"},
        {Id::UInt64, u"18446744073709551615", "UInt64 18446744073709551615"},
        {Id::UInt64, u"18446744073709551616", "UInt64 18446744073709551615"},
        {Id::UInt64, u"-1", "UInt64 18446744073709551615"},
        {Id::Int64, u"-9223372036854775808", "Int64 -9223372036854775808"},
        {Id::Int64, u"9223372036854775807", "Int64 9223372036854775807"},
        {Id::Int64, u"9223372036854775808", "Int64 9223372036854775807"},
        {Id::Length, u"-9223372036854775808", "Length -9223372036854775808"},
        {Id::Position, u"9223372036854775807", "Position 9223372036854775807"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(parsed(c.type, c.text), c.expected) << utf8(c.text.c_str());
    }

    // The reading does not follow the process's locale.
    const std::locale previous =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    EXPECT_EQ(parsed(Id::Int32, u"1,234"), "Int32 1");
    std::locale::global(previous);
}

TEST(ValueTexts, BooleansCharactersStringsAndIdentifiers) {
    struct Case {
        Id::Identifier type;
        std::u16string text;
        std::string expected;
    };
    const Case cases[] = {
        {Id::Boolean, u"0", "Boolean false"},
        {Id::Boolean, u"1", "Boolean true"},
        {Id::Boolean, u"false", "Boolean true"},
        {Id::Boolean, u"00", "Boolean true"},
        {Id::Boolean, u" 0", "Boolean true"},
        {Id::Boolean, u" ", "Boolean true"},
        {Id::Boolean, u"", "Boolean true"},
        {Id::UTF16, u"A", "UTF16 A"},
        {Id::UTF16, u"  xy", "UTF16 x"},
        {Id::UTF16, u"0041", "UTF16 0"},
        {Id::UTF16, u"\u00e9t\u00e9", "UTF16 \u00e9"},
        {Id::UTF16String, u" a b ", "UTF16String  a b "},
        {Id::UTF8String, u" a b ", "UTF8String  a b "},
        {Id::ISO7String, u" a b ", "ISO7String  a b "},
        {Id::ISO8String, u"caf\u00e9", "ISO8String caf\u00e9"},
        {Id::ISO8String, u"\u20ac", "ISO8String ?"},
        {Id::UniversalLabel, u"06.0E.2b.34.01.01.01.01.01.01.15.02.00.00.00.00",
         "UniversalLabel 06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.00"},
        {Id::AUID, u"06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.00",
         "AUID 06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.00"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(parsed(c.type, c.text), c.expected) << utf8(c.text.c_str());
    }
    EXPECT_EQ(
        static_cast<const Types::UTF16&>(*Impl::parseValue(Id::UTF16, Id::Unknown, WString(u" ")))
            .value(),
        0)
        << "no word, code unit 0";
    EXPECT_THROW(parsed(Id::UUID, u"06.0e"), Exceptions::InvalidTextRepresentation);
    EXPECT_THROW(parsed(Id::UMID32, u"06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.00"),
                 Exceptions::InvalidTextRepresentation);

    // Types without a text form give nothing, whatever the text; the sub data type only
    // matters to collections.
    for (int type : {3, 4, 10, 12, 14, 16, 24, 28, 29, 30, 31, 35, 37, 38, 39, 43, 100, -1}) {
        EXPECT_EQ(parsed(static_cast<Id::Identifier>(type), u"{1,2}"), "none") << type;
    }
    EXPECT_EQ(parsed(Id::UInt8, u"5", Id::Array), "UInt8 5");
}

TEST(ValueLists, SplitFlatlyAtEveryCommaWithoutTrimming) {
    const std::pair<std::u16string, std::vector<std::string>> cases[] = {
        {u"{1,2}", {"1", "2"}},
        {u"{1,2,}", {"1", "2"}},
        {u"{1,,2}", {"1", "", "2"}},
        {u"{,1}", {"", "1"}},
        {u"{,,}", {"", ""}},
        {u"{a, b}", {"a", " b"}},
        {u"{{1,2},{3,4}}", {"{1", "2}", "{3", "4}"}},
        {u"{12}", {"12"}},
        {u"{  }", {"  "}},
        {u"{7}", {}},
        {u"{}", {}},
        {u"1,2,3", {}},
        {u"{1,2", {}},
        {u" {1,2}", {}},
    };
    for (const auto& [text, expected] : cases) {
        Impl::NameList items;
        Impl::splitValueList(WString(text.c_str()), items);
        std::vector<std::string> got;
        for (const WString& item : items) {
            got.push_back(utf8(item));
        }
        EXPECT_EQ(got, expected) << utf8(text.c_str());
    }
}

TEST(ValueLists, ArraysBatchesAndRationals) {
    struct Case {
        Id::Identifier type;
        Id::Identifier itemType;
        std::u16string text;
        std::string expected;
    };
    const Case cases[] = {
        {Id::Array, Id::UInt8, u"{1,2,3}", "Array {1,2,3}"},
        {Id::Batch, Id::Int16, u"{-1,300}", "Batch {-1,300}"},
        {Id::Array, Id::UTF16String, u"{ab, cd}", "Array {ab, cd}"},
        {Id::Array, Id::Boolean, u"{0, 0}", "Array {false,true}"},
        {Id::Array, Id::Boolean, u"{1,,2}", "Array {true,true,true}"},
        {Id::Batch, Id::UTF16String, u"{1,,2}", "Batch {1,,2}"},
        {Id::Array, Id::UInt8, u"{}", "Array {}"},
        {Id::Array, Id::UInt8, u"{7}", "Array {}"},
        {Id::Array, Id::UInt8, u"{12}", "Array {12}"},
        {Id::Batch, Id::UInt8, u"1,2,3", "Batch {}"},
        {Id::Array, Id::Float32, u"{a,b}", "Array {,}"},
        {Id::Rational, Id::Unknown, u"{25,1}", "Rational 25/1"},
        {Id::Rational, Id::Unknown, u"{60, 2}", "Rational 60/2"},
        {Id::Rational, Id::Unknown, u"{ 25 ,1 }", "Rational 25/1"},
        {Id::Rational, Id::Unknown, u"{7x,2}", "Rational 7/2"},
        {Id::Rational, Id::Unknown, u"{1,2,3}", "Rational 1/2"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(parsed(c.type, c.text, c.itemType), c.expected) << utf8(c.text.c_str());
    }

    // Items keep their class and the collection its size hint; empty items stay empty.
    Types::Array expected(4);
    expected.append(std::make_unique<Types::UInt8>(1));
    expected.append(std::make_unique<Types::UInt8>(2));
    EXPECT_TRUE(*Impl::parseValue(Id::Array, Id::UInt8, WString(u"{1,2}")) == expected);
    EXPECT_FALSE(*Impl::parseValue(Id::Batch, Id::UInt8, WString(u"{1,2}")) == expected);
    EXPECT_FALSE(*Impl::parseValue(Id::Array, Id::Int8, WString(u"{1,2}")) == expected);
    const auto holes = Impl::parseValue(Id::Array, Id::Float32, WString(u"{a,b}"));
    EXPECT_EQ(static_cast<const Types::Collection&>(*holes).item(1), nullptr);

    for (const char16_t* text : {u"{25}", u"25/1", u"{}", u"{,}"}) {
        try {
            parsed(Id::Rational, text);
            ADD_FAILURE() << utf8(text);
        } catch (const Exceptions::ParseError& e) {
            EXPECT_NE(utf8(e.message()).find("\"" + utf8(text) + "\""), std::string::npos);
        }
    }
    EXPECT_EQ(parsed(Id::Rational, u"{,2}"), "Rational 0/2");
    EXPECT_THROW(parsed(Id::Array, u"{1,2}", Id::Batch), Exceptions::UnsupportedDataType);
}

TEST(ValueLists, ItemSizeHints) {
    const std::pair<Id::Identifier, int> cases[] = {
        {Id::Boolean, 1},
        {Id::UTF16, 2},
        {Id::Int8, 4},
        {Id::UInt8, 4},
        {Id::Int16, 4},
        {Id::UInt16, 4},
        {Id::Int32, 4},
        {Id::UInt32, 4},
        {Id::Int64, 8},
        {Id::UInt64, 8},
        {Id::Length, 8},
        {Id::Position, 8},
        {Id::UniversalLabel, 0},
        {Id::Rational, 0},
        {Id::UTF16String, 0},
        {Id::Unknown, 0},
        {static_cast<Id::Identifier>(99), 0},
    };
    for (const auto& [type, size] : cases) {
        EXPECT_EQ(Impl::collectionElementSize(type), size) << type;
        EXPECT_EQ(static_cast<const Types::Collection&>(
                      *Impl::parseValue(Id::Batch, type, WString(u"{}")))
                      .itemSize(),
                  size);
    }
}
