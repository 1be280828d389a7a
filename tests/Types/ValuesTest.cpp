#include <gtest/gtest.h>

#include <vector>

#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/LocalTag.h"
#include "Velmar/SDK/Types/Numbers.h"
#include "Velmar/SDK/Types/Strings.h"
#include "Velmar/SDK/Types/UID.h"
#include "Velmar/SDK/Types/ValueText.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using testing_support::utf8;

namespace {
struct Bytes : DataIO::DataSink {
    void write(const unsigned char* data, std::size_t size) override {
        bytes.insert(bytes.end(), data, data + size);
    }
    std::vector<unsigned char> bytes;
};

std::vector<unsigned char> serialised(const Types::BaseType& value) {
    Bytes sink;
    value.serialize(sink);
    return sink.bytes;
}
}  // namespace

// Each value is visited as its own class, prints in its text form and serialises big-endian
// in its own width.
TEST(Values, PrintAndSerialiseAsTheirOwnClass) {
    struct Case {
        Templates::auto_ptr<Types::SimpleDataType> value;
        const char* typeName;
        const char* text;
        std::vector<unsigned char> bytes;
    };
    std::vector<Case> cases;
    cases.push_back({std::make_unique<Types::Boolean>(true), "Boolean", "true", {1}});
    cases.push_back({std::make_unique<Types::Int8>(-56), "Int8", "-56", {0xc8}});
    cases.push_back({std::make_unique<Types::Int16>(-2), "Int16", "-2", {0xff, 0xfe}});
    cases.push_back({std::make_unique<Types::UInt16>(18761), "UInt16", "18761", {0x49, 0x49}});
    cases.push_back({std::make_unique<Types::UInt32>(4294967295u),
                     "UInt32",
                     "4294967295",
                     {0xff, 0xff, 0xff, 0xff}});
    cases.push_back({std::make_unique<Types::Int64>(-9223372036854775807LL - 1),
                     "Int64",
                     "-9223372036854775808",
                     {0x80, 0, 0, 0, 0, 0, 0, 0}});
    cases.push_back({std::make_unique<Types::UInt64>(18446744073709551615ULL), "UInt64",
                     "18446744073709551615", std::vector<unsigned char>(8, 0xff)});
    cases.push_back(
        {std::make_unique<Types::Length>(258), "Length", "258", {0, 0, 0, 0, 0, 0, 1, 2}});
    cases.push_back({std::make_unique<Types::Position>(-1), "Position", "-1",
                     std::vector<unsigned char>(8, 0xff)});
    cases.push_back(
        {std::make_unique<Types::Rational>(60, 2), "Rational", "60/2", {0, 0, 0, 60, 0, 0, 0, 2}});
    cases.push_back({std::make_unique<Types::UTF16>(0x41), "UTF16", "A", {0, 0x41}});
    cases.push_back({std::make_unique<Types::UTF16String>(u" a\u00e9"),
                     "UTF16String",
                     " a\xc3\xa9",
                     {0, 0x20, 0, 0x61, 0, 0xe9}});
    cases.push_back(
        {std::make_unique<Types::UTF8String>(u"\u00e9"), "UTF8String", "\xc3\xa9", {0xc3, 0xa9}});
    cases.push_back({std::make_unique<Types::ISO7String>("ab"), "ISO7String", "ab", {0x61, 0x62}});
    cases.push_back(
        {std::make_unique<Types::ISO8String>("\xe9"), "ISO8String", "\xc3\xa9", {0xe9}});
    cases.push_back({std::make_unique<Types::LocalTag>(u"3c.0a", Types::Dotted),
                     "LocalTag",
                     "3c.0a",
                     {0x3c, 0x0a}});
    for (const Case& c : cases) {
        EXPECT_STREQ(Types::valueTypeName(*c.value), c.typeName);
        EXPECT_EQ(utf8(Types::valueText(*c.value)), c.text) << c.typeName;
        EXPECT_EQ(serialised(*c.value), c.bytes) << c.typeName;
        EXPECT_EQ(c.value->serializedSize(), c.bytes.size()) << c.typeName;
        // A clone is the same class with the same value.
        auto clone = c.value->clone();
        EXPECT_STREQ(Types::valueTypeName(*clone), c.typeName);
        EXPECT_EQ(serialised(*clone), c.bytes);
    }
}

TEST(Values, CollectionsOwnTheirItemsAndCopyThemDeeply) {
    Types::Batch batch(4);
    batch.append(std::make_unique<Types::Int16>(-1));
    batch.append(nullptr);
    batch.append(std::make_unique<Types::Int16>(300));
    auto copy = batch.clone();
    EXPECT_NE(copy->item(0), batch.item(0));
    EXPECT_EQ(copy->item(1), nullptr);
    EXPECT_STREQ(Types::valueTypeName(*copy), "Batch");
    EXPECT_EQ(utf8(Types::valueText(*copy)), "{-1,,300}");
    EXPECT_EQ(serialised(batch),
              (std::vector<unsigned char>{0, 0, 0, 3, 0, 0, 0, 4, 0xff, 0xff, 0x01, 0x2c}));
    EXPECT_EQ(batch.serializedSize(), 12u);
    EXPECT_EQ(utf8(Types::valueText(Types::Array(0))), "{}");
}
