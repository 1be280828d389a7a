#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Check.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "support/RegisterDictionary.h"
#include "support/TestSupport.h"

using namespace Velmar::SDK;
using namespace Velmar::SDK::MetaMetadata;
using testing_support::utf8;
using testing_support::wide;

namespace {

// "urn:smpte:ul:060e2b34.01010101.01011502.00000000" in the dotted form.
std::string dotted(const std::string& urn, bool localSetKey = false) {
    std::string hex;
    for (char c : urn.substr(urn.rfind(':') + 1)) {
        if (c != '.')
            hex += c;
    }
    if (localSetKey && hex.substr(10, 2) == "7f")
        hex.replace(10, 2, "53");
    std::string out;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        out += (i ? "." : "") + hex.substr(i, 2);
    return out;
}

Types::UniversalLabel label(const std::string& urn) {
    return Types::UniversalLabel(wide(dotted(urn)).c_str(), Types::Dotted);
}

class RegisterDictionary : public ::testing::Test {
  protected:
    void SetUp() override {
        file_ = testing_support::registerDictionary(&report_);
        if (file_.empty()) {
            GTEST_SKIP() << "no register snapshots at " << testing_support::registersFolder();
        }
        registers_ = testing_support::registers();
        Loading::XSDDictionaryLoader loader;
        loader.setDiagnostics(&findings_);
        loader.load(wide(file_.string()).c_str(), dictionary_);
        for (const auto& group : registers_->groups)
            groups_[group.ul] = &group;
    }

    bool imported(const std::string& elementUrn) const {
        return dictionary_.metaElement(label(elementUrn)) != nullptr;
    }

    // Groups coded as local sets (KLV syntax 0x53) have their keys in that form.
    std::string key(const std::string& groupUrn) {
        return dotted(groupUrn, groups_.at(groupUrn)->klvSyntax.find("53") != std::string::npos);
    }

    std::filesystem::path file_;
    xsddict::ImportReport report_;
    const xsddict::Registers* registers_ = nullptr;
    xsddict::CheckFindings findings_;
    Dictionary dictionary_;
    std::map<std::string, const xsddict::Registers::Group*> groups_;
};

}  // namespace

// Every register element is in the dictionary under its label, or the import said why not.
TEST_F(RegisterDictionary, AccountsForEveryElement) {
    std::size_t skipped = 0;
    for (const auto& element : registers_->elements) {
        const MetaElement* loaded = dictionary_.metaElement(label(element.ul));
        const bool reported = std::any_of(
            report_.skipped.begin(), report_.skipped.end(), [&](const std::string& line) {
                return line.rfind("element " + element.symbol + ":", 0) == 0;
            });
        if (loaded == nullptr) {
            EXPECT_TRUE(reported) << element.symbol << " is neither loaded nor reported";
            ++skipped;
            continue;
        }
        EXPECT_EQ(utf8(loaded->getProperty(u"name")), element.name);
        EXPECT_EQ(utf8(loaded->getProperty(u"XMLTagName")).rfind(element.symbol, 0), 0u);
        EXPECT_EQ(utf8(loaded->getProperty(u"XMLNamespaceURI")), element.nameSpace);
    }
    EXPECT_EQ(dictionary_.metaElementCount(), registers_->elements.size() - skipped);
    EXPECT_EQ(dictionary_.metaElementCount(), report_.elements);
    EXPECT_TRUE(dictionary_.duplicateMetaElements().empty());
}

TEST_F(RegisterDictionary, GivesEveryLocalTagOfTheGroups) {
    std::size_t tags = 0;
    for (const auto& group : registers_->groups) {
        for (const auto& record : group.records) {
            if (record.localTag.empty() || !imported(record.ul))
                continue;
            const Types::LocalTag* tag = dictionary_.localTag(label(record.ul));
            ASSERT_NE(tag, nullptr) << record.ul;
            EXPECT_EQ(tag->value(), std::stoul(record.localTag, nullptr, 16)) << record.ul;
            ++tags;
        }
    }
    EXPECT_GT(tags, 400u);
    EXPECT_TRUE(dictionary_.localTagConflicts().empty());
}

// Each group is a set under its local-set key, with the members of its ancestors first (the
// root's first), then its own, in register order.
TEST_F(RegisterDictionary, GivesEveryGroupItsMembersInOrder) {
    ASSERT_EQ(dictionary_.metaMetadataSetCount(), registers_->groups.size());
    for (const auto& group : registers_->groups) {
        const MetaMetadataSet* set =
            dictionary_.metaMetadataSet(KLV::Key(wide(key(group.ul)).c_str(), Types::Dotted));
        ASSERT_NE(set, nullptr) << group.symbol;
        std::vector<const xsddict::Registers::Group*> chain;
        for (auto g = &group; g != nullptr;
             g = groups_.count(g->parent) ? groups_[g->parent] : nullptr) {
            chain.insert(chain.begin(), g);
        }
        std::vector<std::string> expected;
        for (const auto* level : chain) {
            for (const auto& record : level->records) {
                if (imported(record.ul)) {
                    expected.push_back(dotted(record.ul) +
                                       (record.optional ? " optional" : " required"));
                }
            }
        }
        std::vector<std::string> got;
        for (std::size_t i = 0; i < set->attributeCount(); ++i) {
            const MetaAttribute& a = set->attribute(i);
            got.push_back(
                utf8(a.metaElement().universalLabel().toString(Types::Dotted)) + " " +
                utf8(AttributeRequiredStatus::instance().statusToString(a.requiredStatus())));
        }
        EXPECT_EQ(got, expected) << group.symbol;
    }
}

// A reference may point to its target group and to every group derived from it, nearest first.
TEST_F(RegisterDictionary, ReferencesReachTheirTargetGroupAndItsDescendants) {
    std::map<std::string, std::vector<std::string>> children;
    for (const auto& group : registers_->groups)
        children[group.parent].push_back(group.ul);
    std::size_t references = 0;
    for (const auto& element : registers_->elements) {
        const MetaElement* loaded = dictionary_.metaElement(label(element.ul));
        if (loaded == nullptr)
            continue;
        Visitors::GetMetaElementVisitor<MetaReferenceHolder> reference;
        loaded->accept(reference);
        if (reference.result() == nullptr)
            continue;
        // The register type's target, through arrays and sets of references.
        std::string type = element.type;
        while (registers_->types.at(type).kind == "VariableArray" ||
               registers_->types.at(type).kind == "Set" ||
               registers_->types.at(type).kind == "Rename") {
            type = registers_->types.at(type).baseType;
        }
        std::vector<std::string> expected;
        std::deque<std::string> walk{registers_->types.at(type).baseType};
        while (!walk.empty()) {
            expected.push_back(key(walk.front()));
            for (const auto& child : children[walk.front()])
                walk.push_back(child);
            walk.pop_front();
        }
        std::vector<std::string> got;
        for (const auto& key : reference.result()->targetSets())
            got.push_back(utf8(key.toString(Types::Dotted)));
        EXPECT_EQ(got, expected) << element.symbol;
        ++references;
    }
    EXPECT_EQ(references, report_.references + report_.referenceCollections);
}

TEST_F(RegisterDictionary, CheckFindsNothingTheRegistersDoNotHold) {
    for (const xsddict::Finding& finding : findings_.findings()) {
        ADD_FAILURE() << finding.rule << ": " << finding.message;
    }
}

// Register vintages differ: a member's local tag written as 0 means it has none. The import
// reports the quirk and writes a dictionary that loads, with no 00.00 tag in it.
TEST(RegisterImport, ReadsATagOfZeroAsNoTag) {
    xsddict::Registers registers;
    registers.types["urn:t"] = {"urn:t", "UInt8", "Integer", "1", "", "", "", "", {}};
    registers.elements.push_back({"urn:smpte:ul:060e2b34.01010101.0f000000.00000100", "E", "E",
                                  "urn:SMPTE:MXF:file_format", "", "urn:t", ""});
    registers.elements.push_back({"urn:smpte:ul:060e2b34.01010101.0f000000.00000200", "F", "F",
                                  "urn:SMPTE:MXF:file_format", "", "urn:t", ""});
    xsddict::Registers::Group group{"urn:smpte:ul:060e2b34.027f0101.0d010101.01010100",
                                    "G",
                                    "G",
                                    "urn:SMPTE:MXF:file_format",
                                    "",
                                    "",
                                    "53",
                                    true,
                                    {}};
    group.records.push_back({"urn:smpte:ul:060e2b34.01010101.0f000000.00000100", "0", "", false});
    group.records.push_back({"urn:smpte:ul:060e2b34.01010101.0f000000.00000200", "3c0a", "", true});
    registers.groups.push_back(group);

    testing_support::TempDir temp;
    const auto file = temp.path() / "dictionary.xsd";
    xsddict::ImportReport report;
    {
        std::ofstream out(file);
        report = xsddict::writeDictionary(registers, out);
    }
    ASSERT_EQ(report.quirks.size(), 1u);
    EXPECT_NE(report.quirks[0].find("local tag 0 of member"), std::string::npos);
    EXPECT_EQ(report.localTags, 1u);

    Dictionary dictionary;
    Loading::XSDDictionaryLoader().load(wide(file.string()).c_str(), dictionary);
    EXPECT_EQ(dictionary.localTagCount(), 1u);
    const MetaMetadataSet* set = dictionary.metaMetadataSetByName(u"G");
    ASSERT_NE(set, nullptr);
    ASSERT_EQ(set->attributeCount(), 2u);
    EXPECT_EQ(set->attribute(0).localTag(), nullptr);
    ASSERT_NE(set->attribute(1).localTag(), nullptr);
    EXPECT_EQ(set->attribute(1).localTag()->value(), 0x3c0a);
}

// The registers are read with the loader's limits: an entity bomb is refused, naming the file.
TEST(RegisterImport, RefusesAnEntityBombInARegister) {
    testing_support::TempDir temp;
    std::ifstream bomb(
        testing_support::fixture("MetaMetadata/Loading/broken/entity-expansion.xsd"));
    std::string text((std::istreambuf_iterator<char>(bomb)), std::istreambuf_iterator<char>());
    temp.write("Elements.xml", text);
    try {
        xsddict::readRegisters(temp.path().string());
        ADD_FAILURE() << "an entity bomb was read";
    } catch (const std::runtime_error& e) {
        const std::string message = e.what();
        EXPECT_NE(message.find("Elements.xml"), std::string::npos) << message;
        EXPECT_NE(message.find("entity"), std::string::npos) << message;
    }
}
