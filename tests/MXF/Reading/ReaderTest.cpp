// The MXF reader on files built by hand, byte by byte: a group of cases per refusal rule and per
// finding, through the installed interface only.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "../HandBuilt.h"
#include "Velmar/MXF/Checking/Rules.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/Report/Json.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

using namespace Velmar;
using namespace handbuilt;

namespace {

const SDK::MetaMetadata::Dictionary& tiny() {
    static SDK::MetaMetadata::Dictionary* dictionary = [] {
        auto* d = new SDK::MetaMetadata::Dictionary;
        SDK::MetaMetadata::Loading::XSDDictionaryLoader loader;
        loader.load(SDK::Utils::stringToWstring(VELMAR_MXF_TESTS_DIR "/fixtures/tiny.xsd").c_str(),
                    *d);
        return d;
    }();
    return *dictionary;
}

Bytes label(std::uint8_t n) {
    return {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01, 0x0f, 0, 0, 0, 0, 0, n, 0};
}

// The primer of the tests, and any entries (18 bytes each) given.
Bytes primer(bool twice = false, const Bytes& more = {}) {
    Bytes entries = be(0x3c0a, 2) + kInstanceUIDLabel + be(0x3b03, 2) + label(2) + be(0x3b07, 2) +
                    label(1) + be(0x1901, 2) + label(3) + be(0x7777, 2) + label(9) + more;
    auto count = static_cast<std::uint32_t>(5 + more.size() / 18);
    if (twice) {
        entries = entries + be(0x3b07, 2) + label(1);
        ++count;
    }
    return klv(key(0x02, 0x05, 0x05, 0x01), be(count, 4) + be(18, 4) + entries);
}

Bytes preface(std::uint8_t self, std::uint8_t content) {
    return klv(key(0x02, 0x53, 0x01, 0x2f, 0x00, 0x01, 0x0d, 0x01, 0x01),
               item(0x3c0a, uid(self)) + item(0x3b03, uid(content)));
}

Bytes storage(std::uint8_t self, int child = -1) {
    Bytes items = item(0x3c0a, uid(self));
    if (child >= 0) {
        items = items + item(0x1901, uid(static_cast<std::uint8_t>(child)));
    }
    return klv(key(0x02, 0x53, 0x01, 0x18, 0x00, 0x01, 0x0d, 0x01, 0x01), items);
}

// A header partition and its header metadata: the primer and the sets given.
Bytes file(const Bytes& sets, std::uint64_t footer = 0) {
    const Bytes metadata = primer() + sets;
    return partition(metadata.size(), footer) + metadata;
}

MXF::Model::HeaderMetadata read(const Bytes& bytes) {
    return MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), tiny());
}

std::string refusal(const Bytes& bytes) {
    try {
        read(bytes);
    } catch (const MXF::Model::FileRefused& e) {
        return std::string(e.rule()) + "@" + std::to_string(e.offset());
    }
    return "read";
}

// Each finding as "rule Set Item@tag (severity)", the parts it has.
std::vector<std::string> findings(const MXF::Model::HeaderMetadata& header) {
    std::vector<std::string> out;
    for (const MXF::Model::Finding& f : header.findings) {
        char tag[8] = "";
        if (f.tag) {
            std::snprintf(tag, sizeof tag, "@%02x.%02x", *f.tag >> 8, *f.tag & 0xff);
        }
        // A severity milder than the rule's is the reader's judgement: shown to be tested.
        const bool milder = f.severity != MXF::Checking::ruleSeverity(f.rule);
        out.push_back(
            f.rule + (f.setName.empty() ? "" : " " + f.setName) +
            (f.itemName.empty() ? "" : " " + f.itemName) + tag +
            (milder ? std::string(" (") + MXF::Model::severityName(f.severity) + ")" : ""));
    }
    return out;
}

// A random index pack naming these offsets (body SID 0), its own length last.
Bytes randomIndex(const std::vector<std::uint64_t>& offsets) {
    Bytes entries;
    for (std::uint64_t offset : offsets) {
        entries = entries + be(0, 4) + be(offset, 8);
    }
    const std::uint64_t length = 16 + 1 + entries.size() + 4;
    return key(0x02, 0x05, 0x11, 0x01) + ber(entries.size() + 4) + entries + be(length, 4);
}

}  // namespace

TEST(MXFReader, ReadsAHandBuiltFileInTreeOrder) {
    // File order puts the grandchild first; tree order follows the references.
    const MXF::Model::HeaderMetadata header =
        read(Bytes(100, 0) + file(storage(3) + storage(2, 3) + preface(1, 2)));
    EXPECT_EQ(header.runIn, 100u);
    ASSERT_EQ(header.partitions.size(), 1u);
    EXPECT_EQ(header.partitions[0].statusName(), "closed complete");
    EXPECT_EQ(header.primer.entries.size(), 5u);
    ASSERT_EQ(header.sets.size(), 3u);
    EXPECT_EQ(header.sets[0].name(), "Preface");
    EXPECT_EQ(header.sets[1].depth, 1u);
    EXPECT_EQ(header.sets[2].depth, 2u);
    EXPECT_EQ(MXF::Values::uuidText(*header.sets[2].parent),
              MXF::Values::uuidText(*header.sets[1].instanceUID));
    EXPECT_EQ(header.sets[0].items[1].value->asText(), "abababab-abab-abab-abab-ababababab02");
    EXPECT_TRUE(header.findings.empty()) << findings(header).front();
}

// A file whose head was lost begins with a body or footer partition: that partition and its
// header metadata are read, with an error saying so (with or without the walk, which cannot
// follow offsets counted from the lost head). One that begins with another packet, or whose
// first pack comes after other packets, is still no file the reader can start.
TEST(MXFReader, ReadsAFileThatBeginsWithItsFooter) {
    const Bytes metadata = primer() + storage(3) + storage(2, 3) + preface(1, 2);
    struct Case {
        const char* what;
        Bytes bytes;
        std::string outcome;  // the refusal, or the kind of the partition read
    };
    const Case cases[] = {
        {"a footer", partition(metadata.size(), 0, 0x04) + metadata, "footer"},
        {"a body partition", partition(metadata.size(), 0, 0x03) + metadata, "body"},
        {"a footer after a run-in", Bytes(40, 0) + partition(metadata.size(), 0, 0x04) + metadata,
         "footer"},
        {"a footer after a packet", primer() + partition(metadata.size(), 0, 0x04) + metadata,
         "no-partition@0"},
        {"a footer with no header metadata", partition(0, 0, 0x04), "no-header-metadata@0"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        for (const bool walk : {false, true}) {
            std::string outcome;
            try {
                const MXF::Model::HeaderMetadata header = MXF::Reading::readHeaderMetadata(
                    c.bytes.data(), c.bytes.size(), tiny(), {walk});
                ASSERT_EQ(header.partitions.size(), 1u);
                outcome = header.partitions[0].kindName();
                EXPECT_EQ(findings(header), std::vector<std::string>{"header-missing"});
                EXPECT_EQ(header.sets.size(), 3u);
                EXPECT_FALSE(header.walk.has_value());
            } catch (const MXF::Model::FileRefused& e) {
                outcome = std::string(e.rule()) + "@" + std::to_string(e.offset());
            }
            EXPECT_EQ(outcome, c.outcome) << (walk ? "walked" : "read");
        }
    }
}

TEST(MXFReader, RefusesBrokenStructureNamingRuleAndOffset) {
    const Bytes good = file(preface(1, 2) + storage(2));
    const std::size_t primerAt = partition(0).size();
    struct Case {
        const char* what;
        Bytes bytes;
        std::string expected;
    };
    Bytes lyingBatch = partition(0, 0, 0x02, be(3, 4) + be(16, 4) + Bytes(16, 0));
    Bytes zeroHeader = partition(0) + primer();
    Bytes pastEnd = partition(1000) + primer();
    Bytes primerTwice = partition(primer(true).size()) + primer(true);
    Bytes itemPastSet = partition(primer().size() + 25) + primer() +
                        klv(key(0x02, 0x53, 0x01, 0x18), be(0x3c0a, 2) + be(16, 2) + Bytes(4, 0));
    // An item whose length claims one byte more than its set holds, and one that fits exactly.
    auto itemOf = [&](std::uint16_t length) {
        const Bytes set = klv(key(0x02, 0x53, 0x01, 0x18, 0x00, 0x01, 0x0d, 0x01, 0x01),
                              be(0x3c0a, 2) + be(length, 2) + uid(2));
        return partition(primer().size() + set.size()) + primer() + set;
    };
    const Bytes itemOneByteOver = itemOf(17);
    const Case cases[] = {
        {"no partition", Bytes(200, 0x11), "no-partition@0"},
        {"ends in the key", Bytes(good.begin(), good.begin() + 10) + key(0x02, 0x05, 0x02, 0x04),
         "truncated@26"},
        {"ends in a length", key(0x02, 0x05, 0x02, 0x04) + Bytes{0x84, 0x00}, "truncated@17"},
        {"indefinite length", key(0x02, 0x05, 0x02, 0x04) + Bytes{0x80, 0, 0}, "bad-ber@16"},
        {"nine length bytes", key(0x02, 0x05, 0x02, 0x04) + Bytes(10, 0x89), "bad-ber@16"},
        {"length past the end", key(0x02, 0x05, 0x02, 0x04) + Bytes{0x88} + be(~0ull, 8),
         "length-past-end@0"},
        {"a partition batch that lies", lyingBatch, "bad-partition@0"},
        {"no header metadata", zeroHeader, "no-header-metadata@0"},
        {"header metadata past the end", pastEnd, "truncated@" + std::to_string(pastEnd.size())},
        {"a tag mapped twice", primerTwice,
         "bad-primer@" + std::to_string(primerAt + 17 + 8 + 5 * 18)},
        {"an item past its set", itemPastSet,
         "bad-local-set@" + std::to_string(itemPastSet.size() - 8)},
        {"an item one byte past its set", itemOneByteOver,
         "bad-local-set@" + std::to_string(itemOneByteOver.size() - 20)},
        {"an item that fills its set exactly", itemOf(16), "read"},
        {"a set past the header metadata",
         partition(primer().size() + 24) + primer() + klv(key(0x02, 0x53, 0x01, 0x18), Bytes(8, 0)),
         "bad-local-set@" + std::to_string(primerAt + primer().size())},
        {"a dark set whose length runs past the file",
         partition(primer().size() + 17) + primer() + Bytes(17, 0x01),
         "length-past-end@" + std::to_string(primerAt + primer().size())},
        {"a dark set with an indefinite length",
         partition(primer().size() + 18) + primer() + Bytes(16, 0x01) + Bytes{0x80, 0},
         "bad-ber@" + std::to_string(primerAt + primer().size() + 16)},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(refusal(c.bytes), c.expected) << c.what;
    }
    EXPECT_EQ(refusal(good), "read");
}

// The header partition and its header metadata are read before any offset from the random
// index pack or a footer is trusted, so the first fault in file order is the one named.
TEST(MXFReader, NamesTheFirstFaultInFileOrder) {
    const Bytes sets = preface(1, 2) + storage(2);
    const Bytes good = file(sets);
    const std::size_t prefaceAt = partition(0).size() + primer().size();
    const Bytes lyingIndex = randomIndex({0, 5120});
    auto withPrefaceLength = [&](const Bytes& length) {
        const Bytes prefaceKey = key(0x02, 0x53, 0x01, 0x2f, 0x00, 0x01, 0x0d, 0x01, 0x01);
        Bytes bytes = good;
        Bytes tail(bytes.begin() + static_cast<std::ptrdiff_t>(prefaceAt + 17), bytes.end());
        bytes.resize(prefaceAt + 16);
        return bytes + length + tail + lyingIndex;
    };
    const Bytes cutAfterASet =
        Bytes(good.begin(), good.end() - static_cast<std::ptrdiff_t>(storage(2).size()));
    struct Case {
        const char* what;
        Bytes bytes;
        std::string expected;
    };
    const Case cases[] = {
        {"an indefinite Preface length", withPrefaceLength({0x80}),
         "bad-ber@" + std::to_string(prefaceAt + 16)},
        {"a Preface length of nine bytes", withPrefaceLength({0x89}),
         "bad-ber@" + std::to_string(prefaceAt + 16)},
        {"a Preface length that wraps", withPrefaceLength(Bytes{0x88} + be(~0ull - 10, 8)),
         "length-past-end@" + std::to_string(prefaceAt)},
        {"a Preface length past the file", withPrefaceLength(Bytes{0x83} + be(0x100000, 3)),
         "length-past-end@" + std::to_string(prefaceAt)},
        {"cut right after a set", cutAfterASet, "truncated@" + std::to_string(cutAfterASet.size())},
        {"cut in a key", Bytes(good.begin(), good.end() - 30),
         "truncated@" + std::to_string(good.size() - storage(2).size())},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(refusal(c.bytes), c.expected) << c.what;
    }
    // The index as a sound file gives it, and the header's metadata read once.
    const MXF::Model::HeaderMetadata header = read(good + randomIndex({0}));
    ASSERT_TRUE(header.randomIndex.has_value());
    EXPECT_EQ(header.sets.size(), 2u);
    EXPECT_TRUE(header.findings.empty()) << findings(header).front();
}

// An open header partition's metadata is read first, and replaced by the footer's, closed and
// complete, with nothing of the first reading left.
TEST(MXFReader, ReadsTheFirstClosedCompleteHeaderMetadata) {
    const Bytes stray = klv(key(0x02, 0x05, 0x7f, 0x01), {1});
    const Bytes openMetadata = primer() + preface(1, 2) + stray;
    const Bytes noBatch = be(0, 4) + be(16, 4);
    const std::uint64_t footerAt = partition(0).size() + openMetadata.size();
    const Bytes closedMetadata = primer() + preface(1, 2) + storage(2);
    const Bytes bytes = partition(openMetadata.size(), footerAt, 0x02, noBatch, 0x01) +
                        openMetadata + partition(closedMetadata.size(), footerAt, 0x04) +
                        closedMetadata;
    const MXF::Model::HeaderMetadata header = read(bytes);
    ASSERT_EQ(header.partitions.size(), 2u);
    EXPECT_EQ(header.primer.partitionOffset, footerAt);
    EXPECT_EQ(header.primer.entries.size(), 5u);  // the footer's only, not the header's too
    ASSERT_EQ(header.sets.size(), 2u);
    EXPECT_GT(header.sets[1].offset, footerAt);
    EXPECT_TRUE(header.unreadPackets.empty());  // the stray packet was in the open header
    EXPECT_TRUE(header.findings.empty()) << findings(header).front();
    // Alone, the open partition's metadata is read, with what is wrong with it.
    const MXF::Model::HeaderMetadata open =
        read(partition(openMetadata.size(), 0, 0x02, noBatch, 0x01) + openMetadata);
    EXPECT_EQ(findings(open), (std::vector<std::string>{
                                  "unknown-set", "dangling-reference Preface Content@3b.03"}));
    ASSERT_EQ(open.unreadPackets.size(), 1u);  // kept whole, to be written back
    EXPECT_EQ(open.unreadPackets[0].bytes, stray);
}

TEST(MXFReader, ReportsWhatIsWrongWithAFileItCanRead) {
    struct Case {
        const char* what;
        Bytes bytes;
        std::vector<std::string> expected;
    };
    const Bytes unknownSet = klv(key(0x02, 0x53, 0x01, 0x77), item(0x3c0a, uid(9)));
    const Case cases[] = {
        {"a reference to no set",
         file(preface(1, 2)),
         {"dangling-reference Preface Content@3b.03"}},
        {"no Preface", file(storage(2)), {"no-preface"}},
        {"two sets with one InstanceUID",
         file(preface(1, 2) + storage(2) + storage(2)),
         {"duplicate-instance-uid Storage Instance ID@3c.0a"}},
        {"a cycle",
         file(preface(1, 2) + storage(2, 3) + storage(3, 2)),
         {"reference-cycle Storage Child@19.01"}},
        {"a reference to the wrong set",
         file(preface(1, 2) + storage(2, 1)),
         {"wrong-target Storage Child@19.01", "reference-cycle Storage Child@19.01"}},
        {"an unknown set", file(preface(1, 2) + storage(2) + unknownSet), {"unknown-set"}},
        // What the set is, the dictionary cannot say; so the reference is not found wrong.
        {"a reference to a set of an unknown key",
         file(preface(1, 9) + unknownSet),
         {"unknown-set"}},
        {"a nil reference",
         file(klv(key(0x02, 0x53, 0x01, 0x2f, 0x00, 0x01, 0x0d, 0x01, 0x01),
                  item(0x3c0a, uid(1)) + item(0x3b03, Bytes(16, 0)))),
         {"dangling-reference Preface Content@3b.03 (warning)"}},
        {"a sound file whose index names no partition",
         file(preface(1, 2) + storage(2)) + randomIndex({0, 5120}),
         {"random-index"}},
        {"a dark set, skipped by its length",
         file(preface(1, 2) + klv(uid(0x80), Bytes(40, 0x33)) + storage(2)),
         {"unknown-set"}},
        {"a set whose key has the registry designator 7f",
         file(preface(1, 2) +
              klv(key(0x02, 0x7f, 0x01, 0x18, 0x00, 0x01, 0x0d, 0x01, 0x01), item(0x3c0a, uid(2)))),
         {"non-conformant-key"}},
        {"a 7f key whose bytes are no local set",
         file(preface(1, 2) + storage(2) +
              klv(key(0x02, 0x7f, 0x01, 0x18, 0x00, 0x01, 0x0d, 0x01, 0x01),
                  Bytes{0x3c, 0x0a, 0, 9})),
         {"unknown-set"}},
        {"a tag not in the primer and an element not in the dictionary",
         file(preface(1, 2) + klv(key(0x02, 0x53, 0x01, 0x18, 0x00, 0x01, 0x0d, 0x01, 0x01),
                                  item(0x3c0a, uid(2)) + item(0x5555, {1}) + item(0x7777, {1}))),
         {"unknown-tag Storage@55.55", "unknown-element Storage@77.77"}},
        {"an item of another set and a wrong size",
         file(preface(1, 2) + klv(key(0x02, 0x53, 0x01, 0x18, 0x00, 0x01, 0x0d, 0x01, 0x01),
                                  item(0x3c0a, uid(2)) + item(0x3b07, {1, 2, 3}))),
         {"not-an-attribute Storage Count@3b.07", "bad-size Storage Count@3b.07"}},
        {"a required item missing",
         file(klv(key(0x02, 0x53, 0x01, 0x2f, 0x00, 0x01, 0x0d, 0x01, 0x01), item(0x3c0a, uid(1)))),
         {"required-missing Preface Content@3b.03"}},
        {"a footer past the end: cut short", file(preface(1, 2) + storage(2), 4000), {"truncated"}},
        {"a footer within the file that is not there",
         file(preface(1, 2) + storage(2), 100),
         {"footer-missing"}},
    };
    for (const Case& c : cases) {
        ASSERT_EQ(refusal(c.bytes), "read") << c.what;
        EXPECT_EQ(findings(read(c.bytes)), c.expected) << c.what;
    }
}

// The walk, on files built of a header partition and its metadata, body partitions of essence
// and index table segments, and a footer.
namespace {

struct Pack {
    std::uint8_t kind = 0x02;
    std::uint64_t thisPartition = 0;
    std::uint64_t previous = 0;
    std::uint64_t footer = 0;
    std::uint64_t headerByteCount = 0;
    std::uint32_t indexSID = 0;
    std::uint32_t bodySID = 0;
    std::uint64_t bodyOffset = 0;
    std::vector<Bytes> containers;  // the essence container batch
    std::uint32_t kag = 1;
    std::uint8_t status = 0x04;  // the key's byte 14: closed complete, or 0x11 for a generic stream
};

Bytes pack(const Pack& p) {
    const Bytes value = be(1, 2) + be(3, 2) + be(p.kag, 4) + be(p.thisPartition, 8) +
                        be(p.previous, 8) + be(p.footer, 8) + be(p.headerByteCount, 8) + be(0, 8) +
                        be(p.indexSID, 4) + be(p.bodyOffset, 8) + be(p.bodySID, 4) +
                        Bytes(16, 0x06) + be(p.containers.size(), 4) + be(16, 4);
    Bytes batch;
    for (const Bytes& container : p.containers)
        batch = batch + container;
    return klv(key(0x02, 0x05, p.kind, p.status), value + batch);
}

Bytes essenceElement(std::size_t size) {
    return klv(key(0x01, 0x02, 0x01, 0x05, 0x00, 0x15, 0x0d, 0x03, 0x01), Bytes(size, 0x5a));
}

Bytes indexSegment(std::int64_t start, std::int64_t duration,
                   const std::vector<std::uint64_t>& streamOffsets, std::uint32_t indexSID = 2,
                   std::uint32_t entrySize = 11) {
    Bytes entries = be(streamOffsets.size(), 4) + be(entrySize, 4);
    for (std::uint64_t offset : streamOffsets) {
        entries = entries + Bytes{0, 0, 0x80} + be(offset, 8);
    }
    const Bytes items = item(0x3f0b, be(25, 4) + be(1, 4)) + item(0x3f0c, be(start, 8)) +
                        item(0x3f0d, be(duration, 8)) + item(0x3f05, be(0, 4)) +
                        item(0x3f06, be(indexSID, 4)) + item(0x3f07, be(1, 4)) +
                        item(0x3f0a, entries);
    return klv(key(0x02, 0x53, 0x10, 0x01, 0x00, 0x01, 0x0d, 0x02, 0x01), items);
}

// A sound file of three parts: header (metadata), body (two essence elements of 100 bytes,
// indexed in the footer), footer; `change` may alter any pack before it is laid out.
struct Layout {
    Pack header, body, footer;
    Bytes essence = essenceElement(100) + essenceElement(100);
    std::vector<std::uint64_t> offsets = {0, 117};
    Bytes extraIndex;
    Bytes extraSets;    // after the Preface and its Storage
    Bytes extraPrimer;  // entries for their items
    // A generic stream partition between the body and the footer, and the packets in it.
    std::optional<Pack> stream;
    Bytes streamData;
};

// A set of a key the dictionary lacks holding a Track Number (tag 48.04) and an Essence
// Container (30.04), with the primer entries for them.
const Bytes kTrackNumberLabel = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                 0x01, 0x04, 0x01, 0x03, 0x00, 0x00, 0x00, 0x00};
const Bytes kEssenceContainerLabel = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                      0x06, 0x01, 0x01, 0x04, 0x01, 0x02, 0x00, 0x00};
const Bytes kMorePrimer =
    be(0x4804, 2) + kTrackNumberLabel + be(0x3004, 2) + kEssenceContainerLabel;
Bytes trackSet(std::uint32_t trackNumber, const Bytes& container) {
    return klv(key(0x02, 0x53, 0x01, 0x3b),
               item(0x3c0a, uid(7)) + item(0x4804, be(trackNumber, 4)) + item(0x3004, container));
}
Bytes trackSet2(std::uint32_t trackNumber) {
    return klv(key(0x02, 0x53, 0x01, 0x3b),
               item(0x3c0a, uid(8)) + item(0x4804, be(trackNumber, 4)));
}
const Bytes kContainer = {0x06, 0x0e, 0x2b, 0x34, 0x04, 0x01, 0x01, 0x02,
                          0x0d, 0x01, 0x03, 0x01, 0x02, 0x04, 0x60, 0x01};

// `prepare` changes what the metadata holds; `change`, the packs and the rest.
Bytes laidOut(const std::function<void(Layout&)>& change = nullptr,
              const std::function<void(Layout&)>& prepare = nullptr) {
    Layout l;
    if (prepare)
        prepare(l);
    const Bytes metadata =
        primer(false, kMorePrimer + l.extraPrimer) + preface(1, 2) + storage(2) + l.extraSets;
    l.header.headerByteCount = metadata.size();
    const std::uint64_t bodyAt = pack(l.header).size() + metadata.size();
    l.body = {0x03, bodyAt, 0, 0, 0, 0, 1, 0, {}};
    const std::uint64_t streamAt = bodyAt + pack(l.body).size() + l.essence.size();
    std::uint64_t footerAt = streamAt;
    if (l.stream) {
        l.stream->thisPartition = streamAt;
        l.stream->previous = bodyAt;
        footerAt += pack(*l.stream).size() + l.streamData.size();
    }
    l.header.footer = l.body.footer = footerAt;
    if (l.stream) {
        l.stream->footer = footerAt;
    }
    l.footer = {0x04, footerAt, l.stream ? streamAt : bodyAt, footerAt, 0, 2, 0, 0, {}};
    if (change)
        change(l);
    const Bytes stream = l.stream ? pack(*l.stream) + l.streamData : Bytes{};
    return pack(l.header) + metadata + pack(l.body) + l.essence + stream + pack(l.footer) +
           indexSegment(0, 2, l.offsets) + l.extraIndex;
}

std::string walkRefusal(const Bytes& bytes) {
    try {
        MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), tiny(), {true});
    } catch (const MXF::Model::FileRefused& e) {
        return std::string(e.rule()) + "@" + std::to_string(e.offset());
    }
    return "read";
}

// The walk's findings, or its refusal as "refused RULE@OFFSET".
std::vector<std::string> walkFindings(const Bytes& bytes) {
    try {
        return findings(
            MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), tiny(), {true}));
    } catch (const MXF::Model::FileRefused& e) {
        return {"refused " + std::string(e.rule()) + "@" + std::to_string(e.offset())};
    }
}

}  // namespace

TEST(MXFWalk, DecodesEveryPartitionAndIndexSegmentOfASoundFile) {
    const Bytes bytes = laidOut() + randomIndex({0, 0, 0});  // a wrong index, for the last check
    const MXF::Model::HeaderMetadata plain =
        MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), tiny());
    EXPECT_FALSE(plain.walk.has_value());
    const Bytes good = laidOut();
    const MXF::Model::HeaderMetadata header =
        MXF::Reading::readHeaderMetadata(good.data(), good.size(), tiny(), {true});
    ASSERT_TRUE(header.walk.has_value());
    EXPECT_EQ(header.partitions.size(), 3u);
    EXPECT_EQ(header.walk->essenceElements, 2u);
    EXPECT_EQ(header.walk->essenceBytes, 2 * 117u);
    EXPECT_EQ(header.walk->klvs, 1u + 3u + 1u + 2u + 1u + 1u);  // packs, metadata, essence, index
    ASSERT_EQ(header.walk->indexSegments.size(), 1u);
    const MXF::Model::IndexSegment& segment = header.walk->indexSegments[0];
    EXPECT_EQ(segment.indexSID, 2u);
    EXPECT_EQ(segment.bodySID, 1u);
    EXPECT_EQ(segment.editRateNumerator, 25);
    EXPECT_EQ(segment.editRateDenominator, 1);
    EXPECT_EQ(segment.duration, 2);
    ASSERT_EQ(segment.entries.size(), 2u);
    EXPECT_EQ(segment.entries[1].streamOffset, 117u);
    EXPECT_EQ(segment.entries[1].flags, 0x80);
    EXPECT_TRUE(header.findings.empty()) << findings(header).front();
}

// The file's layout: runs of one kind of packet, fill among essence counted with it, bytes by
// track; a run-in before the header, and the packet a cut file ends in, are regions too.
TEST(MXFWalk, RecordsTheFilesRegions) {
    Bytes other = essenceElement(50);
    other[13] = 0x02;  // track 15020500
    const Bytes fill = klv(key(0x01, 0x01, 0x00, 0x00, 0x00, 0x01, 0x03, 0x02, 0x10), Bytes(3, 0));
    const Bytes runIn(8, 0x00);
    const Bytes bytes = runIn + laidOut(nullptr, [&](Layout& l) {
                            l.essence = essenceElement(100) + fill + other + essenceElement(100);
                        });
    const MXF::Model::HeaderMetadata header =
        MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), tiny(), {true});
    ASSERT_TRUE(header.walk.has_value());
    using K = MXF::Model::Region::Kind;
    struct Expected {
        K kind;
        std::uint64_t offset, size, packets;
        std::uint32_t bodySID;
    };
    const auto& p = header.partitions;
    ASSERT_EQ(p.size(), 3u);
    const std::uint64_t metadataAt = p[0].packEnd;
    const std::uint64_t essenceAt = p[1].packEnd;
    const std::uint64_t indexAt = p[2].packEnd;
    const std::vector<Expected> expected = {
        {K::RunIn, 0, 8, 0, 0},
        {K::PartitionPack, 8, metadataAt - 8, 1, 0},
        {K::HeaderMetadata, metadataAt, p[1].offset - metadataAt, 3, 0},  // primer and 2 sets
        {K::PartitionPack, p[1].offset, essenceAt - p[1].offset, 1, 0},
        {K::Essence, essenceAt, 117 + 20 + 67 + 117, 4, 1},
        {K::PartitionPack, p[2].offset, indexAt - p[2].offset, 1, 0},
        {K::IndexTable, indexAt, bytes.size() - indexAt, 1, 0},
    };
    const auto& regions = header.walk->regions;
    ASSERT_EQ(regions.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(regions[i].kindName());
        EXPECT_EQ(regions[i].kind, expected[i].kind);
        EXPECT_EQ(regions[i].offset, expected[i].offset);
        EXPECT_EQ(regions[i].size, expected[i].size);
        EXPECT_EQ(regions[i].packets, expected[i].packets);
        EXPECT_EQ(regions[i].bodySID, expected[i].bodySID);
    }
    const auto& tracks = regions[4].tracks;
    ASSERT_EQ(tracks.size(), 2u);
    EXPECT_EQ(tracks[0].trackNumber, 0x15010500u);
    EXPECT_EQ(tracks[0].bytes, 2 * 117u);  // the fill after it is the container's, no track's
    EXPECT_EQ(tracks[1].trackNumber, 0x15020500u);
    EXPECT_EQ(tracks[1].bytes, 67u);
    EXPECT_STREQ(regions[4].kindName(), "essence");

    // Cut one byte into the index segment: it is the region the file ends in.
    const Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(indexAt) + 1);
    const MXF::Model::HeaderMetadata cutHeader =
        MXF::Reading::readHeaderMetadata(cut.data(), cut.size(), tiny(), {true});
    const MXF::Model::Region& last = cutHeader.walk->regions.back();
    EXPECT_EQ(last.kind, K::Cut);
    EXPECT_EQ(last.offset, indexAt);
    EXPECT_EQ(last.size, 1u);
    EXPECT_EQ(cutHeader.walk->regions.size(), expected.size());
}

// A file of more changes of kind than a walk keeps regions for: neighbours are folded in
// pairs, and the regions still tile the file and count every packet and track byte.
TEST(MXFWalk, FoldsRegionsPastItsBound) {
    const Bytes element = essenceElement(1);
    const Bytes dark = klv(key(0x02, 0x53, 0x7f, 0x7f), {});
    // 5 regions of packs, metadata and index, and two a pair: one short of the bound, then
    // one past it.
    for (const std::size_t pairs : {std::size_t{32765}, std::size_t{32766}}) {
        SCOPED_TRACE(pairs);
        const Bytes bytes = laidOut(nullptr, [&](Layout& l) {
            l.essence.clear();
            for (std::size_t i = 0; i < pairs; ++i) {
                l.essence.insert(l.essence.end(), element.begin(), element.end());
                l.essence.insert(l.essence.end(), dark.begin(), dark.end());
            }
        });
        const MXF::Model::HeaderMetadata header =
            MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), tiny(), {true});
        const auto& regions = header.walk->regions;
        const bool folded = 5 + 2 * pairs > MXF::Model::Region::kMaxRegions;
        EXPECT_EQ(regions.size(),
                  folded ? (MXF::Model::Region::kMaxRegions + 1) / 2 + 1 : 5 + 2 * pairs);
        std::uint64_t at = 0, packets = 0, trackBytes = 0;
        std::size_t mixed = 0;
        for (const MXF::Model::Region& r : regions) {
            EXPECT_EQ(r.offset, at);
            at += r.size;
            packets += r.packets;
            for (const auto& t : r.tracks) {
                EXPECT_EQ(t.trackNumber, 0x15010500u);
                trackBytes += t.bytes;
            }
            mixed += r.kind == MXF::Model::Region::Kind::Mixed;
        }
        EXPECT_EQ(at, bytes.size());
        EXPECT_EQ(packets, header.walk->klvs);
        EXPECT_EQ(trackBytes, pairs * element.size());
        EXPECT_EQ(mixed > 0, folded);
    }
}

// Faults in the essence that a read without the walk never meets.
TEST(MXFWalk, RefusesStructuralFaultsAnywhere) {
    const Bytes good = laidOut();
    const std::size_t essenceAt =
        good.size() - pack(Pack{}).size() - indexSegment(0, 2, {0, 117}).size() - 2 * 117;
    struct Case {
        const char* what;
        Bytes bytes;
        std::string expected;
    };
    Bytes zeroedKey = good;
    std::fill(zeroedKey.begin() + static_cast<std::ptrdiff_t>(essenceAt),
              zeroedKey.begin() + static_cast<std::ptrdiff_t>(essenceAt + 16), 0);
    Bytes huge = good;
    huge[essenceAt + 16] = 0x88;  // a length of 2^63 and more in place of 100
    const Case cases[] = {
        {"a zeroed essence key", zeroedKey, "bad-key@" + std::to_string(essenceAt)},
        {"an index entry array that lies", laidOut([](Layout& l) {
             l.extraIndex = klv(key(0x02, 0x53, 0x10, 0x01, 0x00, 0x01, 0x0d, 0x02, 0x01),
                                item(0x3f0a, Bytes(3, 0)) + Bytes{0x3f});
         }),
         "bad-local-set@" + std::to_string(good.size() + 17 + 7)},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(walkRefusal(c.bytes), c.expected) << c.what;
    }
    // The footer the header names is there after it: a wrong length, not a file cut short, and
    // the walk stops at it.
    const Bytes lying = laidOut(nullptr, [](Layout& l) {
        l.essence = key(0x01, 0x02, 0x01, 0x05, 0x00, 0x15, 0x0d, 0x03, 0x01) + Bytes{0x88} +
                    be(1ull << 63, 8);
    });
    EXPECT_EQ(walkFindings(lying), std::vector<std::string>{"length-past-end"});
    EXPECT_EQ(refusal(Bytes(good.begin(), good.begin() + essenceAt + 50)), "read");
    EXPECT_EQ(walkRefusal(good), "read");
}

TEST(MXFWalk, ChecksThePartitionChain) {
    struct Case {
        const char* what;
        std::function<void(Layout&)> change;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {"a pack not where it says",
         [](Layout& l) { l.body.thisPartition += 1; },
         {"partition-chain"}},
        {"a pack naming the wrong one before",
         [](Layout& l) { l.footer.previous = 0; },
         {"partition-chain"}},
        {"a pack naming the wrong footer",
         [](Layout& l) { l.body.footer += 16; },
         {"partition-chain"}},
        {"essence after a pack of BodySID 0",
         [](Layout& l) { l.body.bodySID = 0; },
         {"partition-chain", "index-offset"}},
        {"an index segment of another IndexSID",
         [](Layout& l) { l.footer.indexSID = 3; },
         {"partition-chain"}},
        {"a pack that names no footer", [](Layout& l) { l.body.footer = 0; }, {}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(walkFindings(laidOut(c.change)), c.expected) << c.what;
    }
}

TEST(MXFWalk, ChecksTheRandomIndexPack) {
    const Bytes good = laidOut();
    const std::uint64_t bodyAt = pack(Pack{}).size() + primer(false, kMorePrimer).size() +
                                 preface(1, 2).size() + storage(2).size();
    const std::uint64_t footerAt = bodyAt + pack(Pack{}).size() + 2 * 117;
    // Entries carry BodySID 0; the body's is 1.
    auto index = [](const std::vector<std::pair<std::uint32_t, std::uint64_t>>& entries) {
        Bytes value;
        for (const auto& [sid, offset] : entries)
            value = value + be(sid, 4) + be(offset, 8);
        const std::uint64_t length = 16 + 1 + value.size() + 4;
        return key(0x02, 0x05, 0x11, 0x01) + ber(value.size() + 4) + value + be(length, 4);
    };
    struct Case {
        const char* what;
        Bytes bytes;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {"every partition", good + index({{0, 0}, {1, bodyAt}, {0, footerAt}}), {}},
        {"one missing", good + index({{0, 0}, {1, bodyAt}}), {"random-index"}},
        {"one too many",
         good + index({{0, 0}, {1, bodyAt}, {0, footerAt}, {0, footerAt}}),
         {"random-index"}},
        {"a wrong BodySID", good + index({{0, 0}, {0, bodyAt}, {0, footerAt}}), {"random-index"}},
        {"not at the end",
         good + index({{0, 0}, {1, bodyAt}, {0, footerAt}}) + Bytes(17, 0x01),
         {}},
    };
    for (const Case& c : cases) {
        if (std::string(c.what) == "not at the end") {
            EXPECT_EQ(walkRefusal(c.bytes), "bad-key@" + std::to_string(c.bytes.size() - 17));
            continue;
        }
        EXPECT_EQ(walkFindings(c.bytes), c.expected) << c.what;
    }
    const Bytes inTheMiddle = laidOut([&](Layout& l) {
        l.extraIndex = index({{0, 0}}) + indexSegment(2, 0, {});
    });
    EXPECT_EQ(walkFindings(inTheMiddle), std::vector<std::string>{"random-index"});
}

TEST(MXFWalk, ChecksTheIndexTables) {
    struct Case {
        const char* what;
        std::function<void(Layout&)> change;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {"a second segment right after the first",
         [](Layout& l) { l.extraIndex = indexSegment(2, 3, {}); },
         {}},
        {"a gap", [](Layout& l) { l.extraIndex = indexSegment(3, 1, {}); }, {"index-coverage"}},
        {"an overlap",
         [](Layout& l) { l.extraIndex = indexSegment(1, 1, {}); },
         {"index-coverage"}},
        {"another table, where the partition has none",
         [](Layout& l) { l.extraIndex = indexSegment(7, 1, {}, 3); },
         {"partition-chain"}},
        {"an entry inside an element",
         [](Layout& l) {
             l.offsets = {0, 116};
         },
         {"index-offset"}},
        {"an entry past the essence",
         [](Layout& l) {
             l.offsets = {0, 234};
         },
         {"index-offset"}},
        {"the last byte of the essence is no key",
         [](Layout& l) {
             l.offsets = {0, 233};
         },
         {"index-offset"}},
        {"an entry array whose count lies",
         [](Layout& l) {
             l.extraIndex = klv(key(0x02, 0x53, 0x10, 0x01, 0x00, 0x01, 0x0d, 0x02, 0x01),
                                item(0x3f0c, be(2, 8)) + item(0x3f06, be(2, 4)) +
                                    item(0x3f0a, be(2, 4) + be(11, 4) + Bytes(11, 0)));
         },
         {"index-segment"}},
        {"an item of the wrong size",
         [](Layout& l) {
             l.extraIndex = klv(key(0x02, 0x53, 0x10, 0x01, 0x00, 0x01, 0x0d, 0x02, 0x01),
                                item(0x3f0c, be(2, 4)) + item(0x3f06, be(2, 4)));
         },
         {"index-segment", "index-coverage"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(walkFindings(laidOut(c.change)), c.expected) << c.what;
    }
    // Past the essence by one byte is past it, not a byte that is no key.
    const Bytes past = laidOut([](Layout& l) { l.offsets = {0, 234}; });
    const auto header = MXF::Reading::readHeaderMetadata(past.data(), past.size(), tiny(), {true});
    ASSERT_EQ(header.findings.size(), 1u);
    EXPECT_NE(header.findings[0].message.find("which no essence of that container reaches"),
              std::string::npos)
        << header.findings[0].message;
}

// A track whose descriptor names its container by an identifier a definition set of the file
// defines (a Container Definition: key byte 14 0x20), the header partition naming the label.
void definedContainer(Layout& l, std::uint8_t definitionKind) {
    const Bytes aaf = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0xff,
                       0x4b, 0x46, 0x41, 0x41, 0x00, 0x0d, 0x4d, 0x4f};
    const Bytes definitionObjectID = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                      0x01, 0x01, 0x15, 0x03, 0x00, 0x00, 0x00, 0x00};
    l.extraPrimer = be(0x1b01, 2) + definitionObjectID;
    l.extraSets = trackSet(0x15010500, aaf) +
                  klv(key(0x02, 0x53, 0x01, definitionKind, 0x00, 0x01, 0x0d, 0x01, 0x01),
                      item(0x3c0a, uid(40)) + item(0x1b01, aaf));
    l.header.containers = {kContainer};
}

// What the essence found says against the header metadata and the constant-size index tables.
TEST(MXFWalk, ChecksTheEssenceAgainstTheMetadata) {
    struct Case {
        const char* what;
        std::function<void(Layout&)> prepare;
        std::function<void(Layout&)> change;
        std::vector<std::string> expected;
    };
    const std::uint32_t kPicture = 0x15010500;  // the test essence's key, bytes 12 to 15
    const Case cases[] = {
        {"the essence's track, its container in the header partition",
         [&](Layout& l) {
             l.extraSets = trackSet(kPicture, kContainer);
             l.header.containers = {kContainer};
         },
         nullptr,
         {}},
        {"the only track and the only essence disagree on the number",
         [&](Layout& l) {
             l.extraSets = trackSet(0x16010300, kContainer);
             l.header.containers = {kContainer};
         },
         nullptr,
         {"essence-track Track Number@48.04 (warning)"}},
        {"a track without essence, and essence of no track",
         [&](Layout& l) {
             l.extraSets = trackSet(0x16010300, kContainer) + trackSet2(0x17010100);
             l.header.containers = {kContainer};
         },
         nullptr,
         {"unknown-set", "unknown-element@48.04", "essence-track Track Number@48.04",
          "essence-track Track Number@48.04", "essence-track"}},
        {"only tracks of number 0: nothing to hold the essence against",
         [&](Layout& l) {
             l.extraSets = trackSet(0, kContainer);
             l.header.containers = {kContainer};
         },
         nullptr,
         {}},
        {"a container the header partition lacks",
         [&](Layout& l) { l.extraSets = trackSet(kPicture, kContainer); },
         nullptr,
         {"essence-container Essence Container@30.04"}},
        {"a container other than the header partition's",
         [&](Layout& l) {
             l.extraSets = trackSet(kPicture, kContainer);
             Bytes other = kContainer;
             other[13] = 0x7f;
             l.header.containers = {other};
         },
         nullptr,
         {"essence-container Essence Container@30.04"}},
        {"a container that differs in its version byte only",
         [&](Layout& l) {
             l.extraSets = trackSet(kPicture, kContainer);
             Bytes other = kContainer;
             other[7] = 0x0a;
             l.header.containers = {other};
         },
         nullptr,
         {}},
        // An AAF-based writer names the container by a definition of the file's own dictionary.
        {"a container the file's own container definition names",
         [&](Layout& l) { definedContainer(l, 0x20); },
         nullptr,
         {"unknown-set", "unknown-element@1b.01"}},
        {"a container some other definition of the file names",
         [&](Layout& l) { definedContainer(l, 0x21); },
         nullptr,
         {"unknown-set", "unknown-element@1b.01", "essence-container Essence Container@30.04"}},
    };
    // The set's key and its two elements are the tiny dictionary's unknowns, in every case.
    const std::vector<std::string> unknowns = {"unknown-set", "unknown-element@48.04",
                                               "unknown-element@30.04"};
    for (const Case& c : cases) {
        std::vector<std::string> expected = unknowns;
        expected.insert(expected.end(), c.expected.begin(), c.expected.end());
        EXPECT_EQ(walkFindings(laidOut(c.change, c.prepare)), expected) << c.what;
    }
}

TEST(MXFWalk, ChecksConstantSizeIndexTables) {
    // Two frames of 117 bytes: 234 bytes of container, 100 of each value.
    auto cbr = [](std::uint32_t unit, std::int64_t duration) {
        return [=](Layout& l) {
            l.offsets = {};
            l.extraIndex = klv(key(0x02, 0x53, 0x10, 0x01, 0x00, 0x01, 0x0d, 0x02, 0x01),
                               item(0x3f0c, be(2, 8)) + item(0x3f0d, be(duration, 8)) +
                                   item(0x3f05, be(unit, 4)) + item(0x3f06, be(3, 4)) +
                                   item(0x3f07, be(1, 4)));
            l.footer.indexSID = 3;  // the table of the test, the other one out of the way
        };
    };
    struct Case {
        const char* what;
        std::function<void(Layout&)> change;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {"frames that fill the container", cbr(117, 2), {"partition-chain"}},
        {"a duration one short", cbr(117, 1), {"partition-chain", "index-byte-count"}},
        {"no duration, whole edit units", cbr(117, 0), {"partition-chain"}},
        {"no duration, a part left over", cbr(116, 0), {"partition-chain", "index-byte-count"}},
        {"a clip counted by its value",
         [&](Layout& l) {
             cbr(25, 4)(l);
             l.essence = essenceElement(100);
             l.header.footer = l.body.footer = l.footer.thisPartition = l.footer.footer =
                 l.footer.thisPartition - 117;
         },
         {"partition-chain"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(walkFindings(laidOut(c.change)), c.expected) << c.what;
    }
}

// Fill of this many bytes in all, key and length included (at least 17).
Bytes fill(std::size_t total) {
    return klv({0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02, 0x03, 0x01, 0x02, 0x10, 0x01, 0x00,
                0x00, 0x00},
               Bytes(total - 17, 0));
}

TEST(MXFWalk, ChecksKAGAlignment) {
    const Bytes metadata = primer() + preface(1, 2) + storage(2);
    auto file = [&](std::uint32_t kag, std::size_t fillSize, std::size_t fillAfter) {
        Pack header;
        header.kag = kag;
        header.headerByteCount = metadata.size() + fillAfter;  // from the primer on
        Bytes bytes = pack(header);
        if (fillSize != 0)
            bytes = bytes + fill(fillSize);
        bytes = bytes + metadata;
        if (fillAfter != 0)
            bytes = bytes + fill(fillAfter);
        return bytes + essenceElement(10);  // after fill: aligned or not
    };
    const std::size_t packSize = pack(Pack{}).size();
    const std::size_t toBoundary = 64 - packSize % 64 + (64 - packSize % 64 < 17 ? 64 : 0);
    const std::size_t afterMetadata = [&] {
        const std::size_t end = (packSize + toBoundary + metadata.size()) % 64;
        return 64 - end + (64 - end < 17 ? 64 : 0);
    }();
    struct Case {
        const char* what;
        Bytes bytes;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {"a KAG of 1: anything goes", file(1, 0, 0), {"partition-chain"}},
        {"a KAG of 0: no grid at all", file(0, 0, 0), {"partition-chain"}},
        // Writers that align the essence's bytes put the value on the grid, not the key.
        {"the value on the boundary",
         file(64, toBoundary, afterMetadata + 64 - 17),
         {"partition-chain"}},
        {"the value a byte past it",
         file(64, toBoundary, afterMetadata + 64 - 16),
         {"kag-alignment", "partition-chain"}},
        {"aligned by fill", file(64, toBoundary, afterMetadata), {"partition-chain"}},
        {"the metadata off the boundary",
         file(64, 0, afterMetadata),
         {"kag-alignment", "partition-chain"}},
        {"fill that stops short",
         file(64, toBoundary, afterMetadata - 1),
         {"kag-alignment", "partition-chain"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(walkFindings(c.bytes), c.expected) << c.what;
    }
}

// Stream offsets map into the partition whose BodyOffset they follow, across partitions.
TEST(MXFWalk, MapsStreamOffsetsThroughEveryPartition) {
    auto file = [](const std::vector<std::uint64_t>& offsets) {
        const Bytes metadata = primer(false, kMorePrimer) + preface(1, 2) + storage(2);
        const Bytes frames = essenceElement(100) + essenceElement(100);  // 234 bytes
        Pack header;
        header.headerByteCount = metadata.size();
        const std::uint64_t first = pack(header).size() + metadata.size();
        const std::uint64_t second = first + pack(Pack{}).size() + frames.size();
        const std::uint64_t footer = second + pack(Pack{}).size() + frames.size();
        header.footer = footer;
        const Pack one{0x03, first, 0, footer, 0, 0, 1, 0, {}};
        const Pack two{0x03, second, first, footer, 0, 0, 1, 234, {}};
        const Pack last{0x04, footer, second, footer, 0, 2, 0, 0, {}};
        return pack(header) + metadata + pack(one) + frames + pack(two) + frames + pack(last) +
               indexSegment(0, static_cast<std::int64_t>(offsets.size()), offsets);
    };
    EXPECT_EQ(walkFindings(file({0, 117, 234, 351})), std::vector<std::string>{});
    EXPECT_EQ(walkFindings(file({0, 117, 234, 352})), std::vector<std::string>{"index-offset"});
    EXPECT_EQ(walkFindings(file({0, 117, 468})), std::vector<std::string>{"index-offset"});
}

// What files of other writers hold that the files ffmpeg writes never do.
namespace {

const Bytes kStreamElementKey = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x0c,
                                 0x0d, 0x01, 0x05, 0x09, 0x01, 0x00, 0x00, 0x00};
const Bytes kGenericStreamIDLabel = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x0d,
                                     0x01, 0x03, 0x04, 0x08, 0x00, 0x00, 0x00, 0x00};

// A random index pack of (BodySID, offset) entries, its own length last.
Bytes randomIndexOf(const std::vector<std::pair<std::uint32_t, std::uint64_t>>& entries) {
    Bytes value;
    for (const auto& [sid, offset] : entries) {
        value = value + be(sid, 4) + be(offset, 8);
    }
    const std::uint64_t length = 16 + 1 + value.size() + 4;
    return key(0x02, 0x05, 0x11, 0x01) + ber(value.size() + 4) + value + be(length, 4);
}

// A generic stream partition of BodySID 3 and two packets between the body and the footer.
void withStream(Layout& l) {
    Pack stream;
    stream.kind = 0x03;
    stream.status = 0x11;
    stream.bodySID = 3;
    l.stream = stream;
    l.streamData = klv(kStreamElementKey, Bytes(40, 0x47)) + klv(kStreamElementKey, Bytes(8, 1));
}

// A track set holding its number and, where given, a Generic Stream ID (tag 48.05).
Bytes streamTrack(std::uint8_t self, std::uint32_t number, std::optional<std::uint32_t> sid) {
    Bytes items = item(0x3c0a, uid(self)) + item(0x4804, be(number, 4));
    if (sid) {
        items = items + item(0x4805, be(*sid, 4));
    }
    return klv(key(0x02, 0x53, 0x01, 0x3b), items);
}

}  // namespace

TEST(MXFRealFiles, ReadsGenericStreamPartitionsApartFromTheEssence) {
    Layout layout;
    const Bytes bytes = laidOut([&](Layout& l) { layout = l; }, withStream);
    const Bytes indexed = bytes + randomIndexOf({{0, 0},
                                                 {1, layout.body.thisPartition},
                                                 {3, layout.stream->thisPartition},
                                                 {0, layout.footer.thisPartition}});
    for (const bool walk : {false, true}) {
        SCOPED_TRACE(walk ? "walked" : "read");
        const MXF::Model::HeaderMetadata header =
            MXF::Reading::readHeaderMetadata(indexed.data(), indexed.size(), tiny(), {walk});
        ASSERT_EQ(header.partitions.size(), 4u);
        const MXF::Model::Partition& stream = header.partitions[2];
        EXPECT_EQ(stream.kind, MXF::Model::Partition::Kind::GenericStream);
        EXPECT_STREQ(stream.kindName(), "genericStream");
        EXPECT_EQ(stream.bodySID, 3u);
        EXPECT_EQ(stream.offset, layout.stream->thisPartition);
        EXPECT_TRUE(header.findings.empty()) << findings(header).front();
        if (walk) {
            EXPECT_EQ(header.walk->genericStreamPackets, 2u);
            EXPECT_EQ(header.walk->genericStreamBytes, 57u + 25u);
            EXPECT_EQ(header.walk->essenceElements, 2u);  // the body's, not the stream's
        }
    }
}

// A data track whose data is a generic stream of the file (by its Generic Stream ID) has no
// essence in a container, and is no fault for that.
TEST(MXFRealFiles, ATrackOfAGenericStreamNeedsNoEssence) {
    const std::uint32_t kPicture = 0x15010500;
    auto file = [&](bool stream, std::uint32_t sid) {
        return laidOut(nullptr, [&](Layout& l) {
            if (stream) {
                withStream(l);
            }
            l.extraPrimer = be(0x4805, 2) + kGenericStreamIDLabel;
            l.extraSets = streamTrack(7, 2, sid) + streamTrack(8, kPicture, std::nullopt);
        });
    };
    const std::vector<std::string> unknowns = {"unknown-set", "unknown-element@48.04",
                                               "unknown-element@48.05", "unknown-set",
                                               "unknown-element@48.04"};
    auto with = [&](std::vector<std::string> more) {
        std::vector<std::string> all = unknowns;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    EXPECT_EQ(walkFindings(file(true, 3)), with({}));
    EXPECT_EQ(walkFindings(file(true, 4)), with({"essence-track Track Number@48.04"}))
        << "a stream the file does not have";
    EXPECT_EQ(walkFindings(file(false, 3)), with({"essence-track Track Number@48.04"}))
        << "no generic stream partition at all";
}

// A file cut anywhere after its header metadata reads, the walk stopping where it ends; cut
// in its header metadata, it is refused. Each boundary of the file, and a byte either side.
TEST(MXFRealFiles, ReadsAFileCutShortAfterItsHeaderMetadata) {
    Layout layout;
    const Bytes good = laidOut([&](Layout& l) { layout = l; });
    const std::size_t metadataEnd = layout.body.thisPartition;
    const std::size_t bodyPackEnd = metadataEnd + pack(layout.body).size();
    const std::size_t footerAt = layout.footer.thisPartition;
    const std::size_t footerPackEnd = footerAt + pack(layout.footer).size();
    struct Case {
        std::size_t cut;
        std::string read;  // the findings without the walk ("refused" for a refusal)
        std::string walk;  // with it
    };
    const Case cases[] = {
        {metadataEnd - 1, "refused", "refused"},
        {metadataEnd, "truncated", "truncated"},  // nothing but the header partition
        {metadataEnd + 1, "truncated", "truncated"},
        {bodyPackEnd - 1, "truncated", "truncated"},
        {bodyPackEnd, "truncated", "truncated"},
        {bodyPackEnd + 1, "truncated", "truncated"},
        {bodyPackEnd + 116, "truncated", "truncated"},  // the first frame a byte short
        {bodyPackEnd + 117, "truncated", "truncated"},
        {bodyPackEnd + 118, "truncated", "truncated"},
        {footerAt - 1, "truncated", "truncated"},
        {footerAt, "truncated", "truncated"},
        {footerAt + 1, "footer-missing", "truncated"},  // the footer's key begun, not whole
        {footerPackEnd - 1, "truncated", "truncated"},
        {footerPackEnd, "", ""},                        // a footer with no index table is whole
        {footerPackEnd + 1, "truncated", "truncated"},  // the packet after the footer begun
    };
    auto text = [](const std::vector<std::string>& found) {
        std::string out;
        for (const std::string& f : found) {
            out += (out.empty() ? "" : " ") + f;
        }
        return out;
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("cut at " + std::to_string(c.cut));
        const Bytes bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(c.cut));
        EXPECT_EQ(refusal(bytes) == "read" ? text(findings(read(bytes))) : "refused", c.read);
        if (walkRefusal(bytes) != "read") {
            EXPECT_EQ("refused", c.walk);
            continue;
        }
        const MXF::Model::HeaderMetadata walked =
            MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), tiny(), {true});
        EXPECT_EQ(text(findings(walked)), c.walk);
        EXPECT_EQ(walked.sets.size(), 2u);
    }
}

// A whole file with bytes after its footer that are no packet: the read says so without the
// walk, which refuses the file at the first of them. Bytes that begin as a key would are a
// packet cut short instead; a file that ends in its footer is whole.
TEST(MXFRealFiles, SaysWhereAFileRunsOnPastItsFooter) {
    Layout layout;
    const Bytes good = laidOut([&](Layout& l) { layout = l; });
    const std::size_t end = good.size();
    struct Case {
        const char* what;
        Bytes after;
        std::string read;
        std::string walk;
    };
    // The walk: refused at bytes that cannot be a key; fewer than a key's are a file cut short.
    const std::string cutShort = "truncated";
    const Case cases[] = {
        {"nothing", {}, "", ""},
        {"zeros", Bytes(1000, 0), "trailing-bytes", "refused bad-key@" + std::to_string(end)},
        {"one zero", Bytes(1, 0), "trailing-bytes", cutShort},
        {"text", Bytes{'g', 'a', 'r', 'b', 'a', 'g', 'e'}, "trailing-bytes", cutShort},
        {"a key begun", Bytes{0x06, 0x0e, 0x2b, 0x34, 0x02}, "truncated", cutShort},
        {"a key's first byte", Bytes{0x06}, "truncated", cutShort},
        {"a key's first byte wrong", Bytes{0x07}, "trailing-bytes", cutShort},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Bytes bytes = good;
        bytes.insert(bytes.end(), c.after.begin(), c.after.end());
        const MXF::Model::HeaderMetadata header = read(bytes);
        const std::vector<std::string> found = findings(header);
        EXPECT_EQ(found.empty() ? "" : found.front(), c.read);
        if (!header.findings.empty()) {
            EXPECT_EQ(header.findings.front().severity, MXF::Model::Severity::Error);
            EXPECT_EQ(*header.findings.front().setOffset,
                      c.read == "truncated" ? bytes.size() : end);
        }
        const std::vector<std::string> walked = walkFindings(bytes);
        EXPECT_EQ(walked.empty() ? "" : walked.front(), c.walk);
    }
}

// Clip wrapping by the container's label: the entries land inside the clip (its key or its
// value), in order; frame wrapping: on an element's key.
TEST(MXFRealFiles, IndexesClipWrappedEssenceInsideTheClip) {
    const Bytes clipLabel = {0x06, 0x0e, 0x2b, 0x34, 0x04, 0x01, 0x01, 0x02,
                             0x0d, 0x01, 0x03, 0x01, 0x02, 0x04, 0x60, 0x02};
    auto clip = [&](std::vector<std::uint64_t> offsets) {
        return laidOut(nullptr, [&](Layout& l) {
            l.header.containers = {clipLabel};
            l.essence = essenceElement(100);  // key and length 17 bytes, value to 117
            l.offsets = offsets;
        });
    };
    struct Case {
        const char* what;
        std::vector<std::uint64_t> offsets;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {"from the value's first byte to its last", {17, 60, 116}, {}},
        {"the first at the clip's key", {0, 17, 60}, {}},
        {"one past the value's end", {17, 117}, {"index-offset"}},
        {"out of order", {17, 60, 59}, {"index-offset"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(walkFindings(clip(c.offsets)), c.expected) << c.what;
    }
    // The same label frame wrapped: an entry inside an element's value is off.
    const Bytes frameLabel = [&] {
        Bytes label = clipLabel;
        label[15] = 0x01;
        return label;
    }();
    EXPECT_EQ(walkFindings(laidOut(nullptr,
                                   [&](Layout& l) {
                                       l.header.containers = {frameLabel};
                                       l.offsets = {0, 17};
                                   })),
              std::vector<std::string>{"index-offset"});
}

// An encrypted triplet carries its plaintext key, whose track number is the track's; the
// partitions name the encrypted container, the descriptor the plaintext one.
TEST(MXFRealFiles, CountsEncryptedTripletsAsEssenceOfTheirTrack) {
    const Bytes tripletKey = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x04, 0x01, 0x07,
                              0x0d, 0x01, 0x03, 0x01, 0x02, 0x7e, 0x01, 0x00};
    const Bytes encryptedLabel = {0x06, 0x0e, 0x2b, 0x34, 0x04, 0x01, 0x01, 0x07,
                                  0x0d, 0x01, 0x03, 0x01, 0x02, 0x0b, 0x01, 0x00};
    const Bytes plaintextKey = key(0x01, 0x02, 0x01, 0x05, 0x00, 0x15, 0x0d, 0x03, 0x01);
    auto triplet = [&](const Bytes& source) {
        return klv(tripletKey, ber(16) + uid(9) + ber(8) + be(0, 8) + ber(16) + source + ber(8) +
                                   be(100, 8) + ber(32) + Bytes(32, 0xee));
    };
    const std::uint32_t kPicture = 0x15010500;  // the plaintext key's bytes 12 to 15
    auto file = [&](const Bytes& source, bool labelled) {
        return laidOut(nullptr, [&](Layout& l) {
            l.essence = triplet(source) + triplet(source);
            if (labelled) {
                l.header.containers = {encryptedLabel};
            }
            l.offsets = {0, triplet(source).size()};
            l.extraSets = trackSet(kPicture, kContainer);
        });
    };
    const std::vector<std::string> unknowns = {"unknown-set", "unknown-element@48.04",
                                               "unknown-element@30.04"};
    const Bytes good = file(plaintextKey, true);
    const MXF::Model::HeaderMetadata header =
        MXF::Reading::readHeaderMetadata(good.data(), good.size(), tiny(), {true});
    EXPECT_EQ(findings(header), unknowns);
    EXPECT_EQ(header.walk->encryptedElements, 2u);
    EXPECT_EQ(header.walk->essenceTrackNumbers, std::vector<std::uint32_t>{kPicture});
    // Another track's plaintext: a track without essence, and essence of no track.
    Bytes other = plaintextKey;
    other[15] = 0x02;
    std::vector<std::string> expected = unknowns;
    expected.push_back("essence-track Track Number@48.04 (warning)");
    EXPECT_EQ(walkFindings(file(other, true)), expected);
}

// A file's own metadictionary names and types what the dictionary lacks.
TEST(MXFRealFiles, NamesWhatTheFilesMetadictionaryDefines) {
    // The meta definitions' items: 06.0e.2b.34.01.01.01.02.B8.B9.B10.B11.B12.00.00.00.
    auto element = [](std::uint8_t b8, std::uint8_t b9, std::uint8_t b10, std::uint8_t b11,
                      std::uint8_t b12) {
        return Bytes{0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                     b8,   b9,   b10,  b11,  b12,  0x00, 0x00, 0x00};
    };
    const Bytes identification = element(0x06, 0x01, 0x01, 0x07, 0x13);
    Bytes nameLabel = element(0x03, 0x02, 0x04, 0x01, 0x02);
    nameLabel[13] = 0x01;
    const Bytes propertyType = element(0x06, 0x01, 0x01, 0x07, 0x04);
    const Bytes localIdentification = element(0x06, 0x01, 0x01, 0x07, 0x05);
    const Bytes sizeLabel = element(0x03, 0x01, 0x02, 0x03, 0x01);
    const Bytes signedLabel = element(0x03, 0x01, 0x02, 0x03, 0x02);
    const Bytes utf16String = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x04, 0x01, 0x01,
                               0x01, 0x10, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00};
    // A private class, two private properties and a private type, AUIDs as Avid writes them.
    const Bytes projectName = uid(0xa1), trim = uid(0xa2), int16 = uid(0xa3), clipClass = uid(0x80);
    auto text = [](const std::string& ascii) {
        Bytes out;
        for (char c : ascii) {
            out = out + Bytes{0, static_cast<std::uint8_t>(c)};
        }
        return out;
    };
    // Meta definitions: 06.0e.2b.34.02.53.01.01.0d.01.01.01.02.KIND.00.00.
    auto meta = [](std::uint8_t kind) {
        return key(0x02, 0x53, kind, 0x00, 0x00, 0x02, 0x0d, 0x01, 0x01);
    };
    const Bytes definition = meta(0x02), classKey = meta(0x01), integerKey = meta(0x04);
    const Bytes entries = be(0x3c0a, 2) + kInstanceUIDLabel + be(0x0005, 2) + identification +
                          be(0x0006, 2) + nameLabel + be(0x000b, 2) + propertyType + be(0x000d, 2) +
                          localIdentification + be(0x000f, 2) + sizeLabel + be(0x0010, 2) +
                          signedLabel + be(0xffff, 2) + projectName;
    const Bytes metaSets =
        klv(definition, item(0x0005, projectName) + item(0x0006, text("ProjectName")) +
                            item(0x000b, utf16String)) +
        klv(definition, item(0x0005, trim) + item(0x0006, text("Trim")) + item(0x000b, int16) +
                            item(0x000d, be(0xfe00, 2))) +
        klv(integerKey, item(0x0005, int16) + item(0x0006, text("Int16")) + item(0x000f, {2}) +
                            item(0x0010, {1})) +
        klv(classKey, item(0x0005, clipClass) + item(0x0006, text("ClipInfo")));
    // The class's set, keyed by its AUID, and an item of each property: one by the primer, one
    // by the tag its property definition gives.
    const Bytes clipSet = klv(clipClass, item(0x3c0a, uid(5)) + item(0xffff, text("Reel 1")) +
                                             item(0xfe00, be(0xfffe, 2)));
    const Bytes metadata =
        klv(key(0x02, 0x05, 0x05, 0x01), be(entries.size() / 18, 4) + be(18, 4) + entries) +
        metaSets + clipSet;
    const Bytes bytes = partition(metadata.size()) + metadata;
    const MXF::Model::HeaderMetadata header =
        MXF::Reading::readHeaderMetadata(bytes.data(), bytes.size(), registers());
    const MXF::Model::LocalSet* clip = nullptr;
    for (const MXF::Model::LocalSet& set : header.sets) {
        clip =
            set.key == MXF::Model::Bytes16{} || Bytes(set.key.begin(), set.key.end()) != clipClass
                ? clip
                : &set;
    }
    ASSERT_NE(clip, nullptr);
    EXPECT_EQ(clip->name(), "ClipInfo");
    ASSERT_TRUE(clip->fileDefinition.has_value());
    ASSERT_EQ(clip->items.size(), 3u);
    const MXF::Model::Item& name = clip->items[1];
    ASSERT_TRUE(name.fileDefinition.has_value());
    EXPECT_EQ(name.name(), "ProjectName");
    EXPECT_EQ(name.fileDefinition->type, "UTF16String");
    ASSERT_TRUE(name.value.has_value());
    EXPECT_EQ(name.value->toJson(), "\"Reel 1\"");
    const MXF::Model::Item& trimmed = clip->items[2];
    ASSERT_TRUE(trimmed.fileDefinition.has_value());
    EXPECT_EQ(trimmed.name(), "Trim");
    EXPECT_EQ(trimmed.fileDefinition->type, "Int16");
    ASSERT_TRUE(trimmed.value.has_value());
    EXPECT_EQ(trimmed.value->toJson(), "-2");
    // What the file defines is only unknown to the dictionary: info, every one.
    std::vector<std::string> clipFindings;
    for (const MXF::Model::Finding& f : header.findings) {
        if (f.setOffset == clip->offset) {
            clipFindings.push_back(f.rule + " " + MXF::Model::severityName(f.severity));
        }
    }
    EXPECT_EQ(clipFindings, (std::vector<std::string>{"unknown-set info", "unknown-element info",
                                                      "unknown-tag info", "unknown-element info"}));
    std::ostringstream json;
    MXF::Report::writeJson(json, "clip.mxf", header, MXF::Report::JsonLayout::OneLine);
    EXPECT_NE(json.str().find("\"name\": \"ClipInfo\", \"definedBy\": \"file\""),
              std::string::npos);
    EXPECT_NE(json.str().find("\"name\": \"Trim\", \"type\": \"Int16\", \"subType\": null, "
                              "\"definedBy\": \"file\""),
              std::string::npos);
}

// Each rule's severity, and a milder one only where the reader gives it.
TEST(MXFRealFiles, EachRuleHasItsSeverity) {
    const std::pair<const char*, MXF::Model::Severity> table[] = {
        {"truncated", MXF::Model::Severity::Error},
        {"partition-chain", MXF::Model::Severity::Error},
        {"random-index", MXF::Model::Severity::Error},
        {"dangling-reference", MXF::Model::Severity::Error},
        {"wrong-target", MXF::Model::Severity::Error},
        {"bad-size", MXF::Model::Severity::Error},
        {"essence-track", MXF::Model::Severity::Error},
        {"index-offset", MXF::Model::Severity::Error},
        {"length-past-end", MXF::Model::Severity::Error},
        {"required-missing", MXF::Model::Severity::Warning},
        {"non-conformant-key", MXF::Model::Severity::Warning},
        {"kag-alignment", MXF::Model::Severity::Warning},
        {"essence-container", MXF::Model::Severity::Warning},
        {"unknown-tag", MXF::Model::Severity::Warning},
        {"invalid-text", MXF::Model::Severity::Warning},
        {"unknown-enumeration-value", MXF::Model::Severity::Warning},
        {"not-an-attribute", MXF::Model::Severity::Warning},
        {"unknown-set", MXF::Model::Severity::Info},
        {"unknown-element", MXF::Model::Severity::Info},
        {"a rule of no name", MXF::Model::Severity::Error},
    };
    for (const auto& [rule, severity] : table) {
        EXPECT_EQ(MXF::Checking::ruleSeverity(rule), severity) << rule;
    }
    EXPECT_STREQ(MXF::Model::severityName(MXF::Model::Severity::Warning), "warning");
}
