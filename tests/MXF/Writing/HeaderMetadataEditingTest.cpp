// Edits of a file's header metadata: what paths name, values from their texts, and the tree
// kept whole by every change (or left as it was by a refused one).
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "../HandBuilt.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/Report/Json.h"
#include "Velmar/MXF/Values/Encoding.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/MXF/Writing/HeaderMetadataEditing.h"
#include "Velmar/MXF/Writing/HeaderMetadataWriting.h"

namespace MXF = Velmar::MXF;
using handbuilt::registers;

namespace {

const char* const kFixture = VELMAR_MXF_TESTS_DIR "/fixtures/op1a-mpeg2-pcm.mxf";

MXF::Model::HeaderMetadata fixture() {
    return MXF::Reading::readHeaderMetadata(kFixture, registers());
}

const MXF::Model::Item& itemOf(const MXF::Model::HeaderMetadata& header, const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const auto sets = MXF::Writing::findSets(header, path.substr(0, slash), registers());
    const MXF::Model::Item* item =
        MXF::Writing::findItem(header.sets.at(sets.at(0)), path.substr(slash + 1), registers());
    if (item == nullptr) {
        throw std::runtime_error("no item " + path);
    }
    return *item;
}

std::string json(const MXF::Model::HeaderMetadata& header) {
    std::ostringstream out;
    MXF::Report::writeJson(out, "x", header);
    return out.str();
}

// The number of sets a strong-reference collection holds, by its header.
std::size_t strongCount(const MXF::Model::Item& item) {
    const auto& b = item.bytes;
    return b.size() < 8 ? 0 : std::size_t{b[0]} << 24 | std::size_t{b[1]} << 16 | b[2] << 8 | b[3];
}

// The header metadata written and read again: the tree the edits left must be one a reader
// rebuilds, set by set.
MXF::Model::HeaderMetadata writtenAndRead(const MXF::Model::HeaderMetadata& header) {
    const auto bytes = MXF::Writing::writeHeaderMetadata(header, registers());
    using handbuilt::operator+;
    const handbuilt::Bytes file = handbuilt::partition(bytes.size()) + bytes;
    return MXF::Reading::readHeaderMetadata(file.data(), file.size(), registers());
}

}  // namespace

TEST(HeaderMetadataPaths, NameTheSetsTheySay) {
    const MXF::Model::HeaderMetadata header = fixture();
    struct Case {
        const char* path;
        std::size_t count;
        const char* firstName;
    };
    const Case cases[] = {
        {"Preface", 1, "Preface"},
        {"preface", 1, "Preface"},
        {"Timecode", 2, "Timecode"},
        {"Timecode[1]", 1, "Timecode"},
        {"Preface/Identification[0]", 1, "Identification"},
        {"Preface/IdentificationList", 1, "Identification"},
        {"Preface/Content Storage/Packages", 2, "Material Package"},
        {"ContentStorage/Packages[1]", 1, "Source Package"},
        {"Source Package/Timecode", 1, "Timecode"},
        {"urn:uuid:adab4424-2f25-4dc7-92ff-000c00000000", 1, "Identification"},
        {"adab4424-2f25-4dc7-92ff-000c00000000", 1, "Identification"},
    };
    for (const Case& c : cases) {
        const auto sets = MXF::Writing::findSets(header, c.path, registers());
        EXPECT_EQ(sets.size(), c.count) << c.path;
        ASSERT_FALSE(sets.empty()) << c.path;
        EXPECT_EQ(header.sets[sets[0]].name(), c.firstName) << c.path;
    }
    // The second timecode is the source package's, one past the first in tree order.
    EXPECT_LT(MXF::Writing::findSets(header, "Timecode[0]", registers())[0],
              MXF::Writing::findSets(header, "Timecode[1]", registers())[0]);
    EXPECT_EQ(MXF::Writing::findSets(header, "Timecode[1]", registers()),
              MXF::Writing::findSets(header, "Source Package/Timecode", registers()));
}

TEST(HeaderMetadataPaths, RefuseWhatNamesNothing) {
    const MXF::Model::HeaderMetadata header = fixture();
    for (const char* path : {"Timecode[2]", "Nothing", "Preface//Identification", "Timecode[x]",
                             "Timecode[]", "Preface/Timecode[0]/Identification",
                             "urn:uuid:adab4424-2f25-4dc7-92ff-0000000000ff", ""}) {
        EXPECT_THROW(MXF::Writing::findSets(header, path, registers()), MXF::Writing::EditRefused)
            << path;
    }
}

TEST(HeaderMetadataEditing, SetsAValueInEverySetThePathNames) {
    MXF::Model::HeaderMetadata header = fixture();
    EXPECT_EQ(MXF::Writing::setItemText(header, "Timecode/Start Timecode", "90000", registers()),
              2u);
    for (const std::size_t index : MXF::Writing::findSets(header, "Timecode", registers())) {
        const MXF::Model::Item* item =
            MXF::Writing::findItem(header.sets[index], "15.01", registers());
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->value->toJson(), "90000");
        EXPECT_EQ(item->bytes, (std::vector<std::uint8_t>{0, 0, 0, 0, 0, 1, 0x5f, 0x90}));
    }
    EXPECT_EQ(MXF::Writing::setItemText(header, "Timecode[1]/StartTimecode", "-1", registers()),
              1u);
    EXPECT_EQ(itemOf(header, "Timecode[1]/Start Timecode").value->toJson(), "-1");
    EXPECT_EQ(itemOf(header, "Timecode[0]/Start Timecode").value->toJson(), "90000");
    const auto again = writtenAndRead(header);
    EXPECT_EQ(itemOf(again, "Timecode[1]/Start Timecode").value->toJson(), "-1");
}

TEST(HeaderMetadataEditing, ReadsEachTextFormOfAValue) {
    struct Case {
        const char* path;
        const char* text;
        const char* json;  // the value read back from the bytes
    };
    const Case cases[] = {
        {"Preface/Identification[0]/Application Name", "Archive copy ü", "\"Archive copy ü\""},
        {"Timecode[0]/Rounded Timecode Timebase", "65535", "65535"},
        {"Timecode[0]/Drop Frame", "True", "true"},
        {"Timecode[0]/Drop Frame", "false", "false"},
        {"Material Package/Package Tracks[0]/Timeline Edit Rate", "30000/1001", "[30000, 1001]"},
        {"Material Package/Package Tracks[0]/Timeline Edit Rate", "[24, 1]", "[24, 1]"},
        {"Preface/Format Version", "1.2", "\"1.2\""},
        {"Identification/Modification Date-Time", "2024-01-31T12:34:56.004Z",
         "\"2024-01-31T12:34:56.004\""},
        {"Identification/Modification Date-Time", "2024-01-31T12:34:56Z",
         "\"2024-01-31T12:34:56.000\""},
        {"Identification/Generation ID", "urn:uuid:01020304-0506-0708-090a-0b0c0d0e0f10",
         "\"01.02.03.04.05.06.07.08.09.0a.0b.0c.0d.0e.0f.10\""},
        {"Identification/Toolkit Version",
         R"({"Major": 2, "Minor": 3, "Tertiary": 4, "PatchLevel": 5, "BuildType": "VersionReleased"})",
         R"({"Major": 2, "Minor": 3, "Tertiary": 4, "PatchLevel": 5, "BuildType": "VersionReleased"})"},
        {"Material Package/Package ID",
         "urn:smpte:umid:060a2b34.01010105.01010d00.13000000.11223344.55667788.99aabbcc.ddeeff00",
         "\"060a2b340101010501010d00130000001122334455667788"
         "99aabbccddeeff00\""},
    };
    for (const Case& c : cases) {
        MXF::Model::HeaderMetadata header = fixture();
        MXF::Writing::setItemText(header, c.path, c.text, registers());
        EXPECT_EQ(itemOf(header, c.path).value->toJson(), c.json) << c.path << " = " << c.text;
        EXPECT_EQ(itemOf(writtenAndRead(header), c.path).value->toJson(), c.json) << c.path;
    }
    // A label by its URN: the operational pattern's bytes as written.
    MXF::Model::HeaderMetadata header = fixture();
    MXF::Writing::setItemText(header, "Preface/Operational Pattern",
                              "urn:smpte:ul:060e2b34.04010101.0d010201.01020900", registers());
    const auto& pattern = itemOf(header, "Preface/Operational Pattern").bytes;
    EXPECT_EQ(pattern[12], 0x01);
    EXPECT_EQ(pattern[13], 0x02);
    EXPECT_EQ(pattern[14], 0x09);
}

TEST(HeaderMetadataEditing, RefusesAValueThatDoesNotFitAndChangesNothing) {
    const MXF::Model::HeaderMetadata before = fixture();
    struct Case {
        const char* path;
        const char* text;
    };
    const Case cases[] = {
        {"Timecode/Rounded Timecode Timebase", "65536"},
        {"Timecode/Rounded Timecode Timebase", "-1"},
        {"Timecode/Rounded Timecode Timebase", "twelve"},
        {"Timecode/Drop Frame", "maybe"},
        {"Timecode/Start Timecode", "9223372036854775808"},
        {"Material Package/Package Tracks[0]/Timeline Edit Rate", "2147483648/1"},
        {"Material Package/Package Tracks[0]/Timeline Edit Rate", "25"},
        {"Identification/Modification Date-Time", "2024-01-31T12:34:56.002Z"},
        {"Identification/Toolkit Version", R"({"Major": 2})"},
        {"Preface/Format Version", "256.0"},
        {"Identification/Generation ID", "not a label"},
        {"Material Package/Package ID", "urn:smpte:umid:060a2b34"},
    };
    for (const Case& c : cases) {
        MXF::Model::HeaderMetadata header = before;
        EXPECT_THROW(MXF::Writing::setItemText(header, c.path, c.text, registers()),
                     MXF::Values::ValueRefused)
            << c.path << " = " << c.text;
        EXPECT_EQ(json(header), json(before)) << c.path;
    }
    MXF::Model::HeaderMetadata header = before;
    // A NUL ends a string: one within it would be lost to every reader.
    EXPECT_THROW(MXF::Writing::setItemText(header, "Identification/Application Platform",
                                           std::string("a\0b", 3), registers()),
                 MXF::Values::ValueRefused);
    EXPECT_THROW(MXF::Writing::setItemText(header, "Identification/Application Platform",
                                           std::string("ab\0", 3), registers()),
                 MXF::Values::ValueRefused);
    // Strong references change by adding and removing sets; an InstanceID is what they hold.
    EXPECT_THROW(MXF::Writing::setItemText(header, "Preface/Content Storage",
                                           "adab4424-2f25-4dc7-92ff-000c00000000", registers()),
                 MXF::Writing::EditRefused);
    EXPECT_THROW(MXF::Writing::setItemText(header, "Timecode/Instance ID",
                                           "adab4424-2f25-4dc7-92ff-000c00000099", registers()),
                 MXF::Writing::EditRefused);
    EXPECT_THROW(MXF::Writing::setItemText(header, "Timecode/Package Name", "x", registers()),
                 MXF::Writing::EditRefused);
    EXPECT_THROW(MXF::Writing::setItemText(header, "Timecode", "x", registers()),
                 MXF::Writing::EditRefused);
    EXPECT_EQ(json(header), json(before));
}

TEST(HeaderMetadataEditing, AddsAnItemTheSetLacks) {
    MXF::Model::HeaderMetadata header = fixture();
    ASSERT_EQ(MXF::Writing::findItem(header.sets[0], "Is RIP Present", registers()), nullptr);
    MXF::Writing::setItemText(header, "Preface/Is RIP Present", "True", registers());
    const MXF::Model::Item* added =
        MXF::Writing::findItem(header.sets[0], "IsRIPPresent", registers());
    ASSERT_NE(added, nullptr);
    EXPECT_EQ(added->tag, 0);  // the writer gives it one
    const auto again = writtenAndRead(header);
    const MXF::Model::Item& read = itemOf(again, "Preface/Is RIP Present");
    EXPECT_EQ(read.value->toJson(), "true");
    EXPECT_GE(read.tag, 0x8000);  // no static tag: a dynamic one
    EXPECT_TRUE(again.findings.empty()) << again.findings.front().message;
}

TEST(HeaderMetadataEditing, RemovesItemsAndSetsWithWhatTheyHold) {
    MXF::Model::HeaderMetadata header = fixture();
    const std::size_t sets = header.sets.size();
    EXPECT_EQ(MXF::Writing::remove(header, "Identification/Application Platform", registers()), 1u);
    EXPECT_THROW(itemOf(header, "Identification/Application Platform"), std::runtime_error);
    // The second timecode track of the source package: its sequence and timecode go with it.
    const std::size_t tracks = strongCount(itemOf(header, "Source Package/Package Tracks"));
    const auto track =
        MXF::Writing::findSets(header, "Source Package/Package Tracks[0]", registers());
    const std::size_t subtree = 3;  // track, sequence, timecode
    EXPECT_EQ(MXF::Writing::remove(header, "Source Package/Package Tracks[0]", registers()), 1u);
    EXPECT_EQ(header.sets.size(), sets - subtree);
    EXPECT_EQ(strongCount(itemOf(header, "Source Package/Package Tracks")), tracks - 1);
    EXPECT_EQ(MXF::Writing::findSets(header, "Timecode", registers()).size(), 1u);
    const auto again = writtenAndRead(header);
    EXPECT_EQ(again.sets.size(), header.sets.size());
    EXPECT_TRUE(again.findings.empty()) << again.findings.front().message;
    (void)track;
}

TEST(HeaderMetadataEditing, RefusesARemovalThatLeavesAReferenceDangling) {
    MXF::Model::HeaderMetadata header = fixture();
    const auto package = MXF::Writing::findSets(header, "Material Package", registers());
    MXF::Writing::setItemText(header, "Preface/Primary Package",
                              MXF::Values::uuidText(*header.sets[package[0]].instanceUID),
                              registers());
    const std::string before = json(header);
    EXPECT_THROW(MXF::Writing::remove(header, "Material Package", registers()),
                 MXF::Writing::EditRefused);
    EXPECT_THROW(MXF::Writing::remove(header, "Preface", registers()), MXF::Writing::EditRefused);
    EXPECT_THROW(MXF::Writing::remove(header, "Timecode/Instance ID", registers()),
                 MXF::Writing::EditRefused);
    EXPECT_EQ(json(header), before);
    // Once nothing refers to it, it goes.
    MXF::Writing::remove(header, "Preface/Primary Package", registers());
    EXPECT_NO_THROW(MXF::Writing::remove(header, "Material Package", registers()));
    EXPECT_EQ(MXF::Writing::findSets(header, "Content Storage/Packages", registers()).size(), 1u);
}

TEST(HeaderMetadataEditing, AddsASetUnderAStrongReference) {
    MXF::Model::HeaderMetadata header = fixture();
    const std::size_t at =
        MXF::Writing::addSet(header, "Preface/Identification List", "Identification", registers());
    const std::string uid = MXF::Values::uuidText(*header.sets[at].instanceUID);
    EXPECT_EQ(header.sets[at].depth, 1u);
    EXPECT_EQ(strongCount(itemOf(header, "Preface/Identification List")), 2u);
    MXF::Writing::setItemText(header, uid + "/Application Name", "Archive", registers());
    const auto again = writtenAndRead(header);
    EXPECT_EQ(itemOf(again, "Preface/Identification[1]/Application Name").value->toJson(),
              "\"Archive\"");
    EXPECT_EQ(MXF::Values::uuidText(
                  *again.sets[MXF::Writing::findSets(again, "Identification[1]", registers())[0]]
                       .instanceUID),
              uid);
    // Items made anew share tag 0 until written: removing one removes it alone.
    MXF::Writing::setItemText(header, uid + "/Application Platform", "Linux", registers());
    ASSERT_EQ(header.sets[at].items.size(), 3u);  // InstanceID, Application Name and Platform
    EXPECT_EQ(MXF::Writing::remove(header, uid + "/Application Name", registers()), 1u);
    ASSERT_EQ(header.sets[at].items.size(), 2u);
    EXPECT_EQ(header.sets[at].items[0].name(), "Instance ID");
    EXPECT_EQ(header.sets[at].items[1].name(), "Application Platform");
    // A set of a kind the item cannot hold, or under a path of several sets, is refused.
    EXPECT_THROW(
        MXF::Writing::addSet(header, "Preface/Identification List", "Timecode", registers()),
        MXF::Writing::EditRefused);
    EXPECT_THROW(MXF::Writing::addSet(header, "Timecode/Components", "Timecode", registers()),
                 MXF::Writing::EditRefused);
    EXPECT_THROW(
        MXF::Writing::addSet(header, "Preface/Identification List", "No Such Set", registers()),
        MXF::Writing::EditRefused);
    EXPECT_THROW(
        MXF::Writing::addSet(header, "Preface/Content Storage", "Content Storage", registers()),
        MXF::Writing::EditRefused);
}
