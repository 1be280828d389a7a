#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "Velmar/SDK/MetaMetadata/TypeDefinitions.h"

using namespace Velmar::SDK::MetaMetadata;

namespace {

LabelBytes labelOf(std::uint8_t last, std::uint8_t version = 1) {
    return {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x04, 0x01, version, 0x0f, 0, 0, 0, 0, 0, last, 0};
}

TypeDefinitions::Builder::Type type(std::uint8_t last, TypeKind kind,
                                    std::optional<LabelBytes> base = std::nullopt,
                                    const char* symbol = "T") {
    TypeDefinitions::Builder::Type t;
    t.label = labelOf(last);
    t.symbol = symbol;
    t.kind = kind;
    t.base = base;
    return t;
}

}  // namespace

// Files and registers differ in the version byte: the exact label wins, else the highest
// version of the same label; a label given twice keeps the first.
TEST(TypeDefinitions, FindsLabelsExactlyElseByTheirHighestVersion) {
    TypeDefinitions::Builder builder;
    builder.addLabel(labelOf(1, 5), "Five", "fifth");
    builder.addLabel(labelOf(1, 2), "Two", "second");
    builder.addLabel(labelOf(2, 1), "Other", "");
    builder.addLabel(labelOf(1, 2), "TwoAgain", "");
    const TypeDefinitions types = builder.build();
    EXPECT_EQ(builder.duplicates(), 1u);
    ASSERT_EQ(types.labels().size(), 3u);
    EXPECT_EQ(types.label(labelOf(1, 2))->symbol, "Two");
    EXPECT_EQ(types.label(labelOf(1, 5))->symbol, "Five");
    EXPECT_EQ(types.label(labelOf(1, 3))->symbol, "Five");
    EXPECT_EQ(types.label(labelOf(1, 9))->symbol, "Five");
    EXPECT_EQ(types.label(labelOf(2, 7))->symbol, "Other");
    EXPECT_EQ(types.label(labelOf(3, 1)), nullptr);
    LabelBytes differentElsewhere = labelOf(1, 5);
    differentElsewhere[9] = 1;
    EXPECT_EQ(types.label(differentElsewhere), nullptr);
}

TEST(TypeDefinitions, ResolvesRenamesThirtyTwoDeepAndNoFurther) {
    for (const int renames : {32, 33}) {
        TypeDefinitions::Builder builder;
        builder.addType(type(0, TypeKind::Integer, std::nullopt, "UInt8"));
        for (int i = 1; i <= renames; ++i) {
            builder.addType(type(static_cast<std::uint8_t>(i), TypeKind::Rename,
                                 labelOf(static_cast<std::uint8_t>(i - 1))));
        }
        const TypeDefinitions types = builder.build();
        const TypeDefinition* resolved =
            types.resolve(*types.type(labelOf(static_cast<std::uint8_t>(renames))));
        if (renames == 32) {
            ASSERT_NE(resolved, nullptr);
            EXPECT_EQ(resolved->symbol, "UInt8");
        } else {
            EXPECT_EQ(resolved, nullptr);
        }
    }
    TypeDefinitions::Builder circle;
    circle.addType(type(1, TypeKind::Rename, labelOf(2)));
    circle.addType(type(2, TypeKind::Rename, labelOf(1)));
    circle.addType(type(3, TypeKind::Rename, labelOf(9)));  // of a type not held
    const TypeDefinitions types = circle.build();
    EXPECT_EQ(types.resolve(*types.type(labelOf(1))), nullptr);
    EXPECT_EQ(types.resolve(*types.type(labelOf(3))), nullptr);
}

// Members and items stay with their type through the sort, and texts stay valid when the
// whole is moved.
TEST(TypeDefinitions, KeepsMembersItemsAndTextsWithTheirTypes) {
    TypeDefinitions::Builder builder;
    builder.addType(type(9, TypeKind::Enumeration, labelOf(1), "Later"));
    builder.addItem("Big", "", "7777");
    builder.addItem("Negative", "", "-3");
    builder.addItem("Code", "", "Main");
    builder.addItem("Label", "", "urn:smpte:ul:060e2b34.04010101.0d010201.01010900");
    builder.addItem("TooBig", "", "9223372036854775808");
    builder.addType(type(2, TypeKind::Record, std::nullopt, "Earlier"));
    builder.addMember("Major", "Major version", labelOf(1));
    builder.addMember("Minor", "", labelOf(1));
    builder.addElementType(labelOf(40), labelOf(2), true);
    builder.addRegisteredSymbol(labelOf(41), "Renamed");
    TypeDefinitions built = builder.build();
    const TypeDefinitions types = std::move(built);

    ASSERT_EQ(types.types().size(), 2u);
    EXPECT_EQ(types.types()[0].symbol, "Earlier");  // in label order
    const TypeDefinition* record = types.elementType(labelOf(40));
    ASSERT_NE(record, nullptr);
    ASSERT_EQ(record->members.size(), 2u);
    EXPECT_EQ(record->members[0].name, "Major version");
    EXPECT_EQ(record->members[1].symbol, "Minor");
    EXPECT_TRUE(types.uniqueIdentifier(labelOf(40)));
    EXPECT_FALSE(types.uniqueIdentifier(labelOf(41)));
    EXPECT_EQ(types.registeredSymbol(labelOf(41)), "Renamed");
    EXPECT_EQ(types.registeredSymbol(labelOf(40)), "");

    const TypeDefinition* enumeration = types.type(labelOf(9));
    ASSERT_EQ(enumeration->items.size(), 5u);
    EXPECT_EQ(enumeration->items[0].number, 7777);
    EXPECT_EQ(enumeration->items[1].number, -3);
    EXPECT_FALSE(enumeration->items[2].number);
    EXPECT_FALSE(enumeration->items[2].label);
    EXPECT_EQ(enumeration->items[2].text, "Main");
    ASSERT_TRUE(enumeration->items[3].label);
    EXPECT_EQ((*enumeration->items[3].label)[13], 0x01);
    EXPECT_FALSE(enumeration->items[4].number);
    EXPECT_TRUE(TypeDefinitions().empty());
    EXPECT_EQ(TypeDefinitions().type(labelOf(1)), nullptr);
}

TEST(TypeDefinitions, ReadsLabelsInTheirTwoTextForms) {
    const LabelBytes op1a = {0x06, 0x0e, 0x2b, 0x34, 0x04, 0x01, 0x01, 0x01,
                             0x0d, 0x01, 0x02, 0x01, 0x01, 0x01, 0x09, 0xAB};
    EXPECT_EQ(labelUrn(op1a), "urn:smpte:ul:060e2b34.04010101.0d010201.010109ab");
    const std::pair<const char*, bool> texts[] = {
        {"urn:smpte:ul:060e2b34.04010101.0d010201.010109ab", true},
        {"urn:smpte:ul:060E2B34.04010101.0D010201.010109AB", true},
        {"06.0e.2b.34.04.01.01.01.0d.01.02.01.01.01.09.ab", true},
        {"urn:smpte:ul:060e2b34.04010101.0d010201.010109a", false},
        {"urn:smpte:ul:060e2b34.04010101.0d010201.010109ab0", false},
        {"urn:smpte:ul:060e2b34-04010101.0d010201.010109ab", false},
        {"urn:smpte:ul:060e2b34.04010101.0d010201.010109ag", false},
        {"06.0e.2b.34.04.01.01.01.0d.01.02.01.01.01.09", false},
        {"06.0e.2b.34.04.01.01.01.0d.01.02.01.01.01.09.ab.", false},
        {"06:0e.2b.34.04.01.01.01.0d.01.02.01.01.01.09.ab", false},
        {"", false},
    };
    for (const auto& [text, valid] : texts) {
        const auto label = labelFromText(text);
        EXPECT_EQ(label.has_value(), valid) << text;
        if (valid) {
            EXPECT_EQ(*label, op1a) << text;
        }
    }
    EXPECT_EQ(std::string(typeKindName(TypeKind::WeakReference)), "WeakReference");
    EXPECT_EQ(typeKindFromName("ExtendibleEnumeration"), TypeKind::ExtendibleEnumeration);
    EXPECT_FALSE(typeKindFromName("enumeration"));
}
