// The lookups a reader of MXF files makes, on the dictionary imported from the registers, through
// the public interface only: labels and keys made from the bytes a file holds, with version and
// group coding bytes that differ from the register's.
#include <gtest/gtest.h>

#include <array>
#include <map>
#include <vector>

#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "support/RegisterDictionary.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using namespace Velmar::SDK::MetaMetadata;
using testing_support::utf8;
using testing_support::wide;

namespace {

using Bytes = std::array<unsigned char, 16>;

// Returned by value: the dictionary moves out of the function that filled it.
Dictionary loadRegisters() {
    Dictionary dictionary;
    Loading::XSDDictionaryLoader loader;
    loader.load(wide(testing_support::registerDictionary().string()).c_str(), dictionary);
    return dictionary;
}

Bytes bytesOf(const unsigned char* bytes) {
    Bytes copy;
    std::copy(bytes, bytes + 16, copy.begin());
    return copy;
}

class RegisterLookups : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        if (!testing_support::registerDictionary().empty()) {
            dictionary_ = new Dictionary(loadRegisters());
        }
    }
    static void TearDownTestSuite() {
        delete dictionary_;
        dictionary_ = nullptr;
    }
    void SetUp() override {
        if (dictionary_ == nullptr) {
            GTEST_SKIP() << "no register snapshots at " << testing_support::registersFolder();
        }
    }
    static Dictionary* dictionary_;
};
Dictionary* RegisterLookups::dictionary_ = nullptr;

}  // namespace

TEST(Identifiers, AreMadeFromTheBytesAFileHoldsAndGiveThemBack) {
    const unsigned char raw[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01,
                                   0x01, 0x01, 0x15, 0x02, 0x00, 0x00, 0x00, 0x00};
    const Types::UniversalLabel text(u"06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.00",
                                     Types::Dotted);
    const Types::UniversalLabel label(raw);
    EXPECT_EQ(label, text);
    EXPECT_EQ(bytesOf(label.bytes()), bytesOf(raw));
    EXPECT_EQ(Types::AUID(raw).toString(Types::Dotted), text.toString(Types::Dotted));
    const KLV::Key key(raw);
    EXPECT_EQ(key, KLV::Key(text.toString(Types::Dotted).c_str(), Types::Dotted));
    EXPECT_EQ(bytesOf(key.bytes()), bytesOf(raw));

    const unsigned char tagBytes[2] = {0x3c, 0x0a};
    const Types::LocalTag tag(tagBytes);
    EXPECT_EQ(tag, Types::LocalTag(u"3c.0a", Types::Dotted));
    EXPECT_EQ(tag, Types::LocalTag(static_cast<unsigned short>(0x3c0a)));
    EXPECT_EQ(tag.bytes()[0], 0x3c);
    EXPECT_EQ(tag.bytes()[1], 0x0a);

    const unsigned char zero[2] = {0, 0};
    EXPECT_THROW(Types::LocalTag{zero}, Exceptions::BaseException);
    EXPECT_THROW(Types::LocalTag{static_cast<unsigned short>(0)}, Exceptions::BaseException);
    EXPECT_THROW(Types::UniversalLabel{static_cast<const unsigned char*>(nullptr)},
                 Exceptions::BaseException);
    EXPECT_THROW(KLV::Key{static_cast<const unsigned char*>(nullptr)}, Exceptions::BaseException);
}

// Every element is found from its label's bytes, and with any other version byte; where
// several labels differ only in that byte, the highest version is the one given.
TEST_F(RegisterLookups, ElementsAreFoundWhateverTheVersionByte) {
    std::map<Bytes, const MetaElement*> highest;  // by label without its version byte
    std::size_t count = 0;
    for (const MetaElement& element : dictionary_->metaElements()) {
        ++count;
        if (dictionary_->metaElement(element.universalLabel()) != &element) {
            continue;  // a duplicate label: lookups give the first
        }
        Bytes versionless = bytesOf(element.universalLabel().bytes());
        versionless[7] = 0;
        const MetaElement*& best = highest[versionless];
        if (best == nullptr || element.universalLabel()[7] > best->universalLabel()[7]) {
            best = &element;
        }
    }
    ASSERT_EQ(count, dictionary_->metaElementCount());
    ASSERT_GT(count, 2000u);

    std::size_t versionsTried = 0;
    for (const MetaElement& element : dictionary_->metaElements()) {
        const MetaElement* first = dictionary_->metaElement(element.universalLabel());
        LabelMatch match = LabelMatch::None;
        Types::UniversalLabel label(element.universalLabel().bytes());
        EXPECT_EQ(dictionary_->findMetaElement(label, &match), first);
        EXPECT_EQ(match, LabelMatch::Exact);

        Bytes versionless = bytesOf(label.bytes());
        versionless[7] = 0;
        for (unsigned char version : {0x01, 0x05, 0x0d, 0x7f}) {
            Bytes changed = bytesOf(label.bytes());
            changed[7] = version;
            const Types::UniversalLabel other(changed.data());
            if (dictionary_->metaElement(other) != nullptr) {
                continue;  // a label the dictionary holds as it is
            }
            ++versionsTried;
            ASSERT_EQ(dictionary_->findMetaElement(other, &match), highest.at(versionless))
                << utf8(other.toString(Types::Dotted));
            EXPECT_EQ(match, LabelMatch::IgnoringVersion);
        }
        if (element.hasProperty(u"name")) {
            const MetaElement* byName =
                dictionary_->metaElementByName(element.getProperty(u"name"));
            ASSERT_NE(byName, nullptr);
            EXPECT_EQ(utf8(byName->getProperty(u"name")), utf8(element.getProperty(u"name")));
        }
    }
    EXPECT_GT(versionsTried, 3 * count);

    Bytes unknown{0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01,
                  0x7e, 0x7e, 0x7e, 0x7e, 0x7e, 0x7e, 0x7e, 0x7e};
    LabelMatch match = LabelMatch::Exact;
    EXPECT_EQ(dictionary_->findMetaElement(Types::UniversalLabel(unknown.data()), &match), nullptr);
    EXPECT_EQ(match, LabelMatch::None);
    EXPECT_EQ(dictionary_->metaElementByName(u"No Such Element"), nullptr);
}

// A set is found from the key a file gives its local set: another version byte, and 0x53 (or
// another group coding) where the register has 0x7f, or the other way round.
TEST_F(RegisterLookups, SetsAreFoundWhateverTheVersionAndCodingBytes) {
    std::size_t count = 0;
    for (const MetaMetadataSet& set : dictionary_->metaMetadataSets()) {
        ++count;
        const Bytes key = bytesOf(set.key().bytes());
        LabelMatch match = LabelMatch::None;
        EXPECT_EQ(dictionary_->findMetaMetadataSet(KLV::Key(key.data()), &match), &set);
        EXPECT_EQ(match, LabelMatch::Exact);

        struct Variant {
            int version;
            int coding;
            LabelMatch expected;
        };
        for (const Variant& variant : {Variant{0x0d, -1, LabelMatch::IgnoringVersion},
                                       Variant{-1, 0x53, LabelMatch::IgnoringCoding},
                                       Variant{-1, 0x7f, LabelMatch::IgnoringCoding},
                                       Variant{0x01, 0x13, LabelMatch::IgnoringCoding}}) {
            Bytes changed = key;
            if (variant.version >= 0) {
                changed[7] = static_cast<unsigned char>(variant.version);
            }
            if (variant.coding >= 0) {
                changed[5] = static_cast<unsigned char>(variant.coding);
            }
            const KLV::Key other(changed.data());
            if (changed == key || dictionary_->metaMetadataSet(other) != nullptr) {
                continue;
            }
            const MetaMetadataSet* found = dictionary_->findMetaMetadataSet(other, &match);
            ASSERT_NE(found, nullptr) << utf8(other.toString(Types::Dotted));
            // Another set of the same group may hold a higher version; it must match as well.
            Bytes foundKey = bytesOf(found->key().bytes());
            Bytes wanted = key;
            for (Bytes* k : {&foundKey, &wanted}) {
                (*k)[7] = 0;
                if (variant.expected == LabelMatch::IgnoringCoding) {
                    (*k)[5] = 0;
                }
            }
            EXPECT_EQ(foundKey, wanted);
            EXPECT_GE(found->key().bytes()[7], set.key().bytes()[7]);
            EXPECT_TRUE(match == variant.expected ||
                        (match == LabelMatch::IgnoringVersion &&
                         variant.expected == LabelMatch::IgnoringCoding && changed[5] == key[5]))
                << utf8(other.toString(Types::Dotted));
        }

        const XMLCh* name = set.getProperty(u"name");
        const MetaMetadataSet* byName = dictionary_->metaMetadataSetByName(name);
        ASSERT_NE(byName, nullptr) << utf8(name);
        EXPECT_EQ(utf8(byName->getProperty(u"name")), utf8(name));
        EXPECT_EQ(dictionary_->metaMetadataSetByTagName(set.getProperty(u"XMLTagName")), &set);

        std::size_t attributes = 0;
        for (const MetaAttribute& attribute : set.attributes()) {
            EXPECT_EQ(&attribute, &set.attribute(attributes));
            ++attributes;
        }
        EXPECT_EQ(attributes, set.attributeCount());
    }
    EXPECT_EQ(count, dictionary_->metaMetadataSetCount());
    ASSERT_GT(count, 300u);

    // The Preface as an MXF file keys it.
    const unsigned char preface[16] = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x53, 0x01, 0x01,
                                       0x0d, 0x01, 0x01, 0x01, 0x01, 0x01, 0x2f, 0x00};
    const MetaMetadataSet* found = dictionary_->findMetaMetadataSet(KLV::Key(preface));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found, dictionary_->metaMetadataSetByName(u"Preface"));
}
