// The walk: every KLV of the file stepped over by its length, reading keys and lengths, partition
// packs and index table segments, never essence. Structure that cannot be stepped over is
// refused as anywhere else; what the packets say of each other is checked and reported.
#include "FileWalk.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <tuple>

#include "KLV.h"

namespace Velmar::MXF {

namespace {

constexpr std::uint64_t kMaxIndexSegment = 16 << 20;

[[noreturn]] void refuse(const char* rule, std::uint64_t offset, const std::string& message,
                         int line = __builtin_LINE()) {
    throw FileRefused(rule, offset, message, __FILE__, line);
}

// A run of one essence container in one partition: where it lies in the file and where it
// begins in the container's stream (the partition's BodyOffset).
struct EssenceRun {
    std::uint32_t bodySID = 0;
    std::uint64_t streamStart = 0;
    std::uint64_t fileStart = 0;
    std::uint64_t fileEnd = 0;  // fill after its last element included
    std::uint64_t elements = 0;
    std::uint64_t firstValueLength = 0;
};

class Walker {
  public:
    Walker(ByteSource& source, HeaderMetadata& result) : source_(source), result_(result) {}

    void walk() {
        Walk walk;
        std::uint64_t at = result_.runIn;
        while (at < source_.size()) {
            const KLVHeader header = readKLVHeader(source_, at);
            ++walk.klvs;
            checkAlignment(header);
            const bool fillInEssence = inEssence_ && isFillKey(header.key);
            inEssence_ = false;
            if (fillInEssence) {
                runs_.back().fileEnd = header.end();  // fill belongs to the container's stream
                inEssence_ = true;
            } else if (isPartitionKey(header.key)) {
                packs_.push_back(readPartitionPack(source_, at));
                open_ = false;
            } else if (isRandomIndexKey(header.key)) {
                if (header.end() != source_.size()) {
                    find("random-index", at, "a random index pack that does not end the file");
                } else {
                    result_.randomIndex = readRandomIndexPack(source_, header);
                }
            } else if (isIndexSegmentKey(header.key)) {
                walk.indexSegments.push_back(readIndexSegment(header));
                checkIndexSegmentPlace(walk.indexSegments.back());
            } else if (isEssenceKey(header.key)) {
                ++walk.essenceElements;
                walk.essenceBytes += header.end() - header.offset;
                essence(header);
                if (header.key[4] == 0x01 && header.key[5] == 0x02) {  // not a system item
                    tracks_.insert(
                        static_cast<std::uint32_t>(bigEndian(header.key.data() + 12, 4)));
                }
            }
            at = header.end();
        }
        result_.partitions = packs_;
        checkPartitionChain();
        checkRandomIndex();
        checkIndexCoverage(walk.indexSegments);
        checkIndexEntries(walk.indexSegments);
        checkConstantSizes(walk.indexSegments);
        walk.essenceTrackNumbers.assign(tracks_.begin(), tracks_.end());
        result_.walk = std::move(walk);
    }

  private:
    void find(const char* rule, std::uint64_t offset, std::string message) {
        result_.findings.push_back({rule, offset, "", std::nullopt, "", std::move(message)});
    }

    std::uint64_t relative(std::uint64_t offset) const { return offset - result_.runIn; }

    void essence(const KLVHeader& header) {
        if (packs_.empty()) {
            return;  // before the header partition: not reached, the walk starts there
        }
        const Partition& pack = packs_.back();
        if (!open_) {
            open_ = true;
            if (pack.bodySID == 0) {
                find("partition-chain", pack.offset,
                     "essence follows the partition pack at " + std::to_string(pack.offset) +
                         ", whose BodySID is 0");
            }
            runs_.push_back(
                {pack.bodySID, pack.bodyOffset, header.offset, header.end(), 0, header.length});
        }
        runs_.back().fileEnd = header.end();
        ++runs_.back().elements;
        inEssence_ = true;
    }

    // Where the KAG is more than a byte, what follows a partition pack or fill starts on a
    // KAG boundary counted from the pack: fill is there to get it there. Once per partition.
    void checkAlignment(const KLVHeader& header) {
        const bool fill = isFillKey(header.key);
        const bool pack = isPartitionKey(header.key);
        if (!packs_.empty() && (afterPack_ || afterFill_) && !fill && !pack &&
            !isRandomIndexKey(header.key) && !misaligned_) {
            const Partition& partition = packs_.back();
            const std::uint64_t kag = partition.kagSize;
            if (kag > 1 && (header.offset - partition.offset) % kag != 0) {
                misaligned_ = true;
                find("kag-alignment", header.offset,
                     "the packet after " + std::string(afterPack_ ? "the partition pack" : "fill") +
                         " starts " + std::to_string((header.offset - partition.offset) % kag) +
                         " bytes past a boundary of the partition's KAG of " + std::to_string(kag));
            }
        }
        afterFill_ = fill;
        if (pack) {
            afterPack_ = true;
            misaligned_ = false;
        } else if (!fill) {
            afterPack_ = false;
        }
    }

    IndexSegment readIndexSegment(const KLVHeader& header) {
        const std::vector<std::uint8_t> v =
            readValue(source_, header, kMaxIndexSegment, "bad-local-set", "an index table segment");
        IndexSegment segment;
        segment.offset = header.offset;
        for (std::size_t at = 0; at < v.size();) {
            if (v.size() - at < 4) {
                refuse("bad-local-set", header.valueOffset + at, "an item past its segment");
            }
            const auto tag = static_cast<std::uint16_t>(bigEndian(v.data() + at, 2));
            const std::size_t length = static_cast<std::size_t>(bigEndian(v.data() + at + 2, 2));
            if (length > v.size() - at - 4) {
                refuse("bad-local-set", header.valueOffset + at,
                       "an item of " + std::to_string(length) + " bytes past its segment");
            }
            readIndexItem(segment, tag, v.data() + at + 4, length, header.valueOffset + at);
            at += 4 + length;
        }
        return segment;
    }

    void readIndexItem(IndexSegment& segment, std::uint16_t tag, const std::uint8_t* b,
                       std::size_t length, std::uint64_t offset) {
        auto number = [&](std::size_t size) -> std::optional<std::uint64_t> {
            if (length != size) {
                const std::uint8_t tagBytes[2] = {static_cast<std::uint8_t>(tag >> 8),
                                                  static_cast<std::uint8_t>(tag & 0xff)};
                find("index-segment", offset,
                     "item " + dottedHex(tagBytes, 2) + " of " + std::to_string(length) +
                         " bytes, where " + std::to_string(size) + " were due");
                return std::nullopt;
            }
            return bigEndian(b, size);
        };
        switch (tag) {
            case 0x3f0b:
                if (const auto rate = number(8)) {
                    segment.editRateNumerator = static_cast<std::int32_t>(*rate >> 32);
                    segment.editRateDenominator = static_cast<std::int32_t>(*rate & 0xffffffff);
                }
                break;
            case 0x3f0c:
                if (const auto start = number(8)) {
                    segment.startPosition = static_cast<std::int64_t>(*start);
                }
                break;
            case 0x3f0d:
                if (const auto duration = number(8)) {
                    segment.duration = static_cast<std::int64_t>(*duration);
                }
                break;
            case 0x3f05:
                if (const auto count = number(4)) {
                    segment.editUnitByteCount = static_cast<std::uint32_t>(*count);
                }
                break;
            case 0x3f06:
                if (const auto sid = number(4)) {
                    segment.indexSID = static_cast<std::uint32_t>(*sid);
                }
                break;
            case 0x3f07:
                if (const auto sid = number(4)) {
                    segment.bodySID = static_cast<std::uint32_t>(*sid);
                }
                break;
            case 0x3f08:
                if (const auto count = number(1)) {
                    segment.sliceCount = static_cast<std::uint8_t>(*count);
                }
                break;
            case 0x3f0e:
                if (const auto count = number(1)) {
                    segment.posTableCount = static_cast<std::uint8_t>(*count);
                }
                break;
            case 0x3f09:
                readDeltaEntries(segment, b, length, offset);
                break;
            case 0x3f0a:
                readIndexEntries(segment, b, length, offset);
                break;
            default:
                break;  // InstanceUID and later additions
        }
    }

    // A batch's count and item size, checked against the bytes there; nothing when they lie.
    std::optional<std::size_t> batch(const std::uint8_t* b, std::size_t length, std::size_t least,
                                     std::uint64_t offset, const char* what,
                                     std::size_t& itemSize) {
        if (length < 8) {
            find("index-segment", offset, std::string(what) + " shorter than its batch header");
            return std::nullopt;
        }
        const std::uint64_t count = bigEndian(b, 4);
        itemSize = static_cast<std::size_t>(bigEndian(b + 4, 4));
        if (itemSize < least || (length - 8) % itemSize != 0 || (length - 8) / itemSize != count) {
            find("index-segment", offset,
                 std::string(what) + ": " + std::to_string(count) + " entries of " +
                     std::to_string(itemSize) + " bytes in " + std::to_string(length - 8) +
                     " bytes");
            return std::nullopt;
        }
        return static_cast<std::size_t>(count);
    }

    void readDeltaEntries(IndexSegment& segment, const std::uint8_t* b, std::size_t length,
                          std::uint64_t offset) {
        std::size_t size = 0;
        const auto count = batch(b, length, 6, offset, "a delta entry array", size);
        for (std::size_t i = 0; count && i < *count; ++i) {
            const std::uint8_t* e = b + 8 + i * size;
            segment.deltaEntries.push_back({static_cast<std::int8_t>(e[0]), e[1],
                                            static_cast<std::uint32_t>(bigEndian(e + 2, 4))});
        }
    }

    void readIndexEntries(IndexSegment& segment, const std::uint8_t* b, std::size_t length,
                          std::uint64_t offset) {
        std::size_t size = 0;
        const auto count = batch(b, length, 11, offset, "an index entry array", size);
        for (std::size_t i = 0; count && i < *count; ++i) {
            const std::uint8_t* e = b + 8 + i * size;
            segment.entries.push_back({static_cast<std::int8_t>(e[0]),
                                       static_cast<std::int8_t>(e[1]), e[2], bigEndian(e + 3, 8)});
        }
    }

    void checkIndexSegmentPlace(const IndexSegment& segment) {
        if (packs_.empty()) {
            return;
        }
        const Partition& pack = packs_.back();
        if (pack.indexSID == 0 || pack.indexSID != segment.indexSID) {
            find("partition-chain", segment.offset,
                 "an index table segment of IndexSID " + std::to_string(segment.indexSID) +
                     " in the partition at " + std::to_string(pack.offset) +
                     ", whose IndexSID is " + std::to_string(pack.indexSID));
        }
    }

    // Each pack where it says it stands, after the one it names, naming the footer there is.
    void checkPartitionChain() {
        std::uint64_t footer = 0;
        for (const Partition& pack : packs_) {
            if (pack.kind == Partition::Kind::Footer) {
                footer = relative(pack.offset);
            }
        }
        for (std::size_t i = 0; i < packs_.size(); ++i) {
            const Partition& pack = packs_[i];
            const std::uint64_t here = relative(pack.offset);
            const std::uint64_t before = i == 0 ? 0 : relative(packs_[i - 1].offset);
            if (pack.thisPartition != here) {
                find("partition-chain", pack.offset,
                     "ThisPartition is " + std::to_string(pack.thisPartition) +
                         " where the pack stands at " + std::to_string(here));
            }
            if (pack.previousPartition != before) {
                find("partition-chain", pack.offset,
                     "PreviousPartition is " + std::to_string(pack.previousPartition) +
                         " where the pack before stands at " + std::to_string(before));
            }
            if (footer != 0 && pack.footerPartition != 0 && pack.footerPartition != footer) {
                find("partition-chain", pack.offset,
                     "FooterPartition is " + std::to_string(pack.footerPartition) +
                         " where the footer stands at " + std::to_string(footer));
            }
        }
    }

    // The random index pack lists every partition found, in order, with its BodySID.
    void checkRandomIndex() {
        if (!result_.randomIndex) {
            return;
        }
        const auto& entries = *result_.randomIndex;
        for (std::size_t i = 0; i < std::max(entries.size(), packs_.size()); ++i) {
            if (i >= entries.size() || i >= packs_.size() ||
                entries[i].byteOffset != relative(packs_[i].offset) ||
                entries[i].bodySID != packs_[i].bodySID) {
                find("random-index", i < packs_.size() ? packs_[i].offset : result_.fileSize,
                     "entry " + std::to_string(i) + " of the random index pack " +
                         (i >= entries.size() ? "is missing for the partition at " +
                                                    std::to_string(relative(packs_[i].offset))
                          : i >= packs_.size()
                              ? "names a partition at " + std::to_string(entries[i].byteOffset) +
                                    " that the walk did not find"
                              : "says BodySID " + std::to_string(entries[i].bodySID) + " at " +
                                    std::to_string(entries[i].byteOffset) +
                                    " where the partition is at " +
                                    std::to_string(relative(packs_[i].offset)) + " of BodySID " +
                                    std::to_string(packs_[i].bodySID)));
                return;  // the first difference says it
            }
        }
    }

    // The segments of an index table follow each other without gap or overlap.
    void checkIndexCoverage(const std::vector<IndexSegment>& segments) {
        std::map<std::uint32_t, std::vector<const IndexSegment*>> tables;
        for (const IndexSegment& segment : segments) {
            tables[segment.indexSID].push_back(&segment);
        }
        for (auto& [sid, table] : tables) {
            std::stable_sort(table.begin(), table.end(),
                             [](const IndexSegment* a, const IndexSegment* b) {
                                 return a->startPosition < b->startPosition;
                             });
            for (std::size_t i = 1; i < table.size(); ++i) {
                const IndexSegment& before = *table[i - 1];
                const IndexSegment& segment = *table[i];
                const std::int64_t expected = before.startPosition + before.duration;
                if (segment.startPosition != expected) {
                    find("index-coverage", segment.offset,
                         std::string("the segment starts at edit unit ") +
                             std::to_string(segment.startPosition) + ", where the one before (at " +
                             std::to_string(before.offset) + ") ends at " +
                             std::to_string(expected) +
                             (segment.startPosition > expected ? ": a gap" : ": an overlap"));
                }
            }
        }
    }

    // The file offset of a stream offset in an essence container, where the walk found it: by
    // halving among the container's runs, sorted once, so that a file of many partitions and
    // long index tables costs their sizes' product in no step.
    std::optional<std::uint64_t> fileOffset(std::uint32_t bodySID, std::uint64_t stream) {
        if (byStream_.empty() && !runs_.empty()) {
            byStream_ = runs_;
            std::sort(
                byStream_.begin(), byStream_.end(), [](const EssenceRun& a, const EssenceRun& b) {
                    return std::tie(a.bodySID, a.streamStart) < std::tie(b.bodySID, b.streamStart);
                });
        }
        // The last run of this container starting at or before the stream offset.
        auto after = std::upper_bound(
            byStream_.begin(), byStream_.end(), std::make_pair(bodySID, stream),
            [](const std::pair<std::uint32_t, std::uint64_t>& key, const EssenceRun& run) {
                return key < std::make_pair(run.bodySID, run.streamStart);
            });
        if (after == byStream_.begin()) {
            return std::nullopt;
        }
        const EssenceRun& run = *std::prev(after);
        if (run.bodySID == bodySID && stream - run.streamStart < run.fileEnd - run.fileStart) {
            return run.fileStart + (stream - run.streamStart);
        }
        return std::nullopt;
    }

    // Each entry's stream offset lands on the key of an essence element of its container.
    void checkIndexEntries(const std::vector<IndexSegment>& segments) {
        for (const IndexSegment& segment : segments) {
            for (std::size_t i = 0; i < segment.entries.size(); ++i) {
                const std::uint64_t stream = segment.entries[i].streamOffset;
                const auto at = fileOffset(segment.bodySID, stream);
                Bytes16 key{};
                if (!at || source_.size() - *at < 16 || !source_.read(*at, key.data(), 16) ||
                    !isEssenceKey(key)) {
                    find("index-offset", segment.offset,
                         "entry " + std::to_string(i) + " gives stream offset " +
                             std::to_string(stream) + " of BodySID " +
                             std::to_string(segment.bodySID) +
                             (at ? ", where no essence element starts (file offset " +
                                       std::to_string(*at) + ")"
                                 : ", which no essence of that container reaches"));
                    break;  // one per segment: the rest are likely off alike
                }
            }
        }
    }

    // A table of constant-size edit units: its essence holds whole edit units, as many as its
    // segments' durations say where they say any. A clip (one element) is counted by its
    // value, frames by the container's bytes, fill included.
    void checkConstantSizes(const std::vector<IndexSegment>& segments) {
        std::map<std::uint32_t, std::vector<const IndexSegment*>> tables;
        for (const IndexSegment& segment : segments) {
            if (segment.editUnitByteCount != 0) {
                tables[segment.indexSID].push_back(&segment);
            }
        }
        for (const auto& [sid, table] : tables) {
            const IndexSegment& first = *table.front();
            std::uint64_t bytes = 0;
            std::uint64_t elements = 0;
            std::uint64_t clip = 0;
            for (const EssenceRun& run : runs_) {
                if (run.bodySID == first.bodySID) {
                    bytes += run.fileEnd - run.fileStart;
                    elements += run.elements;
                    clip = run.firstValueLength;
                }
            }
            if (elements == 0) {
                continue;  // no essence here to measure
            }
            const std::uint64_t measured = elements == 1 ? clip : bytes;
            std::uint64_t duration = 0;
            for (const IndexSegment* segment : table) {
                if (segment->editUnitByteCount != first.editUnitByteCount) {
                    find("index-byte-count", segment->offset,
                         "EditUnitByteCount " + std::to_string(segment->editUnitByteCount) +
                             " where the table's first segment says " +
                             std::to_string(first.editUnitByteCount));
                }
                duration +=
                    segment->duration > 0 ? static_cast<std::uint64_t>(segment->duration) : 0;
            }
            const std::uint64_t unit = first.editUnitByteCount;
            const std::string what = elements == 1 ? "the clip's value" : "the essence container";
            if (duration != 0 && (measured % unit != 0 || measured / unit != duration)) {
                find("index-byte-count", first.offset,
                     std::to_string(duration) + " edit units of " + std::to_string(unit) +
                         " bytes, where " + what + " holds " + std::to_string(measured) + " bytes");
            } else if (duration == 0 && measured % unit != 0) {
                find("index-byte-count", first.offset,
                     what + " holds " + std::to_string(measured) + " bytes, no whole number of " +
                         std::to_string(unit) + "-byte edit units");
            }
        }
    }

    ByteSource& source_;
    HeaderMetadata& result_;
    std::vector<Partition> packs_;
    std::vector<EssenceRun> runs_;      // in file order
    std::vector<EssenceRun> byStream_;  // by container and stream offset, made when first asked
    std::set<std::uint32_t> tracks_;
    bool open_ = false;        // whether an essence run is open in the current partition
    bool inEssence_ = false;   // whether the last packet was essence, or fill after it
    bool afterPack_ = false;   // whether only fill stands since the last partition pack
    bool afterFill_ = false;   // whether the last packet was fill
    bool misaligned_ = false;  // whether this partition's misalignment was reported
};

}  // namespace

void walkFile(ByteSource& source, HeaderMetadata& result) {
    Walker(source, result).walk();
}

namespace {
constexpr std::uint8_t kTrackNumber[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                           0x01, 0x04, 0x01, 0x03, 0x00, 0x00, 0x00, 0x00};
constexpr std::uint8_t kEssenceContainer[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                                0x06, 0x01, 0x01, 0x04, 0x01, 0x02, 0x00, 0x00};

// Equal but for the version byte.
bool sameLabel(const std::uint8_t* a, const std::uint8_t* b) {
    for (int i = 0; i < 16; ++i) {
        if (i != 7 && a[i] != b[i]) {
            return false;
        }
    }
    return true;
}
}  // namespace

void checkEssenceAgainstMetadata(HeaderMetadata& result, const std::vector<LocalSet>& sets) {
    if (!result.walk || result.partitions.empty()) {
        return;
    }
    const auto& found = result.walk->essenceTrackNumbers;
    std::set<std::uint32_t> declared;
    // The header partition's containers, version byte aside, sorted for halving.
    std::vector<Bytes16> containers = result.partitions.front().essenceContainers;
    for (Bytes16& c : containers) {
        c[7] = 0;
    }
    std::sort(containers.begin(), containers.end());
    for (const LocalSet& set : sets) {
        for (const Item& item : set.items) {
            if (!item.label) {
                continue;
            }
            if (sameLabel(item.label->data(), kTrackNumber) && item.bytes.size() == 4) {
                const auto number = static_cast<std::uint32_t>(bigEndian(item.bytes.data(), 4));
                if (number == 0) {
                    continue;  // a track of no essence of this file (material, timecode)
                }
                declared.insert(number);
                if (!std::binary_search(found.begin(), found.end(), number)) {
                    result.findings.push_back({"essence-track", set.offset, set.name(), item.tag,
                                               "Track Number",
                                               "track number " + plainHex(item.bytes.data(), 4) +
                                                   " has no essence element in the file"});
                }
            } else if (sameLabel(item.label->data(), kEssenceContainer) &&
                       item.bytes.size() == 16 && [&] {
                           Bytes16 label = bytes16(item.bytes.data());
                           label[7] = 0;
                           return !std::binary_search(containers.begin(), containers.end(), label);
                       }()) {
                result.findings.push_back({"essence-container", set.offset, set.name(), item.tag,
                                           "Essence Container",
                                           "essence container " + dottedHex(item.bytes.data(), 16) +
                                               " is not among the header partition's"});
            }
        }
    }
    // Without a track of any number there is nothing to hold the essence against.
    for (const std::uint32_t number : declared.empty() ? std::vector<std::uint32_t>{} : found) {
        if (declared.count(number) == 0) {
            const std::uint8_t bytes[4] = {
                static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
                static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
            result.findings.push_back(
                {"essence-track", std::nullopt, "", std::nullopt, "",
                 "essence elements of track number " + plainHex(bytes, 4) + " belong to no track"});
        }
    }
}

}  // namespace Velmar::MXF
