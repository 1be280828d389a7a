#include <gtest/gtest.h>

#include <functional>

#include "Velmar/SDK/Exceptions/InvalidTextRepresentation.h"
#include "Velmar/SDK/Exceptions/UnsupportedDataType.h"
#include "Velmar/SDK/KLV/Key.h"
#include "Velmar/SDK/Types/Factories/BaseTypeFactory.h"
#include "Velmar/SDK/Types/Identifiers.h"
#include "Velmar/SDK/Types/LocalTag.h"
#include "Velmar/SDK/Types/UID.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using testing_support::utf8;
using testing_support::wide;

namespace {
const std::string kLabel = "06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.00";

std::string repeatedBytes(int count, const std::string& byte) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += (i ? "." : "") + byte;
    }
    return text;
}
}  // namespace

TEST(IdentifierText, ReadsTheDottedFormAndWritesItInLowercase) {
    const std::string upper = "06.0E.2B.34.01.01.01.01.01.01.15.02.00.00.00.0A";
    Types::UniversalLabel label(wide(upper).c_str(), Types::Dotted);
    EXPECT_EQ(utf8(label.toString(Types::Dotted)),
              "06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.0a");
    EXPECT_EQ(label.size(), 16);
    EXPECT_EQ(label[2], 0x2b);
    EXPECT_EQ(label.serializedSize(), 16);

    // A key made from a label's text is the label, byte for byte.
    KLV::Key key(label.toString(Types::Dotted).c_str(), Types::Dotted);
    EXPECT_TRUE(std::equal(key.bytes(), key.bytes() + 16, label.rawBuffer()));

    Types::UMID32 umid(wide(repeatedBytes(32, "a5")).c_str(), Types::Dotted);
    EXPECT_EQ(umid.size(), 32);
    Types::UMID64 umid64(wide(repeatedBytes(64, "00")).c_str(), Types::Dotted);
    EXPECT_EQ(umid64.size(), 64);
    Types::LocalTag tag(u"3C.0a", Types::Dotted);
    EXPECT_EQ(tag.value(), 0x3c0a);
    EXPECT_EQ(utf8(tag.toString(Types::Dotted)), "3c.0a");
}

// Anything but the exact form is refused, never read in part, and the message quotes the
// text and names the class that refused it.
TEST(IdentifierText, RefusesEveryOtherText) {
    using Make = std::function<void(const WString&)>;
    const Make label = [](const WString& t) { Types::UniversalLabel(t.c_str(), Types::Dotted); };
    const Make key = [](const WString& t) { KLV::Key(t.c_str(), Types::Dotted); };
    const Make tag = [](const WString& t) { Types::LocalTag(t.c_str(), Types::Dotted); };
    const Make uuid = [](const WString& t) { Types::UUID(t.c_str(), Types::Dotted); };
    const Make umid = [](const WString& t) { Types::UMID32(t.c_str(), Types::Dotted); };
    struct Case {
        const char* className;
        Make make;
        std::string text;
    };
    const Case cases[] = {
        {"UniversalLabel", label, ""},
        {"UniversalLabel", label, " " + kLabel},
        {"UniversalLabel", label, kLabel + "\n"},
        {"UniversalLabel", label, kLabel + ".00"},
        {"UniversalLabel", label, kLabel.substr(0, 44)},
        {"UniversalLabel", label, "06:0e:2b:34:01:01:01:01:01:01:15:02:00:00:00:00"},
        {"UniversalLabel", label, "06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.0g"},
        {"UniversalLabel", label, "060e.2b34.0101.0101.0101.1502.0000.0000.00000000"},
        {"UniversalLabel", label, "6.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.000"},
        {"Key", key, "urn:smpte:ul:060e2b34.01010101.01011502.00000000"},
        {"LocalTag", tag, "3c0a"},
        {"LocalTag", tag, "3c.0a.01"},
        {"LocalTag", tag, "00.00"},
        {"UUID", uuid, kLabel.substr(0, 46) + "\xc3\xa9"},
        {"UMID32", umid, kLabel},
    };
    for (const Case& c : cases) {
        try {
            c.make(wide(c.text));
            ADD_FAILURE() << c.className << " accepted \"" << c.text << "\"";
        } catch (const Exceptions::InvalidTextRepresentation& e) {
            const std::string message = utf8(e.message());
            EXPECT_EQ(message.rfind(c.className, 0), 0u) << message;
            EXPECT_NE(message.find("\"" + c.text.substr(0, 20)), std::string::npos) << message;
        }
    }

    // A hostile text is quoted in part, not whole.
    try {
        label(WString(100000, u'a'));
        ADD_FAILURE();
    } catch (const Exceptions::InvalidTextRepresentation& e) {
        EXPECT_LT(utf8(e.message()).size(), 300u);
    }
}

TEST(DataTypeNames, EveryNameMapsBothWaysAndNothingElseIsAType) {
    for (int i = 0; i < Types::Identifiers::kIdentifierCount; ++i) {
        const auto id = static_cast<Types::Identifiers::Identifier>(i);
        const char* name = Types::Identifiers::identifierToString(id);
        if (id == Types::Identifiers::Unknown) {
            EXPECT_EQ(name, nullptr);
            continue;
        }
        ASSERT_NE(name, nullptr) << i;
        EXPECT_EQ(Types::Identifiers::stringToIdentifier(wide(name).c_str()), id) << name;
    }
    for (const char16_t* text : {u"", u"uint8", u"UINT8", u" UInt8", u"UInt8 ", u"ff:UInt8",
                                 u"Unknown", u"StrongRefArray"}) {
        EXPECT_EQ(Types::Identifiers::stringToIdentifier(text), Types::Identifiers::Unknown)
            << utf8(text);
    }
    EXPECT_EQ(Types::Identifiers::stringToIdentifier(nullptr), Types::Identifiers::Unknown);
    EXPECT_EQ(Types::Identifiers::stringToIdentifier(u"UTF8String"), 42);
    EXPECT_EQ(Types::Identifiers::stringToIdentifier(u"WeakRef"), 30);
    EXPECT_EQ(
        Types::Identifiers::identifierToString(static_cast<Types::Identifiers::Identifier>(43)),
        nullptr);
    EXPECT_EQ(
        Types::Identifiers::identifierToString(static_cast<Types::Identifiers::Identifier>(-1)),
        nullptr);
}

TEST(TypeFactory, AcceptsSimpleAndCollectionTypesWhereTheyFit) {
    const auto& factory = Types::Factories::BaseTypeFactory::instance();
    for (int i = -1; i <= 44; ++i) {
        const auto id = static_cast<Types::Identifiers::Identifier>(i);
        const bool simple = i >= 2 && i <= 42 && i != 24;
        const bool collection = i == 0 || i == 1;
        if (simple) {
            EXPECT_EQ(factory.validateSimpleType(id), id);
        } else {
            EXPECT_THROW(factory.validateSimpleType(id), Exceptions::UnsupportedDataType) << i;
        }
        if (collection) {
            EXPECT_EQ(factory.validateCollectionType(id), id);
        } else {
            EXPECT_THROW(factory.validateCollectionType(id), Exceptions::UnsupportedDataType) << i;
        }
    }
    try {
        factory.validateSimpleType(Types::Identifiers::Batch);
    } catch (const Exceptions::UnsupportedDataType& e) {
        EXPECT_EQ(utf8(e.message()), "Not a simple data type: 1 (Batch)");
    }
}
