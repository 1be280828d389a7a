#include <gtest/gtest.h>

#include "Velmar/SDK/Exceptions/InvalidRequiredStatus.h"
#include "Velmar/SDK/MetaMetadata/AttributeRequiredStatus.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/MetaMetadata/PropertyMap.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using namespace Velmar::SDK::MetaMetadata;
namespace Id = Types::Identifiers;
using testing_support::utf8;

namespace {
const Types::UniversalLabel kLabel(u"06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.00",
                                   Types::Dotted);
const KLV::Key kTarget(u"06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.2f.00", Types::Dotted);
}  // namespace

// The loader asks "is this a collection?" and "is this a value collection?" through these two
// visitors; a visitor that forgets to hand a derived class on to its base answers wrongly.
TEST(MetaElementVisitors, TellEachKindApart) {
    const KeyVector targets{kTarget};
    MetaSimpleElement simple(kLabel, Id::UInt8);
    MetaCollection collection(kLabel, {}, Id::Batch, Id::UniversalLabel);
    MetaReferenceElement reference(kLabel, targets, Id::StrongRef);
    MetaReferenceCollection references(kLabel, {}, targets, Id::Array, Id::WeakRef);
    struct Case {
        MetaElement* element;
        bool isCollection;
        bool isValueCollection;
        bool isReference;
    };
    const Case cases[] = {
        {&simple, false, false, false},
        {&collection, true, true, false},
        {&reference, false, false, true},
        {&references, true, false, true},
    };
    for (const Case& c : cases) {
        Visitors::GetMetaElementVisitor<MetaCollectionElement> anyCollection;
        c.element->accept(anyCollection);
        EXPECT_EQ(anyCollection.result() != nullptr, c.isCollection);
        if (c.isCollection) {
            EXPECT_EQ(anyCollection.result(), static_cast<const MetaCollectionElement*>(c.element));
        }
        Visitors::GetNonConstMetaElementVisitor<MetaCollection> valueCollection;
        c.element->accept(valueCollection);
        EXPECT_EQ(valueCollection.result() != nullptr, c.isValueCollection);
        Visitors::GetMetaElementVisitor<MetaReferenceHolder> referenceHolder;
        c.element->accept(referenceHolder);
        ASSERT_EQ(referenceHolder.result() != nullptr, c.isReference);
        if (c.isReference) {
            EXPECT_EQ(referenceHolder.result()->targetSets(), targets);
        }
    }
    EXPECT_EQ(references.dataType(), Id::Array);
    EXPECT_EQ(references.dataSubType(), Id::WeakRef);
    EXPECT_FALSE(collection.sizeLimits().bounded());
}

TEST(PropertyMap, KeepsFirstAdditionOrderReplacesInPlaceAndGivesEmptyForAbsent) {
    PropertyMap map;
    map.addProperty(u"name", u"Instance UID");
    map.addProperty(u"XMLTagName", u"InstanceID");
    map.addProperty(u"name", u"Instance ID");
    ASSERT_EQ(map.propertyCount(), 2u);
    EXPECT_EQ(utf8(map.propertyName(0)), "name");
    EXPECT_EQ(utf8(map.propertyValue(0)), "Instance ID");
    ASSERT_NE(map.getProperty(u"Documentation"), nullptr);
    EXPECT_EQ(map.getProperty(u"Documentation")[0], 0);
    EXPECT_EQ(utf8(map.getProperty(u"XMLTagName")), "InstanceID");
    EXPECT_FALSE(map.hasProperty(u"xmltagname"));

    MetaSimpleElement element(kLabel, Id::UInt8);
    static_cast<PropertyMap&>(element) = map;
    EXPECT_EQ(utf8(element.getProperty(u"name")), "Instance ID");
}

// Names the loaders give are held once and others by each map: both kinds, names that share a
// prefix with one of them or differ by case, and the empty name keep apart and survive a copy.
TEST(PropertyMap, NamesOfEitherKindKeepApart) {
    PropertyMap map;
    map.reserveProperties(2);  // fewer than come
    const char16_t* names[] = {u"XMLTagName",     u"XMLTagNam", u"XMLTagNames",
                               u"xmltagname",     u"",          u"RequiresSemanticsValidation",
                               u"Custom property"};
    int n = 0;
    for (const char16_t* name : names) {
        map.addProperty(name, testing_support::wide(std::to_string(++n)).c_str());
    }
    map.addProperty(u"XMLTagNames", u"replaced");
    map.addProperty(nullptr, u"null is the empty name");
    // Texts with their lengths: only those units count.
    map.addProperty(std::u16string_view(u"XMLTagNameXYZ", 10), std::u16string_view(u"abcdef", 3));
    PropertyMap copy(map);
    for (const PropertyMap* m : {&map, &copy}) {
        ASSERT_EQ(m->propertyCount(), 7u);
        for (std::size_t i = 0; i < 7; ++i) {
            EXPECT_EQ(m->propertyName(i), names[i]);
        }
        EXPECT_EQ(utf8(m->getProperty(u"XMLTagName")), "abc");
        EXPECT_EQ(utf8(m->getProperty(u"XMLTagNam")), "2");
        EXPECT_EQ(utf8(m->getProperty(u"XMLTagNames")), "replaced");
        EXPECT_EQ(utf8(m->getProperty(u"xmltagname")), "4");
        EXPECT_EQ(utf8(m->getProperty(u"")), "null is the empty name");
        EXPECT_EQ(utf8(m->getProperty(u"Custom property")), "7");
        EXPECT_FALSE(m->hasProperty(u"Custom"));
        EXPECT_FALSE(m->hasProperty(nullptr));
    }
}

TEST(AttributeRequiredStatus, AcceptsExactlyThreeWords) {
    const auto& status = AttributeRequiredStatus::instance();
    EXPECT_EQ(status.stringToStatus(u"required"), AttributeRequiredStatus::Required);
    EXPECT_EQ(status.stringToStatus(u"optional"), AttributeRequiredStatus::Optional);
    EXPECT_EQ(status.stringToStatus(u"best effort"), AttributeRequiredStatus::BestEffort);
    EXPECT_EQ(utf8(status.statusToString(AttributeRequiredStatus::BestEffort)), "best effort");
    for (const char16_t* word : {u"Required", u" required", u"", u"best_effort", u"mandatory"}) {
        try {
            status.stringToStatus(word);
            ADD_FAILURE() << utf8(word);
        } catch (const Exceptions::InvalidRequiredStatus& e) {
            EXPECT_NE(utf8(e.message()).find("\"" + utf8(word) + "\""), std::string::npos);
        }
    }
}
