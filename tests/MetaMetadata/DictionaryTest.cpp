#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"
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
    dictionary.reserve(100, 0);  // fewer than come: room is a hint, never a limit
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

// Names are indexed on the first lookup, by whichever threads look first; elements added after
// it are found, the first of a name still wins, and a moved dictionary keeps its index.
TEST(Dictionary, NameLookupsIndexOnFirstUseFromAnyThread) {
    Dictionary dictionary;
    std::vector<const MetaElement*> handedOver;
    auto add = [&](int n, const std::string& name) {
        auto e = element(n, wide(name).c_str());
        handedOver.push_back(e.get());
        const Types::UniversalLabel copy = e->universalLabel();
        dictionary.addMetaElement(copy, std::move(e));
    };
    auto name = [](int i) { return "E" + std::string(1, 'a' + i % 26) + std::to_string(i); };
    for (int i = 0; i < 2000; ++i) {
        add(i, name(i));
    }
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = t; i < 2000; i += 4) {
                if (dictionary.metaElementByTagName(wide(name(i)).c_str()) != handedOver[i])
                    ++wrong;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong.load(), 0);

    add(2000, "Ea0");  // a name already held
    add(2001, "Late");
    EXPECT_EQ(dictionary.metaElementByTagName(u"Ea0"), handedOver[0]);
    EXPECT_EQ(dictionary.metaElementByTagName(u"Late"), handedOver[2001]);
    Dictionary moved(std::move(dictionary));
    EXPECT_EQ(moved.metaElementByTagName(u"Late"), handedOver[2001]);
    Dictionary assigned;
    EXPECT_EQ(assigned.metaElementByTagName(u"Late"), nullptr);
    assigned = std::move(moved);
    EXPECT_EQ(assigned.metaElementByTagName(u"Late"), handedOver[2001]);
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
        // The name index follows the replacement.
        EXPECT_EQ(dictionary.metaMetadataSetByName(u"Second"), &dictionary.metaMetadataSetAt(0));
        EXPECT_EQ(dictionary.metaMetadataSetByName(u"First"), nullptr);

        // Moved, the dictionary keeps its objects where they were.
        const MetaMetadataSet* before = &dictionary.metaMetadataSetAt(0);
        Dictionary moved(std::move(dictionary));
        EXPECT_EQ(moved.metaMetadataSet(key(100)), before);
        EXPECT_EQ(moved.metaElement(label(1)), &held);
        Dictionary assigned;
        assigned = std::move(moved);
        EXPECT_EQ(assigned.metaMetadataSetByName(u"Second"), before);
    }
    EXPECT_EQ(Platform::malloc_alloc::bytesInUse(), before);
}

// Labels that differ only in the version byte: the exact one wins, else the highest version;
// set keys may also differ in the group coding byte. The registers hold no such pairs.
TEST(Dictionary, TolerantLookupsPreferExactThenHighestVersion) {
    auto bytes = [](int coding, int version, int last) {
        std::array<unsigned char, 16> b = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x53, 0x01, 0x01,
                                           0x0d, 0x01, 0x01, 0x01, 0x01, 0x01, 0x2f, 0x00};
        b[5] = static_cast<unsigned char>(coding);
        b[7] = static_cast<unsigned char>(version);
        b[15] = static_cast<unsigned char>(last);
        return b;
    };
    Dictionary dictionary;
    for (int version : {0x02, 0x05, 0x03}) {
        const Types::UniversalLabel l(bytes(0x53, version, 0).data());
        dictionary.addMetaElement(l, Templates::auto_ptr<MetaElement>(
                                         new MetaSimpleElement(l, Types::Identifiers::UInt8)));
        MetaMetadataSet set(KLV::Key(bytes(0x7f, version, 0).data()));
        dictionary.addMetaMetadataSet(set.key(), set);
    }
    MetaMetadataSet other(KLV::Key(bytes(0x13, 0x01, 1).data()));
    dictionary.addMetaMetadataSet(other.key(), other);

    struct Case {
        int coding, version, last;
        int foundVersion;  // 0: nothing
        LabelMatch match;
    };
    const Case sets[] = {
        {0x7f, 0x03, 0, 0x03, LabelMatch::Exact},
        {0x7f, 0x01, 0, 0x05, LabelMatch::IgnoringVersion},
        {0x53, 0x03, 0, 0x05, LabelMatch::IgnoringCoding},
        {0x53, 0x01, 1, 0x01, LabelMatch::IgnoringCoding},
        {0x13, 0x0e, 1, 0x01, LabelMatch::IgnoringVersion},
        {0x53, 0x01, 2, 0, LabelMatch::None},
    };
    for (const Case& c : sets) {
        LabelMatch match = LabelMatch::Exact;
        const MetaMetadataSet* found = dictionary.findMetaMetadataSet(
            KLV::Key(bytes(c.coding, c.version, c.last).data()), &match);
        EXPECT_EQ(match, c.match) << c.coding << " " << c.version;
        ASSERT_EQ(found != nullptr, c.foundVersion != 0);
        if (found != nullptr) {
            EXPECT_EQ(found->key().bytes()[7], c.foundVersion);
        }
    }
    const Case elements[] = {
        {0x53, 0x02, 0, 0x02, LabelMatch::Exact},
        {0x53, 0x0e, 0, 0x05, LabelMatch::IgnoringVersion},
        {0x7f, 0x05, 0, 0, LabelMatch::None},  // elements have no coding byte to ignore
    };
    for (const Case& c : elements) {
        LabelMatch match = LabelMatch::Exact;
        const MetaElement* found = dictionary.findMetaElement(
            Types::UniversalLabel(bytes(c.coding, c.version, c.last).data()), &match);
        EXPECT_EQ(match, c.match);
        ASSERT_EQ(found != nullptr, c.foundVersion != 0);
        if (found != nullptr) {
            EXPECT_EQ(found->universalLabel()[7], c.foundVersion);
        }
    }
}

// A small dictionary stacked on the register's and under it: what the lower one holds stays,
// what only the upper one has is added, and each difference is a clash.
TEST(DictionaryStacking, AddsWhatTheLowerLacksAndReportsEachClash) {
    const std::string tiny = testing_support::fixture("MXF/fixtures/tiny.xsd").string();
    const Types::UniversalLabel count(u"06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00",
                                      Types::Dotted);
    const KLV::Key preface(u"06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.2f.00", Types::Dotted);

    Dictionary onRegisters;
    Loading::loadBuiltinDictionary(onRegisters);
    const std::size_t registerElements = onRegisters.metaElementCount();
    const std::size_t prefaceAttributes = onRegisters.metaMetadataSet(preface)->attributeCount();
    const std::vector<std::string> clashes =
        onRegisters.stack(Templates::auto_ptr<Dictionary>(new Dictionary([&] {
            Dictionary d;
            Loading::loadDictionaryFile(tiny.c_str(), d);
            return d;
        }())));
    // Count, Content and Child are tiny's own; Instance ID is the register's, alike.
    EXPECT_EQ(onRegisters.metaElementCount(), registerElements + 3);
    ASSERT_NE(onRegisters.metaElement(count), nullptr);
    EXPECT_EQ(onRegisters.metaMetadataSet(preface)->attributeCount(), prefaceAttributes);
    auto has = [&](const std::string& start) {
        for (const std::string& clash : clashes) {
            if (clash.rfind(start, 0) == 0) {
                return true;
            }
        }
        return false;
    };
    EXPECT_TRUE(
        has("set Preface (06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.2f.00): defined "
            "already, as Preface of "));
    EXPECT_TRUE(has("set Storage (06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.18.00)"));
    EXPECT_TRUE(
        has("local tag 3b.07 of 06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00: the "
            "tag stands for 06.0e.2b.34.01.01.01.02.03.01.02.01.04.00.00.00 already"));
    EXPECT_TRUE(has("1 elements, sets, types and labels defined already under the same names"));
    EXPECT_FALSE(has("element")) << "Instance ID is defined alike, not a clash";
    // The register's types came with it and stay.
    EXPECT_FALSE(onRegisters.typeDefinitions().empty());

    // Under it, the small one's Preface stays, and the register's types are added.
    Dictionary onTiny;
    Loading::loadDictionaryFile(tiny.c_str(), onTiny);
    Dictionary underBuiltin;
    const std::vector<std::string> stackedClashes =
        Loading::loadStackedDictionaries({"+" + tiny}, underBuiltin);
    EXPECT_EQ(underBuiltin.metaElementCount(), registerElements + 3);
    ASSERT_FALSE(stackedClashes.empty());
    EXPECT_EQ(stackedClashes.front().rfind(tiny + ": ", 0), 0u) << stackedClashes.front();
    const std::vector<std::string> reversed = onTiny.stack([] {
        Templates::auto_ptr<Dictionary> d(new Dictionary);
        Loading::loadBuiltinDictionary(*d);
        return d;
    }());
    EXPECT_EQ(onTiny.metaMetadataSet(preface)->attributeCount(), 3u);
    EXPECT_EQ(onTiny.metaElementCount(), registerElements + 3);
    EXPECT_FALSE(onTiny.typeDefinitions().empty());
}
