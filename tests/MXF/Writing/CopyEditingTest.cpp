// An edit made to one copy of a file's header metadata, carried into another copy that differs
// from it (an open header written before its writer knew everything): the edit lands, the
// copy's own differences stay.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "../HandBuilt.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/MXF/Writing/CopyEditing.h"
#include "Velmar/MXF/Writing/FileWriting.h"
#include "Velmar/MXF/Writing/HeaderMetadataEditing.h"
#include "Velmar/MXF/Writing/HeaderMetadataWriting.h"

namespace MXF = Velmar::MXF;
using handbuilt::registers;
using Header = MXF::Model::HeaderMetadata;

namespace {

const char* const kFixture = VELMAR_MXF_TESTS_DIR "/fixtures/op1a-mpeg2-pcm.mxf";

Header fixture() {
    return MXF::Reading::readHeaderMetadata(kFixture, registers());
}

// As a reader rebuilds it from its bytes: sets in tree order, as the file written will read.
Header writtenAndRead(const Header& header) {
    const auto bytes = MXF::Writing::writeHeaderMetadata(header, registers());
    using handbuilt::operator+;
    const handbuilt::Bytes file = handbuilt::partition(bytes.size()) + bytes;
    return MXF::Reading::readHeaderMetadata(file.data(), file.size(), registers());
}

std::string text(const Header& header, const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const auto sets = MXF::Writing::findSets(header, path.substr(0, slash), registers());
    const MXF::Model::Item* item =
        MXF::Writing::findItem(header.sets.at(sets.at(0)), path.substr(slash + 1), registers());
    return item == nullptr || !item->value ? "(none)" : item->value->toJson();
}

std::size_t identifications(const Header& header) {
    std::size_t n = 0;
    for (const auto& set : header.sets) {
        n += set.name() == "Identification";
    }
    return n;
}

// The other copy, as an open header holds it: durations not yet known, one item fewer, and an
// Identification of its own that the copy edited does not have.
Header openCopy(std::string* ownIdentification = nullptr) {
    Header copy = fixture();
    MXF::Writing::setItemText(copy, "Sequence/Component Length", "-1", registers());
    MXF::Writing::remove(copy, "Identification/Application Platform", registers());
    const std::size_t own =
        MXF::Writing::addSet(copy, "Preface/Identification List", "Identification", registers());
    if (ownIdentification != nullptr) {
        *ownIdentification = MXF::Values::uuidText(*copy.sets[own].instanceUID);
    }
    return writtenAndRead(copy);
}

}  // namespace

TEST(CopyEditing, CarriesTheEditAloneIntoACopyThatDiffers) {
    struct Case {
        const char* what;
        std::function<void(Header&)> edit;
        std::function<void(const Header& copy)> expect;
    };
    const auto set = [](const char* path, const char* value) {
        return [=](Header& h) { MXF::Writing::setItemText(h, path, value, registers()); };
    };
    const Case cases[] = {
        {"a value both copies hold", set("Identification[0]/Application Name", "Archive"),
         [](const Header& c) {
             EXPECT_EQ(text(c, "Identification[0]/Application Name"), "\"Archive\"");
             EXPECT_EQ(text(c, "Sequence[0]/Component Length"), "-1");  // its own stays
             EXPECT_EQ(text(c, "Identification[0]/Application Platform"), "(none)");
         }},
        {"a value the copy lacks", set("Identification[0]/Application Platform", "Archive"),
         [](const Header& c) {
             EXPECT_EQ(text(c, "Identification[0]/Application Platform"), "\"Archive\"");
         }},
        {"a value the copy holds otherwise", set("Sequence/Component Length", "7"),
         [](const Header& c) { EXPECT_EQ(text(c, "Sequence[2]/Component Length"), "7"); }},
        {"an item removed",
         [](Header& h) { MXF::Writing::remove(h, "Identification/Application Name", registers()); },
         [](const Header& c) {
             EXPECT_EQ(text(c, "Identification[0]/Application Name"), "(none)");
             EXPECT_EQ(identifications(c), 2u);
         }},
        {"a set added",
         [](Header& h) {
             const std::size_t at = MXF::Writing::addSet(h, "Preface/Identification List",
                                                         "Identification", registers());
             MXF::Writing::setItemText(h, "Identification[1]/Application Name", "Added",
                                       registers());
             EXPECT_EQ(h.sets[at].name(), "Identification");
         },
         [](const Header& c) {
             // Its own Identification kept, in its place, and the one added after it.
             EXPECT_EQ(identifications(c), 3u);
             EXPECT_EQ(text(c, "Identification[2]/Application Name"), "\"Added\"");
         }},
        {"a set removed", [](Header& h) { MXF::Writing::remove(h, "Timecode", registers()); },
         [](const Header& c) {
             EXPECT_THROW(MXF::Writing::findSets(c, "Timecode", registers()),
                          MXF::Writing::EditRefused);
             EXPECT_EQ(text(c, "Sequence[0]/Component Length"), "-1");
         }},
    };
    const Header before = fixture();
    std::string own;
    const Header copy = openCopy(&own);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Header after = before;
        c.edit(after);
        Header carried = copy;
        EXPECT_TRUE(MXF::Writing::carryEdit(before, after, carried));
        // What a file holding it reads: no reference dangling, no set left out of the tree.
        const Header read = writtenAndRead(carried);
        EXPECT_EQ(MXF::Writing::contentDifference(carried, read), "");
        for (const auto& finding : read.findings) {
            EXPECT_EQ(finding.rule, "required-missing") << finding.message;
        }
        for (std::size_t i = 1; i < read.sets.size(); ++i) {
            EXPECT_GT(read.sets[i].depth, 0u) << read.sets[i].name();
        }
        c.expect(read);
        EXPECT_NE(MXF::Writing::findSets(read, "urn:uuid:" + own, registers()).size(), 0u);
    }
}

TEST(CopyEditing, LeavesACopyTheEditDoesNotReach) {
    const Header before = fixture();
    Header copy = openCopy();
    const Header was = copy;
    // No edit at all; an edit the copy holds already; an edit of a set the copy lacks.
    EXPECT_FALSE(MXF::Writing::carryEdit(before, before, copy));
    Header after = before;
    MXF::Writing::setItemText(after, "Sequence/Component Length", "-1", registers());
    EXPECT_FALSE(MXF::Writing::carryEdit(before, after, copy));
    MXF::Writing::remove(copy, "Timecode", registers());
    const Header withoutTimecode = copy;
    after = before;
    MXF::Writing::setItemText(after, "Timecode/Start Timecode", "90000", registers());
    EXPECT_FALSE(MXF::Writing::carryEdit(before, after, copy));
    EXPECT_EQ(MXF::Writing::contentDifference(copy, withoutTimecode), "");
    EXPECT_NE(MXF::Writing::contentDifference(copy, was), "");
    // A set added under a set the copy lacks would hang from nothing there.
    MXF::Writing::remove(copy, "Timeline Track[0]/Sequence", registers());
    const Header withoutSequence = copy;
    after = before;
    MXF::Writing::addSet(after, "Timeline Track[0]/Sequence/Components", "Timecode", registers());
    EXPECT_FALSE(MXF::Writing::carryEdit(before, after, copy));
    EXPECT_EQ(MXF::Writing::contentDifference(copy, withoutSequence), "");
}

TEST(CopyEditing, ContentDifferenceMatchesSetsInAnyOrderAndNamesTheFirstDifference) {
    const Header a = fixture();
    Header reordered = a;
    std::swap(reordered.sets[1], reordered.sets[2]);
    EXPECT_EQ(MXF::Writing::contentDifference(a, reordered), "");
    EXPECT_NE(MXF::Writing::headerMetadataDifference(a, reordered), "");

    Header changed = a;
    MXF::Writing::setItemText(changed, "Identification/Application Name", "B", registers());
    EXPECT_NE(MXF::Writing::contentDifference(a, changed).find("Application Name"),
              std::string::npos);
    Header fewer = a;
    MXF::Writing::remove(fewer, "Identification/Application Platform", registers());
    EXPECT_NE(MXF::Writing::contentDifference(a, fewer), "");
    EXPECT_NE(MXF::Writing::contentDifference(fewer, a), "");
    Header more = a;
    MXF::Writing::addSet(more, "Preface/Identification List", "Identification", registers());
    EXPECT_NE(MXF::Writing::contentDifference(a, more), "");
    EXPECT_NE(MXF::Writing::contentDifference(more, a), "");
}
