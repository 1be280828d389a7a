// The MXF reader on files built by hand, byte by byte: a group of cases per refusal rule and per
// finding, through the installed interface only.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

using namespace Velmar;
using Bytes = std::vector<std::uint8_t>;

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

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes be(std::uint64_t value, int size) {
    Bytes out;
    for (int i = size - 1; i >= 0; --i) {
        out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    return out;
}

Bytes key(std::uint8_t b4, std::uint8_t b5, std::uint8_t b13, std::uint8_t b14,
          std::uint8_t b15 = 0, std::uint8_t b12 = 0x01, std::uint8_t b8 = 0x0d,
          std::uint8_t b10 = 0x02, std::uint8_t b11 = 0x01) {
    return {0x06, 0x0e, 0x2b, 0x34, b4, b5, 0x01, 0x01, b8, 0x01, b10, b11, b12, b13, b14, b15};
}

Bytes ber(std::uint64_t length) {
    return length < 0x80 ? Bytes{static_cast<std::uint8_t>(length)} : Bytes{0x88} + be(length, 8);
}

Bytes klv(const Bytes& k, const Bytes& value) {
    return k + ber(value.size()) + value;
}

Bytes partition(std::uint64_t headerByteCount, std::uint64_t footer = 0, std::uint8_t kind = 0x02,
                Bytes batch = be(0, 4) + be(16, 4), std::uint8_t status = 0x04) {
    const Bytes value = be(1, 2) + be(3, 2) + be(1, 4) + be(0, 8) + be(0, 8) + be(footer, 8) +
                        be(headerByteCount, 8) + be(0, 8) + be(0, 4) + be(0, 8) + be(0, 4) +
                        Bytes(16, 0x06) + batch;
    return klv(key(0x02, 0x05, kind, status), value);
}

const Bytes kInstanceUIDLabel = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01,
                                 0x01, 0x01, 0x15, 0x02, 0x00, 0x00, 0x00, 0x00};
Bytes label(std::uint8_t n) {
    return {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01, 0x0f, 0, 0, 0, 0, 0, n, 0};
}

Bytes primer(bool twice = false) {
    Bytes entries = be(0x3c0a, 2) + kInstanceUIDLabel + be(0x3b03, 2) + label(2) + be(0x3b07, 2) +
                    label(1) + be(0x1901, 2) + label(3) + be(0x7777, 2) + label(9);
    std::uint32_t count = 5;
    if (twice) {
        entries = entries + be(0x3b07, 2) + label(1);
        ++count;
    }
    return klv(key(0x02, 0x05, 0x05, 0x01), be(count, 4) + be(18, 4) + entries);
}

Bytes uid(std::uint8_t n) {
    Bytes id(16, 0xab);
    id[15] = n;
    return id;
}

Bytes item(std::uint16_t tag, const Bytes& value) {
    return be(tag, 2) + be(value.size(), 2) + value;
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

MXF::HeaderMetadata read(const Bytes& bytes) {
    return MXF::readHeaderMetadata(bytes.data(), bytes.size(), tiny());
}

std::string refusal(const Bytes& bytes) {
    try {
        read(bytes);
    } catch (const MXF::FileRefused& e) {
        return std::string(e.rule()) + "@" + std::to_string(e.offset());
    }
    return "read";
}

// Each finding as "rule Set Item@tag", the parts it has.
std::vector<std::string> findings(const MXF::HeaderMetadata& header) {
    std::vector<std::string> out;
    for (const MXF::Finding& f : header.findings) {
        char tag[8] = "";
        if (f.tag) {
            std::snprintf(tag, sizeof tag, "@%02x.%02x", *f.tag >> 8, *f.tag & 0xff);
        }
        out.push_back(f.rule + (f.setName.empty() ? "" : " " + f.setName) +
                      (f.itemName.empty() ? "" : " " + f.itemName) + tag);
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
    const MXF::HeaderMetadata header =
        read(Bytes(100, 0) + file(storage(3) + storage(2, 3) + preface(1, 2)));
    EXPECT_EQ(header.runIn, 100u);
    ASSERT_EQ(header.partitions.size(), 1u);
    EXPECT_EQ(header.partitions[0].statusName(), "closed complete");
    EXPECT_EQ(header.primer.entries.size(), 5u);
    ASSERT_EQ(header.sets.size(), 3u);
    EXPECT_EQ(header.sets[0].name(), "Preface");
    EXPECT_EQ(header.sets[1].depth, 1u);
    EXPECT_EQ(header.sets[2].depth, 2u);
    EXPECT_EQ(MXF::uuidText(*header.sets[2].parent), MXF::uuidText(*header.sets[1].instanceUID));
    EXPECT_EQ(header.sets[0].items[1].value->asText(), "abababab-abab-abab-abab-ababababab02");
    EXPECT_TRUE(header.findings.empty()) << findings(header).front();
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
        {"a set past the header metadata",
         partition(primer().size() + 24) + primer() + klv(key(0x02, 0x53, 0x01, 0x18), Bytes(8, 0)),
         "bad-local-set@" + std::to_string(primerAt + primer().size())},
        {"a bad key in the metadata", partition(primer().size() + 17) + primer() + Bytes(17, 0x01),
         "bad-key@" + std::to_string(primerAt + primer().size())},
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
        {"a sound file whose index names no partition", good + lyingIndex,
         "bad-partition@" + std::to_string(good.size() + lyingIndex.size())},
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
    const MXF::HeaderMetadata header = read(good + randomIndex({0}));
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
    const MXF::HeaderMetadata header = read(bytes);
    ASSERT_EQ(header.partitions.size(), 2u);
    EXPECT_EQ(header.primer.partitionOffset, footerAt);
    ASSERT_EQ(header.sets.size(), 2u);
    EXPECT_GT(header.sets[1].offset, footerAt);
    EXPECT_TRUE(header.findings.empty()) << findings(header).front();
    // Alone, the open partition's metadata is read, with what is wrong with it.
    const MXF::HeaderMetadata open =
        read(partition(openMetadata.size(), 0, 0x02, noBatch, 0x01) + openMetadata);
    EXPECT_EQ(findings(open), (std::vector<std::string>{
                                  "unknown-set", "dangling-reference Preface Content@3b.03"}));
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
        {"a reference to a set of an unknown key",
         file(preface(1, 9) + unknownSet),
         {"unknown-set", "wrong-target Preface Content@3b.03"}},
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
        {"a footer that is not there", file(preface(1, 2) + storage(2), 4000), {"footer-missing"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(findings(read(c.bytes)), c.expected) << c.what;
    }
}
