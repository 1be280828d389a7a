#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Velmar/SDK/Exceptions/InvalidULDesignator.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "support/LoadedSchema.h"

using namespace Velmar::SDK;
using namespace Velmar::SDK::MetaMetadata;
using testing_support::fixture;
using testing_support::utf8;

namespace {

// The last but one byte of each target key, which is how the fixture numbers its sets.
std::vector<int> targetNumbers(const Dictionary& dictionary, const char16_t* name) {
    Visitors::GetMetaElementVisitor<MetaReferenceHolder> reference;
    dictionary.metaElementByTagName(name)->accept(reference);
    std::vector<int> numbers;
    for (const KLV::Key& key : reference.result()->targetSets()) {
        numbers.push_back(key.bytes()[14]);
    }
    return numbers;
}

}  // namespace

// The element pass with the set keys recorded from a set list handed to it, as the driver
// does once sets are discovered.
TEST(ReferenceTargets, ChoiceFirstThenSubstitutionGroupsBreadthFirst) {
    testing_support::LoadedSchema loaded(fixture("MetaMetadata/Loading/fixtures/targets.xsd"));
    loaded->collectSetKeys(loaded.setDeclarations());
    Loading::ElementList elements;
    loaded->collectMetaElementDeclarations(elements);
    Dictionary dictionary;
    loaded->loadMetaElements(dictionary, elements);

    // A, its members B and C (the untyped E and the reference declarations F and G are no
    // members), then B's member D one level further down.
    EXPECT_EQ(targetNumbers(dictionary, u"ToA"), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(targetNumbers(dictionary, u"ToATwice"), (std::vector<int>{1, 1, 2, 3, 2, 3, 4, 4}));
    // H is no set, but its members are.
    EXPECT_EQ(targetNumbers(dictionary, u"ToH"), (std::vector<int>{9, 10}));
    EXPECT_TRUE(targetNumbers(dictionary, u"ToNothing").empty());
    EXPECT_TRUE(targetNumbers(dictionary, u"ToUnknown").empty());
    // P and Q name each other: the walk ends once a name lies deeper than there are members
    // (seven here), instead of running for ever.
    EXPECT_EQ(targetNumbers(dictionary, u"ToCycle"),
              (std::vector<int>{16, 17, 16, 17, 16, 17, 16, 17, 16}));
}

TEST(SetKeys, TheLaterDeclarationOfANameWinsAndOnlyWellFormedDesignatorsCount) {
    const std::string set = R"(<xs:element name="%s" type="T"><xs:annotation>
        <xs:appinfo source="UL Designator">%d</xs:appinfo></xs:annotation></xs:element>)";
    auto declaration = [&](const std::string& name, const std::string& designator) {
        std::string text = set;
        text.replace(text.find("%s"), 2, name);
        return text.replace(text.find("%d"), 2, designator);
    };
    testing_support::LoadedSchema loaded(testing_support::schema(
        declaration("S", "06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.01.00") +
        declaration("S", "06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.02.00") +
        "<xs:element name=\"None\" type=\"T\"/>" + declaration("Empty", "")));
    loaded->collectSetKeys(loaded.setDeclarations());
    ASSERT_EQ(loaded->setName2KeyMap_.size(), 1u);
    EXPECT_EQ(loaded->setName2KeyMap_.at(WString(u"S"))->bytes()[14], 2);

    testing_support::LoadedSchema broken(testing_support::schema(
        declaration("S", "06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.01.00\n")));
    EXPECT_THROW(broken->collectSetKeys(broken.setDeclarations()), Exceptions::InvalidULDesignator);
}
