#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/Platform/malloc_alloc.h"
#include "Velmar/SDK/Types/Numbers.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using namespace Velmar::SDK::MetaMetadata;
using testing_support::wide;

namespace {

Types::UniversalLabel label(int n) {
    char text[48];
    std::snprintf(text, sizeof text, "06.0e.2b.34.01.01.01.01.01.01.%02x.%02x.00.00.00.00",
                  (n >> 8) & 0xff, n & 0xff);
    return Types::UniversalLabel(wide(text).c_str(), Types::Dotted);
}
Types::LocalTag tag(const char16_t* text) {
    return Types::LocalTag(text, Types::Dotted);
}
KLV::Key key(int n) {
    return KLV::Key(label(n).toString(Types::Dotted).c_str(), Types::Dotted);
}

Templates::auto_ptr<MetaElement> element(int n, const char16_t* tagName = nullptr) {
    Templates::auto_ptr<MetaElement> e(new MetaSimpleElement(label(n), Types::Identifiers::UInt8));
    if (tagName != nullptr) {
        e->addProperty(u"XMLTagName", tagName);
    }
    return e;
}

}  // namespace

// The loader keeps raw pointers to elements it handed over, so they must never move, and an
// element under a label already held must be kept, not dropped.
TEST(Dictionary, KeepsEveryElementInPlaceAndTheFirstOfALabelForLookups) {
    Dictionary dictionary;
    std::vector<const MetaElement*> handedOver;
    for (int i = 0; i < 500; ++i) {
        auto e = element(i % 400, i == 7 ? u"Seven" : nullptr);
        handedOver.push_back(e.get());
        const Types::UniversalLabel copy = e->universalLabel();  // read before the element moves
        dictionary.addMetaElement(copy, std::move(e));
    }
    ASSERT_EQ(dictionary.metaElementCount(), 500u);
    for (std::size_t i = 0; i < handedOver.size(); ++i) {
        EXPECT_EQ(&dictionary.metaElementAt(i), handedOver[i]);
    }
    EXPECT_EQ(dictionary.metaElement(label(5)), handedOver[5]);
    EXPECT_EQ(dictionary.metaElement(label(399)), handedOver[399]);
    EXPECT_EQ(dictionary.metaElement(label(4000)), nullptr);
    const auto duplicates = dictionary.duplicateMetaElements();
    ASSERT_EQ(duplicates.size(), 100u);
    EXPECT_EQ(duplicates.front(), handedOver[400]);
    EXPECT_EQ(dictionary.metaElementByTagName(u"Seven"), handedOver[7]);
    EXPECT_EQ(dictionary.metaElementByTagName(u"seven"), nullptr);
}

TEST(Dictionary, FirstLocalTagMappingStaysAndLaterContradictionsAreConflicts) {
    Dictionary dictionary;
    dictionary.addLocalTag(tag(u"3c.0a"), label(1));
    dictionary.addLocalTag(tag(u"3c.0a"), label(1));  // the same mapping again
    dictionary.addLocalTag(tag(u"3c.0b"), label(1));  // the label has a tag already
    dictionary.addLocalTag(tag(u"3c.0a"), label(2));  // the tag belongs to another label
    dictionary.addLocalTag(tag(u"3c.0c"), label(3));

    ASSERT_NE(dictionary.localTag(label(1)), nullptr);
    EXPECT_EQ(dictionary.localTag(label(1))->value(), 0x3c0a);
    EXPECT_EQ(dictionary.localTag(label(2)), nullptr);
    EXPECT_EQ(dictionary.localTag(label(9)), nullptr);
    ASSERT_NE(dictionary.universalLabel(tag(u"3c.0c")), nullptr);
    EXPECT_EQ(*dictionary.universalLabel(tag(u"3c.0c")), label(3));
    EXPECT_EQ(dictionary.localTagCount(), 2u);
    ASSERT_EQ(dictionary.localTagConflicts().size(), 2u);
    EXPECT_EQ(dictionary.localTagConflicts()[0].tag.value(), 0x3c0b);
    EXPECT_EQ(dictionary.localTagConflicts()[1].label, label(2));

    // The pointer the loader keeps stays valid as more tags arrive.
    const Types::LocalTag* kept = dictionary.localTag(label(3));
    for (int i = 10; i < 300; ++i) {
        dictionary.addLocalTag(
            Types::LocalTag(
                wide("0" + std::to_string(i % 10) + ".1" + std::to_string(i % 10)).c_str(),
                Types::Dotted),
            label(i));
    }
    EXPECT_EQ(dictionary.localTag(label(3)), kept);

    auto e = element(3);
    const MetaElement* held = e.get();
    dictionary.addMetaElement(label(3), std::move(e));
    EXPECT_EQ(dictionary.metaElementByLocalTag(tag(u"3c.0c")), held);
}

// The dictionary keeps its own copy of a set: the loader destroys its set right after handing
// it over. A second set under the same key replaces the first in its place.
TEST(Dictionary, KeepsACopyOfEachSetAndReplacesByKey) {
    const std::size_t before = Platform::malloc_alloc::bytesInUse();
    {
        Dictionary dictionary;
        Templates::auto_ptr<MetaElement> e = element(1);
        const MetaElement& held = *e;
        dictionary.addMetaElement(label(1), std::move(e));
        {
            Templates::auto_ptr<MetaMetadataSet> set(new MetaMetadataSet(key(100)));
            set->addProperty(u"name", u"First");
            set->addMetaAttribute(MetaAttributePtr(new MetaAttribute(
                held, AttributeRequiredStatus::Required,
                Templates::auto_ptr<const Types::BaseType>(new Types::UInt8(7)), nullptr)));
            dictionary.addMetaMetadataSet(set->key(), *set);
            MetaMetadataSet other(key(200));
            dictionary.addMetaMetadataSet(other.key(), other);
        }
        ASSERT_EQ(dictionary.metaMetadataSetCount(), 2u);
        const MetaMetadataSet& kept = dictionary.metaMetadataSetAt(0);
        EXPECT_EQ(kept.key(), key(100));
        ASSERT_EQ(kept.attributeCount(), 1u);
        EXPECT_EQ(&kept.attribute(0).metaElement(), &held);
        EXPECT_EQ(static_cast<const Types::UInt8*>(kept.attribute(0).defaultValue())->value(), 7);

        MetaMetadataSet replacement(key(100));
        replacement.addProperty(u"name", u"Second");
        dictionary.addMetaMetadataSet(replacement.key(), replacement);
        ASSERT_EQ(dictionary.metaMetadataSetCount(), 2u);
        EXPECT_EQ(std::u16string(dictionary.metaMetadataSetAt(0).getProperty(u"name")), u"Second");
        EXPECT_EQ(dictionary.metaMetadataSet(key(100)), &dictionary.metaMetadataSetAt(0));
        EXPECT_EQ(dictionary.metaMetadataSet(key(300)), nullptr);
    }
    EXPECT_EQ(Platform::malloc_alloc::bytesInUse(), before);
}
