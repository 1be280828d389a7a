// Header metadata written into files: in place where it fits, into a new file laid out with
// room where it does not, essence and index tables never touched, and a process stopped at any
// step leaving the old file or the new one.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "../HandBuilt.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/EditJournal.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/RegXML/RegXMLReading.h"
#include "Velmar/MXF/RegXML/RegXMLWriting.h"
#include "Velmar/MXF/Writing/CopyEditing.h"
#include "Velmar/MXF/Writing/FileWriting.h"
#include "Velmar/MXF/Writing/HeaderMetadataEditing.h"
#include "Velmar/MXF/Writing/HeaderMetadataWriting.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace MXF = Velmar::MXF;
namespace fs = std::filesystem;
using handbuilt::Bytes;
using handbuilt::registers;

namespace {

const fs::path kFixtures = VELMAR_MXF_TESTS_DIR "/fixtures";
const fs::path kCorpus = VELMAR_MXF_TESTS_DIR "/../../../shared/mxf-corpus";

Bytes fileBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A scratch folder of the test's own, gone with it.
class Scratch {
  public:
    Scratch() {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        path_ = fs::temp_directory_path() /
                ("velmar-writing-" + std::string(test->name()) + "-" + std::to_string(::getpid()));
        fs::remove_all(path_);
        fs::create_directories(path_);
    }
    ~Scratch() { fs::remove_all(path_); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    fs::path operator/(const std::string& name) const { return path_ / name; }
    const fs::path& path() const { return path_; }

  private:
    fs::path path_;
};

std::uint64_t fnv(const std::uint8_t* data, std::size_t size) {
    std::uint64_t h = 0xcbf29ce484222325ull;
    for (std::size_t i = 0; i < size; ++i) {
        h = (h ^ data[i]) * 0x100000001b3ull;
    }
    return h;
}

// A digest of every essence element and index table segment, in file order: what no edit of
// the header metadata may change.
std::vector<std::uint64_t> essenceAndIndexDigests(const Bytes& file, std::uint64_t runIn) {
    std::vector<std::uint64_t> digests;
    for (std::size_t at = static_cast<std::size_t>(runIn); at + 17 <= file.size();) {
        const std::uint8_t* key = &file[at];
        std::size_t length = file[at + 16];
        std::size_t lengthSize = 1;
        if (length > 0x80) {
            lengthSize += length & 0x7f;
            length = 0;
            for (std::size_t i = 1; i < lengthSize && at + 16 + i < file.size(); ++i) {
                length = length << 8 | file[at + 16 + i];
            }
        }
        const std::size_t end = std::min(file.size(), at + 16 + lengthSize + length);
        const bool essence = key[4] == 0x01 && key[8] == 0x0d && key[9] == 0x01 &&
                             key[10] == 0x03 && key[11] == 0x01;
        const bool index = key[4] == 0x02 && key[5] == 0x53 && key[8] == 0x0d && key[9] == 0x01 &&
                           key[10] == 0x02 && key[11] == 0x01 && key[12] == 0x01 &&
                           key[13] == 0x10 && key[14] == 0x01;
        if (essence || index) {
            digests.push_back(fnv(key, end - at));
        }
        at = end;
    }
    return digests;
}

MXF::Model::HeaderMetadata walked(const fs::path& path) {
    MXF::Reading::ReadOptions options;
    options.walk = true;
    return MXF::Reading::readHeaderMetadata(path.c_str(), registers(), options);
}

// Every partition pack's offsets and the random index pack agree with where the packs are.
void expectPartitionsWhereTheySay(const MXF::Model::HeaderMetadata& read) {
    const MXF::Model::Partition* previous = nullptr;
    const MXF::Model::Partition* footer = nullptr;
    for (const MXF::Model::Partition& p : read.partitions) {
        footer = p.kind == MXF::Model::Partition::Kind::Footer ? &p : footer;
    }
    for (const MXF::Model::Partition& p : read.partitions) {
        EXPECT_EQ(p.thisPartition + read.runIn, p.offset);
        if (previous != nullptr) {
            EXPECT_EQ(p.previousPartition, previous->thisPartition) << p.offset;
        }
        if (p.footerPartition != 0 && footer != nullptr) {
            EXPECT_EQ(p.footerPartition, footer->thisPartition) << p.offset;
        }
        previous = &p;
    }
    if (read.randomIndex) {
        ASSERT_EQ(read.randomIndex->size(), read.partitions.size());
        for (std::size_t i = 0; i < read.partitions.size(); ++i) {
            EXPECT_EQ((*read.randomIndex)[i].byteOffset, read.partitions[i].thisPartition);
        }
    }
}

std::string findingRules(const MXF::Model::HeaderMetadata& read) {
    std::string rules;
    for (const MXF::Model::Finding& f : read.findings) {
        rules += f.rule + " ";
    }
    return rules;
}

}  // namespace

TEST(FileWriting, EditsInPlaceWithinTheFillAndTouchesNothingElse) {
    const Scratch scratch;
    const fs::path file = scratch / "a.mxf";
    fs::copy_file(kFixtures / "op1a-mpeg2-pcm.mxf", file);
    const Bytes before = fileBytes(file);
    MXF::Model::HeaderMetadata header = MXF::Reading::readHeaderMetadata(file.c_str(), registers());
    MXF::Writing::setItemText(header, "Timecode/Start Timecode", "90000", registers());
    MXF::Writing::setItemText(header, "Identification/Application Name", "Archive copy",
                              registers());
    const MXF::Writing::WriteReport report =
        MXF::Writing::writeFile(file.c_str(), header, registers());
    EXPECT_EQ(report.moved, 0u);
    ASSERT_EQ(report.partitions.size(), 1u);
    const Bytes after = fileBytes(file);
    ASSERT_EQ(after.size(), before.size());
    // Only the header metadata's bytes (the primer to the end of its byte count) changed.
    const MXF::Model::Partition& partition = header.partitions.front();
    const std::size_t start = static_cast<std::size_t>(header.primer.offset);
    const std::size_t end = start + static_cast<std::size_t>(partition.headerByteCount);
    EXPECT_TRUE(std::equal(before.begin(), before.begin() + start, after.begin()));
    EXPECT_TRUE(std::equal(before.begin() + end, before.end(), after.begin() + end));
    EXPECT_EQ(report.bytesWritten, end - start);
    const MXF::Model::HeaderMetadata read = walked(file);
    EXPECT_EQ(MXF::Writing::headerMetadataDifference(header, read), "");
    EXPECT_EQ(findingRules(read), "");
}

// In place, an edit of what ties tracks to the essence is walked: a track number the essence
// does not carry is a finding the source had not, and the file stays as it was.
TEST(FileWriting, WalksInPlaceWhatTiesTracksToTheEssence) {
    const Scratch scratch;
    const fs::path file = scratch / "a.mxf";
    fs::copy_file(kFixtures / "op1a-mpeg2-pcm.mxf", file);
    const Bytes before = fileBytes(file);
    MXF::Model::HeaderMetadata header = MXF::Reading::readHeaderMetadata(file.c_str(), registers());
    MXF::Writing::setItemText(header, "Source Package/Package Tracks[1]/Track Number", "7",
                              registers());
    try {
        MXF::Writing::writeFile(file.c_str(), header, registers());
        ADD_FAILURE() << "a track number the essence lacks was written";
    } catch (const MXF::Writing::WriteFailed& e) {
        const std::string message = Velmar::SDK::Utils::toUtf8(e.message()).c_str();
        EXPECT_NE(message.find("essence-track"), std::string::npos) << message;
    }
    EXPECT_EQ(fileBytes(file), before);
}

TEST(FileWriting, RefusesInPlaceWhatDoesNotFitAndSaysTheRoomNeeded) {
    const Scratch scratch;
    const fs::path file = scratch / "a.mxf";
    fs::copy_file(kFixtures / "op1a-mpeg2-pcm.mxf", file);
    const Bytes before = fileBytes(file);
    MXF::Model::HeaderMetadata header = MXF::Reading::readHeaderMetadata(file.c_str(), registers());
    const std::uint64_t room = header.partitions.front().headerByteCount;
    const std::uint64_t used = MXF::Writing::writeHeaderMetadata(header, registers()).size();
    // What is left of the room after the metadata: none, a fill's least size (17) and more,
    // and a byte short of each bound.
    struct Case {
        std::int64_t left;
        bool fits;
    };
    const Case cases[] = {{0, true}, {17, true}, {18, true}, {16, false}, {1, false}, {-1, false}};
    const std::int64_t spare = static_cast<std::int64_t>(room - used);
    for (const Case& c : cases) {
        MXF::Model::HeaderMetadata edited = header;
        // An odd growth: an item of 5 bytes with a primer entry of 18; the rest in UTF-16
        // characters of the name (10 characters in the fixture).
        std::int64_t grow = spare - c.left;
        if (grow % 2 != 0) {
            MXF::Writing::setItemText(edited, "Preface/Is RIP Present", "True", registers());
            grow -= 23;
        }
        ASSERT_GE(10 + grow / 2, 1) << c.left;
        const std::string name(static_cast<std::size_t>(10 + grow / 2), 'x');
        MXF::Writing::setItemText(edited, "Identification/Application Name", name, registers());
        const std::uint64_t size = MXF::Writing::writeHeaderMetadata(edited, registers()).size();
        ASSERT_EQ(static_cast<std::int64_t>(room) - static_cast<std::int64_t>(size), c.left);
        fs::copy_file(kFixtures / "op1a-mpeg2-pcm.mxf", file, fs::copy_options::overwrite_existing);
        if (c.fits) {
            EXPECT_NO_THROW(MXF::Writing::writeFile(file.c_str(), edited, registers())) << c.left;
            EXPECT_EQ(fs::file_size(file), before.size());
            EXPECT_EQ(MXF::Writing::headerMetadataDifference(
                          edited, MXF::Reading::readHeaderMetadata(file.c_str(), registers())),
                      "");
        } else {
            try {
                MXF::Writing::writeFile(file.c_str(), edited, registers());
                ADD_FAILURE() << c.left << " bytes left fit where they should not";
            } catch (const MXF::Writing::NoRoom& e) {
                EXPECT_EQ(e.needed(), static_cast<std::uint64_t>(17 - c.left)) << c.left;
                const std::string message = Velmar::SDK::Utils::toUtf8(e.message()).c_str();
                const std::string said =
                    c.left > 0 ? "a gap of " + std::to_string(c.left) +
                                     (c.left == 1 ? " byte too small" : " bytes too small")
                               : "in place it needs " + std::to_string(17 - c.left) + " bytes more";
                EXPECT_NE(message.find(said), std::string::npos) << message;
            }
            EXPECT_EQ(fileBytes(file), before) << c.left;
        }
    }
}

TEST(FileWriting, LaysOutANewFileWithRoomAndMovesWhatFollows) {
    const Scratch scratch;
    const fs::path source = kFixtures / "op1a-long.mxf";
    const fs::path out = scratch / "b.mxf";
    MXF::Model::HeaderMetadata header =
        MXF::Reading::readHeaderMetadata(source.c_str(), registers());
    MXF::Writing::setItemText(header, "Identification/Application Name", std::string(3000, 'y'),
                              registers());
    MXF::Writing::WriteOptions options;
    options.output = out.string();
    const MXF::Writing::WriteReport report =
        MXF::Writing::writeFile(source.c_str(), header, registers(), options);
    EXPECT_GT(report.moved, 0u);
    EXPECT_EQ(report.moved % 512, 0u);  // the KAG kept
    EXPECT_EQ(fs::file_size(out), fs::file_size(source) + report.moved);
    EXPECT_EQ(report.bytesWritten, fs::file_size(out));
    const MXF::Model::HeaderMetadata before = walked(source);
    const MXF::Model::HeaderMetadata after = walked(out);
    EXPECT_EQ(MXF::Writing::headerMetadataDifference(header, after), "");
    EXPECT_EQ(findingRules(after), findingRules(before));
    ASSERT_EQ(after.partitions.size(), before.partitions.size());
    for (std::size_t i = 1; i < after.partitions.size(); ++i) {
        EXPECT_EQ(after.partitions[i].offset, before.partitions[i].offset + report.moved);
    }
    EXPECT_GE(after.partitions[0].headerByteCount,
              MXF::Writing::writeHeaderMetadata(header, registers()).size() + 8192);
    expectPartitionsWhereTheySay(after);
    EXPECT_EQ(essenceAndIndexDigests(fileBytes(out), after.runIn),
              essenceAndIndexDigests(fileBytes(source), before.runIn));
    EXPECT_FALSE(essenceAndIndexDigests(fileBytes(source), before.runIn).empty());
    // Nothing but the file is left in its folder.
    EXPECT_EQ(std::distance(fs::directory_iterator(scratch.path()), fs::directory_iterator()), 1);
    // And written back in place now, the edit fits the room it was given.
    MXF::Model::HeaderMetadata again = MXF::Reading::readHeaderMetadata(out.c_str(), registers());
    MXF::Writing::setItemText(again, "Identification/Application Name", std::string(3100, 'z'),
                              registers());
    EXPECT_EQ(MXF::Writing::writeFile(out.c_str(), again, registers()).moved, 0u);
}

TEST(FileWriting, AppliesEachFixturesRegXMLBackAsItWas) {
    const Scratch scratch;
    for (const auto& entry : fs::directory_iterator(kFixtures)) {
        if (entry.path().extension() != ".mxf") {
            continue;
        }
        const std::string name = entry.path().filename().string();
        MXF::Model::HeaderMetadata header =
            MXF::Reading::readHeaderMetadata(entry.path().c_str(), registers());
        const fs::path document = scratch / (name + ".xml");
        {
            std::ofstream xml(document, std::ios::binary);
            MXF::RegXML::writeRegXML(xml, header, registers());
        }
        MXF::Model::HeaderMetadata applied = header;
        MXF::RegXML::applyRegXML(applied, document.c_str(), registers());
        EXPECT_EQ(MXF::Writing::headerMetadataDifference(header, applied), "") << name;
        EXPECT_EQ(MXF::Writing::writeHeaderMetadata(applied, registers()),
                  MXF::Writing::writeHeaderMetadata(header, registers()))
            << name;
        MXF::Writing::WriteOptions options;
        options.output = (scratch / name).string();
        MXF::Writing::writeFile(entry.path().c_str(), applied, registers(), options);
        std::ostringstream first, second;
        MXF::RegXML::writeRegXML(first, header, registers());
        MXF::RegXML::writeRegXML(
            second, MXF::Reading::readHeaderMetadata(options.output.c_str(), registers()),
            registers());
        EXPECT_EQ(second.str(), first.str()) << name;
    }
}

TEST(FileWriting, AppliesAnEditedDocument) {
    const Scratch scratch;
    const fs::path source = kFixtures / "op1a-mpeg2-pcm.mxf";
    const MXF::Model::HeaderMetadata header =
        MXF::Reading::readHeaderMetadata(source.c_str(), registers());
    std::ostringstream written;
    MXF::RegXML::writeRegXML(written, header, registers());
    std::string xml = written.str();
    // A value changed, and a descriptive framework added under a new track of the package.
    const std::string from = "<r1:ApplicationName>OP1a Muxer</r1:ApplicationName>";
    ASSERT_NE(xml.find(from), std::string::npos);
    xml.replace(xml.find(from), from.size(),
                "<r1:ApplicationName escape=\"true\">Tab$#x9;and $#x24;</r1:ApplicationName>");
    const fs::path document = scratch / "doc.xml";
    std::ofstream(document, std::ios::binary) << xml;
    MXF::Model::HeaderMetadata applied = header;
    MXF::RegXML::applyRegXML(applied, document.c_str(), registers());
    const auto sets = MXF::Writing::findSets(applied, "Identification", registers());
    const MXF::Model::Item* name =
        MXF::Writing::findItem(applied.sets[sets[0]], "Application Name", registers());
    ASSERT_NE(name, nullptr);
    // escape is in the baseline namespace: unqualified, it is the text as written.
    EXPECT_EQ(name->value->asText(), "Tab$#x9;and $#x24;");
    // A document whose sets or items the dictionary lacks, or whose values do not fit, is
    // refused and changes nothing.
    const std::pair<std::string, std::string> broken[] = {
        {"<r1:FormatVersion>1.3</r1:FormatVersion>", "<r1:FormatVersion>1.x</r1:FormatVersion>"},
        {"<r1:FormatVersion>1.3</r1:FormatVersion>", "<r1:NoSuchItem>1</r1:NoSuchItem>"},
        {"<r1:ObjectModelVersion>1</r1:ObjectModelVersion>",
         "<r1:ObjectModelVersion>4294967296</r1:ObjectModelVersion>"},
    };
    for (const auto& [good, bad] : broken) {
        std::string text = written.str();
        ASSERT_NE(text.find(good), std::string::npos) << good;
        text.replace(text.find(good), good.size(), bad);
        std::ofstream(document, std::ios::binary | std::ios::trunc) << text;
        MXF::Model::HeaderMetadata target = header;
        EXPECT_ANY_THROW(MXF::RegXML::applyRegXML(target, document.c_str(), registers())) << bad;
        EXPECT_EQ(MXF::Writing::headerMetadataDifference(header, target), "") << bad;
    }
    std::ofstream(document, std::ios::binary | std::ios::trunc) << "<r0:Preface";
    MXF::Model::HeaderMetadata target = header;
    EXPECT_ANY_THROW(MXF::RegXML::applyRegXML(target, document.c_str(), registers()));
}

// The process stopped before each step of a write in turn: the file then reads as the old one
// or as the new one, never as anything else.
// Runs writeFile in a child stopped (as by a kill) before its `stopAt`-th step; 42 where it
// stopped, 0 where it finished, 1 where it failed.
int writeStoppedAt(const fs::path& file, const MXF::Model::HeaderMetadata& edited,
                   const std::string& output, int stopAt) {
    const pid_t child = ::fork();
    if (child == 0) {
        int steps = 0;
        MXF::Writing::WriteOptions options;
        options.output = output;
        options.beforeStep = [&](const char*) {
            if (++steps == stopAt) {
                ::_exit(42);
            }
        };
        try {
            MXF::Writing::writeFile(file.c_str(), edited, registers(), options);
        } catch (...) {
            ::_exit(1);
        }
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(FileWriting, AStopAtAnyStepLeavesTheOldFileOrTheNewOnceRecovered) {
    const Scratch scratch;
    std::vector<std::pair<fs::path, bool>> sources = {{kFixtures / "op1a-mpeg2-pcm.mxf", false}};
    // A file of two copies (header and footer): in place, the copy the reader takes goes last.
    const fs::path twoCopies = kCorpus / "Netflix_photon/TearsOfSteel_4k_Test_Master_Audio_002.mxf";
    if (fs::exists(twoCopies)) {
        sources.emplace_back(twoCopies, false);
    }
    sources.emplace_back(kFixtures / "op1a-mpeg2-pcm.mxf", true);  // a new file
    for (const auto& [source, newFile] : sources) {
        const MXF::Model::HeaderMetadata old =
            MXF::Reading::readHeaderMetadata(source.c_str(), registers());
        MXF::Model::HeaderMetadata edited = old;
        MXF::Writing::setItemText(edited, "Timecode/Start Timecode", "123456", registers());
        const fs::path file = scratch / "f.mxf";
        const fs::path out = scratch / "out.mxf";
        // The file as the edit leaves it, whole.
        fs::copy_file(source, file, fs::copy_options::overwrite_existing);
        ASSERT_EQ(writeStoppedAt(file, edited, newFile ? out.string() : "", 0), 0);
        const Bytes whole = fileBytes(newFile ? out : file);
        bool finished = false;
        int stops = 0;
        for (int stopAt = 1; !finished && stopAt < 64; ++stopAt) {
            fs::remove(out);
            fs::copy_file(source, file, fs::copy_options::overwrite_existing);
            const int status = writeStoppedAt(file, edited, newFile ? out.string() : "", stopAt);
            ASSERT_TRUE(status == 0 || status == 42) << source << " stopped at " << stopAt;
            finished = status == 0;
            stops += status == 42;
            if (newFile) {
                EXPECT_EQ(fileBytes(file), fileBytes(source));
                // Stopped after the rename, before the folder's sync, the new file is whole.
                EXPECT_TRUE(fs::exists(out) ? fileBytes(out) == whole : !finished) << stopAt;
                continue;
            }
            // What the next command does first: the journal, where the stop left one, put back.
            const MXF::Writing::Recovery recovery = MXF::Writing::recoverFile(file.c_str());
            EXPECT_FALSE(fs::exists(MXF::Reading::editJournalPath(file.string())));
            const Bytes after = fileBytes(file);
            EXPECT_TRUE(after == fileBytes(source) || after == whole)
                << source << " stopped at " << stopAt;
            // Stopped before the journal was removed, the file is put back as it was.
            EXPECT_TRUE(finished || !recovery.rolledBack || after == fileBytes(source));
        }
        EXPECT_TRUE(finished) << source;
        // Journal, each copy, sync and the journal's removal; a new file: its pieces, sync,
        // rename and the folder's sync.
        EXPECT_GE(stops, 4) << source;
        // What the stopped runs left beside the new file, the next run removed.
        for (const auto& entry : fs::directory_iterator(scratch.path())) {
            EXPECT_NE(entry.path().filename().string().rfind(".out.mxf.xsddict-", 0), 0u)
                << entry.path();
        }
    }
}

// A new file's temporary left by a run that is no more is removed by the next run into that
// folder; one of a running process, or any other file, is not.
TEST(FileWriting, RemovesOnlyTheTemporariesOfRunsThatAreNoMore) {
    const Scratch scratch;
    const fs::path source = kFixtures / "op1a-mpeg2-pcm.mxf";
    MXF::Model::HeaderMetadata edited =
        MXF::Reading::readHeaderMetadata(source.c_str(), registers());
    MXF::Writing::setItemText(edited, "Timecode/Start Timecode", "123456", registers());
    pid_t gone = ::fork();
    if (gone == 0) {
        ::_exit(0);
    }
    ::waitpid(gone, nullptr, 0);
    const std::string stale = ".out.mxf.xsddict-" + std::to_string(gone) + "-abcdef";
    const std::vector<std::string> kept = {
        ".out.mxf.xsddict-" + std::to_string(::getpid()) + "-abcdef",  // a run going on
        ".out.mxf.xsddict-" + std::to_string(gone) + "-abcdefg",       // not of our pattern
        ".other.mxf.xsddict-" + std::to_string(gone) + "-abcdef",      // beside another file
        "out.mxf.xsddict-" + std::to_string(gone) + "-abcdef"};
    for (const std::string& name : kept) {
        std::ofstream(scratch / name) << "x";
    }
    std::ofstream(scratch / stale) << "x";
    MXF::Writing::WriteOptions options;
    options.output = (scratch / "out.mxf").string();
    MXF::Writing::writeFile(source.c_str(), edited, registers(), options);
    EXPECT_FALSE(fs::exists(scratch / stale));
    for (const std::string& name : kept) {
        EXPECT_TRUE(fs::exists(scratch / name)) << name;
    }
}

// An error at any step of an edit in place (a write, the sync, the journal's removal) puts the
// old bytes back and says so; no journal is left.
TEST(FileWriting, AnErrorAtAnyStepInPlaceLeavesTheOldFile) {
    const Scratch scratch;
    std::vector<fs::path> sources = {kFixtures / "op1a-mpeg2-pcm.mxf"};
    const fs::path twoCopies = kCorpus / "Netflix_photon/TearsOfSteel_4k_Test_Master_Audio_002.mxf";
    if (fs::exists(twoCopies)) {
        sources.push_back(twoCopies);
    }
    for (const fs::path& source : sources) {
        const fs::path file = scratch / "f.mxf";
        MXF::Model::HeaderMetadata edited =
            MXF::Reading::readHeaderMetadata(source.c_str(), registers());
        MXF::Writing::setItemText(edited, "Timecode/Start Timecode", "123456", registers());
        bool finished = false;
        for (int failAt = 2; !finished && failAt < 64; ++failAt) {
            fs::copy_file(source, file, fs::copy_options::overwrite_existing);
            int steps = 0;
            MXF::Writing::WriteOptions options;
            options.beforeStep = [&](const char* step) {
                if (++steps == failAt) {
                    throw MXF::Writing::WriteFailed(std::string("injected before ") + step,
                                                    __FILE__, __LINE__);
                }
            };
            try {
                MXF::Writing::writeFile(file.c_str(), edited, registers(), options);
                finished = true;
            } catch (const MXF::Writing::WriteFailed& e) {
                const std::string message = Velmar::SDK::Utils::toUtf8(e.message()).c_str();
                EXPECT_NE(message.find("the file is as it was"), std::string::npos) << message;
                EXPECT_EQ(fileBytes(file), fileBytes(source)) << source << " failed at " << failAt;
            }
            EXPECT_FALSE(fs::exists(MXF::Reading::editJournalPath(file.string())));
        }
        EXPECT_TRUE(finished) << source;
    }
}

// A journal is applied only whole, unchanged and beside its own file: cut at any byte, a byte
// changed, or moved beside another file, it is refused and left, the file untouched; and a read
// of the file says so.
TEST(FileWriting, AJournalThatDoesNotVerifyIsNeverApplied) {
    const Scratch scratch;
    const fs::path source = kFixtures / "op1a-mpeg2-pcm.mxf";
    const fs::path file = scratch / "f.mxf";
    fs::copy_file(source, file);
    MXF::Model::HeaderMetadata edited = MXF::Reading::readHeaderMetadata(file.c_str(), registers());
    MXF::Writing::setItemText(edited, "Timecode/Start Timecode", "123456", registers());
    // Stopped after the journal, before the first write: the file is as it was.
    ASSERT_EQ(writeStoppedAt(file, edited, "", 2), 42);
    const fs::path journal = MXF::Reading::editJournalPath(file.string());
    ASSERT_TRUE(fs::exists(journal));
    const Bytes whole = fileBytes(journal);
    const Bytes original = fileBytes(file);
    auto put = [&](const fs::path& path, const Bytes& bytes) {
        std::ofstream(path, std::ios::binary | std::ios::trunc)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    };
    auto refused = [&](const fs::path& target, const std::string& why) {
        try {
            MXF::Writing::recoverFile(target.c_str());
            return std::string("applied");
        } catch (const MXF::Writing::WriteFailed& e) {
            const std::string message = Velmar::SDK::Utils::toUtf8(e.message()).c_str();
            return message.find(why) != std::string::npos ? std::string() : message;
        }
    };
    for (std::size_t size = 0; size < whole.size(); ++size) {
        put(journal, Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        const std::string outcome = refused(file, "does not verify");
        ASSERT_EQ(outcome, "") << "cut at " << size;
        ASSERT_TRUE(fs::exists(journal));
    }
    EXPECT_EQ(fileBytes(file), original);
    for (std::size_t at = 0; at < whole.size(); at += 97) {
        Bytes changed = whole;
        changed[at] ^= 0x20;
        put(journal, changed);
        EXPECT_EQ(refused(file, "does not verify"), "") << "byte " << at << " changed";
    }
    const MXF::Model::HeaderMetadata read =
        MXF::Reading::readHeaderMetadata(file.c_str(), registers());
    ASSERT_FALSE(read.findings.empty());
    EXPECT_EQ(read.findings.front().rule, "interrupted-edit");
    EXPECT_NE(read.findings.front().message.find("does not verify"), std::string::npos);
    // Beside another file, of another inode, it is that file's no more.
    const fs::path other = scratch / "g.mxf";
    fs::copy_file(source, other);
    put(MXF::Reading::editJournalPath(other.string()), whole);
    EXPECT_EQ(refused(other, "another file"), "");
    EXPECT_EQ(fileBytes(other), fileBytes(source));
    // Whole and beside its file, it is said by a read, and applied once.
    put(journal, whole);
    const MXF::Model::HeaderMetadata hot =
        MXF::Reading::readHeaderMetadata(file.c_str(), registers());
    ASSERT_FALSE(hot.findings.empty());
    EXPECT_EQ(hot.findings.front().rule, "interrupted-edit");
    EXPECT_EQ(hot.findings.front().severity, MXF::Model::Severity::Error);
    EXPECT_NE(hot.findings.front().message.find(journal.string()), std::string::npos);
    const MXF::Writing::Recovery recovery = MXF::Writing::recoverFile(file.c_str());
    EXPECT_TRUE(recovery.rolledBack);
    EXPECT_EQ(recovery.regions, 1u);
    EXPECT_FALSE(fs::exists(journal));
    EXPECT_EQ(fileBytes(file), original);
    EXPECT_FALSE(MXF::Writing::recoverFile(file.c_str()).rolledBack);
}

TEST(FileWriting, EditsOtherWritersFilesKeepingEssenceAndIndexes) {
    if (!fs::exists(kCorpus)) {
        GTEST_SKIP() << "no corpus beside the project";
    }
    const Scratch scratch;
    std::size_t files = 0, identical = 0;
    for (const auto& entry : fs::recursive_directory_iterator(kCorpus)) {
        if (entry.path().extension() != ".mxf") {
            continue;
        }
        const std::string name = entry.path().filename().string();
        MXF::Model::HeaderMetadata before;
        try {
            before = walked(entry.path());
        } catch (const MXF::Model::FileRefused&) {
            continue;
        }
        ++files;
        const Bytes original = fileBytes(entry.path());
        const auto digests = essenceAndIndexDigests(original, before.runIn);
        // Its own RegXML applied (a new file), then one value changed in place in that file.
        MXF::Model::HeaderMetadata header =
            MXF::Reading::readHeaderMetadata(entry.path().c_str(), registers());
        const fs::path document = scratch / "doc.xml";
        {
            std::ofstream xml(document, std::ios::binary);
            MXF::RegXML::writeRegXML(xml, header, registers());
        }
        MXF::Model::HeaderMetadata applied = header;
        MXF::RegXML::applyRegXML(applied, document.c_str(), registers());
        EXPECT_EQ(MXF::Writing::headerMetadataDifference(header, applied), "") << name;
        // The same bytes where the document could say everything the file held.
        identical += MXF::Writing::writeHeaderMetadata(applied, registers()) ==
                     MXF::Writing::writeHeaderMetadata(header, registers());
        // In place, a document that changes nothing writes nothing.
        const fs::path same = scratch / "same.mxf";
        fs::copy_file(entry.path(), same, fs::copy_options::overwrite_existing);
        EXPECT_TRUE(MXF::Writing::writeFile(same.c_str(), applied, registers()).partitions.empty())
            << name;
        EXPECT_EQ(fileBytes(same), original) << name;
        const fs::path out = scratch / "out.mxf";
        MXF::Writing::WriteOptions options;
        options.output = out.string();
        const MXF::Writing::WriteReport report =
            MXF::Writing::writeFile(entry.path().c_str(), applied, registers(), options);
        EXPECT_EQ(fileBytes(out).size(), original.size() + report.moved) << name;
        MXF::Model::HeaderMetadata edited =
            MXF::Reading::readHeaderMetadata(out.c_str(), registers());
        MXF::Writing::setItemText(edited, "Preface/Identification List[0]/Application Name",
                                  "Edited", registers());
        try {
            MXF::Writing::writeFile(out.c_str(), edited, registers());
        } catch (const MXF::Writing::NoRoom&) {
            options.output = out.string();  // rewritten over itself
            MXF::Writing::writeFile(out.c_str(), edited, registers(), options);
        }
        const MXF::Model::HeaderMetadata after = walked(out);
        EXPECT_EQ(MXF::Writing::headerMetadataDifference(edited, after), "") << name;
        EXPECT_EQ(essenceAndIndexDigests(fileBytes(out), after.runIn), digests) << name;
        EXPECT_LE(after.findings.size(), before.findings.size()) << name;
    }
    EXPECT_GE(files, 22u);
    EXPECT_EQ(identical, files);
}

// An open header written before its writer knew the durations, and a closed footer holding
// more: the edit made to the footer's copy (the one read) is carried into the header's as it
// stands, each in its own room, though the footer's copy would not fit the header's.
TEST(FileWriting, EditsEachCopyInPlaceAsItStands) {
    const fs::path source = kCorpus / "buzz_mediainfo.js/freeMXF-mxf1.mxf";
    if (!fs::exists(source)) {
        GTEST_SKIP() << "no corpus beside the project";
    }
    const Scratch scratch;
    const fs::path file = scratch / "f.mxf";
    fs::copy_file(source, file);
    MXF::Reading::ReadOptions atHeader;
    atHeader.partition = 0;
    const MXF::Model::HeaderMetadata header =
        MXF::Reading::readHeaderMetadata(file.c_str(), registers(), atHeader);
    const MXF::Model::HeaderMetadata footer =
        MXF::Reading::readHeaderMetadata(file.c_str(), registers());
    ASSERT_EQ(header.primer.partitionOffset, 0u);
    ASSERT_NE(footer.primer.partitionOffset, 0u);
    ASSERT_NE(MXF::Writing::contentDifference(header, footer), "");
    const std::uint64_t headerRoom = footer.partitions.front().headerByteCount;
    EXPECT_GT(MXF::Writing::writeHeaderMetadata(footer, registers()).size(), headerRoom);

    const char* path = "Preface/Identification List[0]/Application Name";
    MXF::Model::HeaderMetadata edited = footer;
    MXF::Writing::setItemText(edited, path, "Edited", registers());
    const Bytes old = fileBytes(file);
    EXPECT_EQ(MXF::Writing::writeFile(file.c_str(), edited, registers()).partitions.size(), 2u);

    EXPECT_EQ(MXF::Writing::headerMetadataDifference(
                  edited, MXF::Reading::readHeaderMetadata(file.c_str(), registers())),
              "");
    MXF::Model::HeaderMetadata expected = header;
    MXF::Writing::setItemText(expected, path, "Edited", registers());
    EXPECT_EQ(MXF::Writing::contentDifference(
                  expected, MXF::Reading::readHeaderMetadata(file.c_str(), registers(), atHeader)),
              "");
    // Bytes changed only within the two copies' rooms.
    const Bytes now = fileBytes(file);
    ASSERT_EQ(now.size(), old.size());
    const auto within = [](const MXF::Model::HeaderMetadata& copy, std::size_t at) {
        for (const auto& p : copy.partitions) {
            if (p.offset == copy.primer.partitionOffset) {
                return at >= copy.primer.offset && at < copy.primer.offset + p.headerByteCount;
            }
        }
        return false;
    };
    std::size_t changed = 0;
    for (std::size_t at = 0; at < old.size(); ++at) {
        if (old[at] != now[at]) {
            ++changed;
            EXPECT_TRUE(within(header, at) || within(footer, at)) << at;
        }
    }
    EXPECT_GT(changed, 0u);

    // Its RegXML (of the copy read, as regxml writes it by default) applied back: nothing.
    const fs::path document = scratch / "doc.xml";
    {
        std::ofstream xml(document, std::ios::binary);
        MXF::RegXML::writeRegXML(xml, MXF::Reading::readHeaderMetadata(file.c_str(), registers()),
                                 registers());
    }
    MXF::Model::HeaderMetadata applied =
        MXF::Reading::readHeaderMetadata(file.c_str(), registers());
    MXF::RegXML::applyRegXML(applied, document.c_str(), registers());
    EXPECT_TRUE(MXF::Writing::writeFile(file.c_str(), applied, registers()).partitions.empty());
    EXPECT_EQ(fileBytes(file), now);
}
