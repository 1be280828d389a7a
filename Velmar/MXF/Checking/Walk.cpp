// The walk: every KLV of the file stepped over by its length, reading keys and lengths, partition
// packs and index table segments, never essence. Structure that cannot be stepped over is
// refused as anywhere else; what the packets say of each other is checked and reported.
#include "Walk.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <tuple>

#include "../KLV/Labels.h"
#include "../KLV/Packets.h"
#include "../Values/BigEndian.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Checking {

using namespace Model;
using namespace Values;
using namespace KLV;

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
    std::uint64_t firstValueOffset = 0;
    std::uint64_t firstValueLength = 0;
};

class Walker {
  public:
    Walker(ByteSource& source, HeaderMetadata& result) : source_(source), result_(result) {}

    void walk() {
        Walk walk;
        std::uint64_t at = result_.runIn;
        if (at != 0) {
            walk.regions.push_back({Region::Kind::RunIn, 0, at, 0, 0, {}, 0});
        }
        while (at < source_.size()) {
            const std::optional<KLVHeader> read = readPacket(at);
            if (!read) {
                walk.truncatedAt = source_.size();
                walk.regions.push_back({Region::Kind::Cut, at, source_.size() - at, 1, 0, {}, 0});
                break;
            }
            const KLVHeader& header = *read;
            ++walk.klvs;
            checkAlignment(header);
            const bool fillInEssence = inEssence_ && isFillKey(header.key);
            inEssence_ = false;
            Region::Kind kind = Region::Kind::Other;
            std::optional<std::uint32_t> track;  // of an essence element
            if (fillInEssence) {
                runs_.back().fileEnd = header.end();  // fill belongs to the container's stream
                inEssence_ = true;
                kind = Region::Kind::Essence;
            } else if (isPartitionKey(header.key)) {
                packs_.push_back(readPartitionPack(source_, at));
                open_ = false;
                metadataEnd_ = 0;
                kind = Region::Kind::PartitionPack;
            } else if (isPrimerKey(header.key) && !packs_.empty()) {
                // The header metadata's byte count starts at the primer's key.
                metadataEnd_ =
                    header.offset + std::min<std::uint64_t>(packs_.back().headerByteCount,
                                                            source_.size() - header.offset);
                kind = Region::Kind::HeaderMetadata;
            } else if (isFillKey(header.key)) {
                kind = Region::Kind::Fill;
            } else if (header.offset < metadataEnd_) {
                // Sets, dark or not: the reader reads the header metadata it uses itself.
                kind = Region::Kind::HeaderMetadata;
            } else if (isRandomIndexKey(header.key)) {
                if (header.end() != source_.size()) {
                    find("random-index", at, "a random index pack that does not end the file");
                } else {
                    result_.randomIndex = readRandomIndexPack(source_, header);
                }
                kind = Region::Kind::RandomIndex;
            } else if (isIndexSegmentKey(header.key)) {
                walk.indexSegments.push_back(readIndexSegment(header));
                checkIndexSegmentPlace(walk.indexSegments.back());
                kind = Region::Kind::IndexTable;
            } else if (!packs_.empty() && packs_.back().kind == Partition::Kind::GenericStream) {
                ++walk.genericStreamPackets;
                walk.genericStreamBytes += header.end() - header.offset;
                kind = Region::Kind::GenericStream;
            } else if (isEssenceKey(header.key) ||
                       (!packs_.empty() && packs_.back().bodySID != 0 && isSMPTELabel(header.key) &&
                        !isLocalSetKey(header.key))) {
                // A generic container's elements, and whatever else a partition of an essence
                // container holds (private mappings keep the container's key layout).
                ++walk.essenceElements;
                walk.essenceBytes += header.end() - header.offset;
                essence(header);
                kind = Region::Kind::Essence;
                if (isEncryptedTripletKey(header.key)) {
                    ++walk.encryptedElements;
                    track = encryptedTrackNumber(header);
                    if (track) {
                        tracks_.insert(*track);
                    }
                } else if (header.key[4] == 0x01 && header.key[5] == 0x02) {  // no system item
                    track = static_cast<std::uint32_t>(bigEndian(header.key.data() + 12, 4));
                    tracks_.insert(*track);
                }
            }
            addToRegions(walk.regions, kind, header, track);
            at = header.end();
        }
        if (!walk.truncatedAt && !packs_.empty() && packs_.front().footerPartition != 0 &&
            packs_.front().footerPartition >= source_.size() - result_.runIn) {
            walk.truncatedAt = source_.size();
            find("truncated", source_.size(),
                 "the file ends at " + std::to_string(source_.size()) +
                     ", before the footer partition its header names at " +
                     std::to_string(packs_.front().footerPartition) + ": it was cut short");
        }
        result_.partitions = packs_;
        truncated_ = walk.truncatedAt.has_value();
        checkPartitionChain();
        checkRandomIndex();
        checkIndexCoverage(walk.indexSegments);
        checkIndexEntries(walk.indexSegments);
        if (!truncated_) {
            checkConstantSizes(walk.indexSegments);  // the essence is not all there to measure
        }
        walk.essenceTrackNumbers.assign(tracks_.begin(), tracks_.end());
        result_.walk = std::move(walk);
    }

  private:
    // The packet joins the region it continues, or starts one: a region holds one kind of
    // packet of one partition.
    void addToRegions(std::vector<Region>& regions, Region::Kind kind, const KLVHeader& header,
                      std::optional<std::uint32_t> track) {
        const std::uint64_t size = header.end() - header.offset;
        const std::uint32_t bodySID =
            packs_.empty() || kind == Region::Kind::PartitionPack ? 0 : packs_.back().bodySID;
        if (regions.empty() || regions.back().kind != kind ||
            regions.back().offset + regions.back().size != header.offset ||
            regions.back().bodySID != bodySID || kind == Region::Kind::PartitionPack) {
            if (regions.size() == Region::kMaxRegions) {
                foldRegions(regions);
            }
            regions.push_back({kind, header.offset, 0, 0, bodySID, {}, 0});
        }
        Region& region = regions.back();
        region.size += size;
        ++region.packets;
        if (track) {
            addTrackBytes(region, *track, size);
        }
    }

    static void addTrackBytes(Region& region, std::uint32_t track, std::uint64_t bytes) {
        for (Region::TrackBytes& t : region.tracks) {
            if (t.trackNumber == track) {
                t.bytes += bytes;
                return;
            }
        }
        if (region.tracks.size() < Region::kMaxTracks) {
            region.tracks.push_back({track, bytes});
        } else {
            region.otherTrackBytes += bytes;
        }
    }

    // Each pair of neighbours becomes one region, of their kind where they share it.
    static void foldRegions(std::vector<Region>& regions) {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < regions.size(); i += 2) {
            Region folded = std::move(regions[i]);
            if (i + 1 < regions.size()) {
                Region& next = regions[i + 1];
                if (folded.kind != next.kind) {
                    folded.kind = Region::Kind::Mixed;
                }
                if (folded.bodySID != next.bodySID) {
                    folded.bodySID = 0;
                }
                folded.size = next.offset + next.size - folded.offset;
                folded.packets += next.packets;
                for (const Region::TrackBytes& t : next.tracks) {
                    addTrackBytes(folded, t.trackNumber, t.bytes);
                }
                folded.otherTrackBytes += next.otherTrackBytes;
            }
            regions[kept++] = std::move(folded);
        }
        regions.resize(kept);
    }

    void find(const char* rule, std::uint64_t offset, std::string message) {
        result_.findings.push_back({rule, offset, "", std::nullopt, "", std::move(message)});
    }

    // The packet at offset, or nothing where the file ends inside it. After the header
    // metadata (read, and its faults refused, before the walk) that is a finding, and the walk
    // stops there: a file whose header names no footer, or one past where it ends, was cut
    // short; one whose footer is there has a length that runs past the end.
    std::optional<KLVHeader> readPacket(std::uint64_t at) {
        const Keys keys = at < metadataEnd_ ? Keys::Any : Keys::SMPTELabels;
        try {
            return readKLVHeader(source_, at, keys);
        } catch (const FileRefused& refusal) {
            const std::string rule = refusal.rule();
            if (rule != "truncated" && rule != "length-past-end") {
                throw;
            }
            // A file that ends in a key or a length is one cut short, whatever it names.
            if (rule == "truncated" || cutShort(at)) {
                find("truncated", source_.size(),
                     "the file ends at " + std::to_string(source_.size()) + " in the packet at " +
                         std::to_string(at) + ": it was cut short");
            } else {
                find("length-past-end", at,
                     SDK::Utils::toUtf8(refusal.message()).c_str() +
                         std::string(", though the footer the header names is there: a wrong "
                                     "length, after which the walk cannot go on"));
            }
            return std::nullopt;
        }
    }

    // Whether a packet at `at` whose length runs past the end is the end of a file cut short:
    // the header names no footer, or one past the end or at this very packet.
    bool cutShort(std::uint64_t at) const {
        if (packs_.empty()) {
            return true;
        }
        const std::uint64_t footer = packs_.front().footerPartition;
        if (footer == 0 || footer > source_.size() - result_.runIn ||
            result_.runIn + footer == at) {
            return true;
        }
        for (const Partition& pack : packs_) {
            if (pack.kind == Partition::Kind::Footer) {
                return false;  // the file goes on to its footer
            }
        }
        Bytes16 key{};
        return !(source_.size() - result_.runIn - footer >= 16 &&
                 source_.read(result_.runIn + footer, key.data(), 16) && isPartitionKey(key));
    }

    // An encrypted triplet's plaintext key, the third of its BER-length-prefixed fields
    // (context, plaintext offset, source key): its track number is the plaintext element's.
    std::optional<std::uint32_t> encryptedTrackNumber(const KLVHeader& header) {
        std::uint8_t v[64];
        const std::size_t size =
            static_cast<std::size_t>(std::min<std::uint64_t>(64, header.length));
        if (!source_.read(header.valueOffset, v, size)) {
            return std::nullopt;
        }
        std::size_t at = 0;
        for (int field = 0; field < 3; ++field) {
            if (at >= size) {
                return std::nullopt;
            }
            std::uint64_t length = v[at];
            std::size_t lengthBytes = 1;
            if (v[at] > 0x80) {
                lengthBytes += v[at] & 0x7f;
                if (lengthBytes > 9 || size - at < lengthBytes) {
                    return std::nullopt;
                }
                length = bigEndian(v + at + 1, lengthBytes - 1);
            } else if (v[at] == 0x80) {
                return std::nullopt;
            }
            at += lengthBytes;
            if (field == 2) {
                if (length != 16 || size - at < 16) {
                    return std::nullopt;
                }
                return static_cast<std::uint32_t>(bigEndian(v + at + 12, 4));
            }
            if (length > size - at) {
                return std::nullopt;
            }
            at += static_cast<std::size_t>(length);
        }
        return std::nullopt;
    }

    // How the essence is wrapped, by the labels the header partition names (a generic multiple
    // mapping or encryption says nothing; labels that disagree say nothing either).
    Wrapping labelledWrapping() const {
        Wrapping found = Wrapping::Unknown;
        if (!packs_.empty()) {
            for (const Bytes16& label : packs_.front().essenceContainers) {
                const Wrapping w = wrappingOf(label);
                if (w != Wrapping::Unknown && found != Wrapping::Unknown && w != found) {
                    return Wrapping::Unknown;
                }
                if (w != Wrapping::Unknown) {
                    found = w;
                }
            }
        }
        return found;
    }

    // Where the labels do not say, what the file holds does: a container of one element is a
    // clip where more than one edit unit is indexed inside it, or where it is measured at all.
    // Both counted once for the walk, not once a segment: many partitions and many segments
    // never cost their product.
    bool isClip(std::uint32_t bodySID, std::size_t entries) {
        if (!labelled_) {
            labelled_ = labelledWrapping();
            for (const EssenceRun& run : runs_) {
                elementsOf_[run.bodySID] += run.elements;
            }
        }
        if (*labelled_ != Wrapping::Unknown) {
            return *labelled_ == Wrapping::Clip;
        }
        const auto elements = elementsOf_.find(bodySID);
        return elements != elementsOf_.end() && elements->second == 1 && entries != 1;
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
            runs_.push_back({pack.bodySID, pack.bodyOffset, header.offset, header.end(), 0,
                             header.valueOffset, header.length});
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
            // Counted from the pack, or from the file's start as some writers count it; and the
            // key or the value on the grid, as writers that align the essence's bytes do.
            auto on = [&](std::uint64_t at, std::uint64_t from) { return (at - from) % kag == 0; };
            const bool aligned = kag <= 1 || on(header.offset, partition.offset) ||
                                 on(header.valueOffset, partition.offset) ||
                                 on(header.offset, result_.runIn) ||
                                 on(header.valueOffset, result_.runIn);
            if (!aligned) {
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
        if (count == 0 && length == 8) {
            if (itemSize < least) {  // empty, of a wrong item size: readers take it as empty
                find("index-segment", offset,
                     std::string(what) + " that is empty, of entries of " +
                         std::to_string(itemSize) + " bytes (at least " + std::to_string(least) +
                         " are due)");
                result_.findings.back().severity = Severity::Warning;
            }
            return std::nullopt;
        }
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

    // The run of an essence container holding a stream offset, where the walk found one: by
    // halving among the container's runs, sorted once, so that a file of many partitions and
    // long index tables costs their sizes' product in no step.
    const EssenceRun* runAt(std::uint32_t bodySID, std::uint64_t stream) {
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
            return nullptr;
        }
        const EssenceRun& run = *std::prev(after);
        if (run.bodySID == bodySID && stream - run.streamStart < run.fileEnd - run.fileStart) {
            return &run;
        }
        return nullptr;
    }

    // Each entry's stream offset lands on the key of an essence element of its container where
    // the essence is frame wrapped, and inside the clip's value, in order, where it is a clip.
    void checkIndexEntries(const std::vector<IndexSegment>& segments) {
        for (const IndexSegment& segment : segments) {
            const bool clip = isClip(segment.bodySID, segment.entries.size());
            std::uint64_t previous = 0;
            for (std::size_t i = 0; i < segment.entries.size(); ++i) {
                const std::uint64_t stream = segment.entries[i].streamOffset;
                const EssenceRun* run = runAt(segment.bodySID, stream);
                if (run == nullptr && truncated_) {
                    break;  // the essence it points at was cut off
                }
                const std::optional<std::uint64_t> at =
                    run ? std::optional<std::uint64_t>(run->fileStart + (stream - run->streamStart))
                        : std::nullopt;
                std::string fault;
                if (!at) {
                    fault = ", which no essence of that container reaches";
                } else if (clip) {
                    // The clip's key (where a writer indexes the element) or inside its value.
                    if (*at >= run->firstValueOffset + run->firstValueLength) {
                        fault =
                            ", outside the clip's value (file offset " + std::to_string(*at) + ")";
                    } else if (i != 0 && stream < previous) {
                        fault = ", before the entry ahead of it (" + std::to_string(previous) + ")";
                    }
                } else {
                    Bytes16 key{};
                    if (source_.size() - *at < 16 || !source_.read(*at, key.data(), 16) ||
                        !(isEssenceKey(key) || isSMPTELabel(key)) || isFillKey(key)) {
                        fault = ", where no essence element starts (file offset " +
                                std::to_string(*at) + ")";
                    }
                }
                if (!fault.empty()) {
                    find("index-offset", segment.offset,
                         "entry " + std::to_string(i) + " gives stream offset " +
                             std::to_string(stream) + " of BodySID " +
                             std::to_string(segment.bodySID) + fault);
                    break;  // one per segment: the rest are likely off alike
                }
                previous = stream;
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
            // A frame's edit unit counts each element's key and length; a clip's only its value.
            const bool clipped = isClip(first.bodySID, 0);
            const std::uint64_t measured = clipped ? clip : bytes;
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
            const std::string what = clipped ? "the clip's value" : "the essence container";
            auto fits = [&](std::uint64_t size) {
                return size % unit == 0 && (duration == 0 || size / unit == duration);
            };
            // One element under a frame wrapping label is a clip to some writers: it fits if
            // either measure does.
            if (elements == 1 && (fits(clip) || fits(bytes))) {
                continue;
            }
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
    std::optional<Wrapping> labelled_;  // the labels' wrapping, and elements by BodySID, made
    std::map<std::uint32_t, std::uint64_t> elementsOf_;  // when first asked for
    std::set<std::uint32_t> tracks_;
    bool open_ = false;              // whether an essence run is open in the current partition
    bool inEssence_ = false;         // whether the last packet was essence, or fill after it
    bool afterPack_ = false;         // whether only fill stands since the last partition pack
    bool afterFill_ = false;         // whether the last packet was fill
    bool misaligned_ = false;        // whether this partition's misalignment was reported
    bool truncated_ = false;         // whether the file was cut short
    std::uint64_t metadataEnd_ = 0;  // the end of the header metadata of this partition
};

}  // namespace

void walkFile(ByteSource& source, HeaderMetadata& result) {
    Walker(source, result).walk();
}

namespace {
// Whether each set or its subtree names a generic stream the file has (a Generic Stream ID of
// a text-based set, say): a track's data is then carried there, not in an essence container.
// One pass from the last set back, each subtree's answer handed to its parent by depth, so
// that nested sets cost no product.
std::vector<bool> namesAGenericStream(const std::vector<LocalSet>& sets,
                                      const std::set<std::uint32_t>& streams) {
    std::vector<bool> names(sets.size(), false);
    std::vector<bool> below;  // by depth: whether a set met of that depth names one
    for (std::size_t i = sets.size(); i-- > 0;) {
        const std::size_t depth = sets[i].depth;
        if (below.size() < depth + 2) {
            below.resize(depth + 2, false);
        }
        bool own = below[depth + 1];  // its children, met since
        below[depth + 1] = false;
        for (const Item& item : sets[i].items) {
            own = own ||
                  (item.label && sameLabel(item.label->data(), ItemLabels::GenericStreamID) &&
                   item.bytes.size() == 4 &&
                   streams.count(static_cast<std::uint32_t>(bigEndian(item.bytes.data(), 4))) != 0);
        }
        names[i] = own;
        below[depth] = below[depth] || own;
    }
    return names;
}

// The tracks whose numbers are essence track numbers: those of the file packages, which the
// essence container data link to (else, where a file has none, source packages with a
// descriptor). A material package's tracks may number their tracks as they like.
std::vector<bool> fileTracks(const std::vector<LocalSet>& sets) {
    std::set<std::vector<std::uint8_t>> linked;
    for (const LocalSet& set : sets) {
        if (const Item* id = itemOf(set, ItemLabels::LinkedPackageID)) {
            linked.insert(id->bytes);
        }
    }
    std::vector<bool> tracks(sets.size(), false);
    std::vector<std::size_t> path;  // the sets above the one looked at, by depth
    for (std::size_t i = 0; i < sets.size(); ++i) {
        path.resize(std::min(path.size(), sets[i].depth));
        if (sets[i].depth == 0) {
            tracks[i] = true;  // no package to tell: held against the essence all the same
        } else if (path.size() == sets[i].depth) {
            const LocalSet& package = sets[path.back()];
            const Item* id = itemOf(package, ItemLabels::PackageID);
            tracks[i] = linked.empty() ? itemOf(package, ItemLabels::EssenceDescription) != nullptr
                                       : id != nullptr && linked.count(id->bytes) != 0;
        }
        path.push_back(i);
    }
    return tracks;
}

std::string trackNumberText(std::uint32_t number) {
    const std::uint8_t bytes[4] = {
        static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
        static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
    return plainHex(bytes, 4);
}

bool isEncryptedContainer(const Bytes16& label) {
    return label[8] == 0x0d && label[9] == 0x01 && label[10] == 0x03 && label[11] == 0x01 &&
           label[12] == 0x02 && label[13] == 0x0b;
}
}  // namespace

void checkEssenceAgainstMetadata(HeaderMetadata& result, const std::vector<LocalSet>& sets) {
    if (!result.walk || result.partitions.empty()) {
        return;
    }
    const auto& found = result.walk->essenceTrackNumbers;
    const bool truncated = result.walk->truncatedAt.has_value();
    std::set<std::uint32_t> streams;
    for (const Partition& p : result.partitions) {
        if (p.kind == Partition::Kind::GenericStream) {
            streams.insert(p.bodySID);
        }
    }
    std::set<std::uint32_t> declared;
    // The header partition's containers, version byte aside, sorted for halving. Encrypted
    // essence: the partition names the encrypted container, descriptors the plaintext one.
    std::vector<Bytes16> containers = result.partitions.front().essenceContainers;
    bool encrypted = result.walk->encryptedElements != 0;
    for (Bytes16& c : containers) {
        c[7] = 0;
        encrypted = encrypted || isEncryptedContainer(c);
    }
    std::sort(containers.begin(), containers.end());
    const std::vector<bool> isFileTrack = fileTracks(sets);
    const std::vector<bool> ofGenericStream = namesAGenericStream(sets, streams);
    struct Missing {
        const LocalSet* set;
        const Item* item;
        std::uint32_t number;
    };
    std::vector<Missing> missing;
    for (std::size_t s = 0; s < sets.size(); ++s) {
        const LocalSet& set = sets[s];
        for (const Item& item : set.items) {
            if (!item.label) {
                continue;
            }
            if (sameLabel(item.label->data(), ItemLabels::TrackNumber) && item.bytes.size() == 4) {
                const auto number = static_cast<std::uint32_t>(bigEndian(item.bytes.data(), 4));
                if (number == 0 || !isFileTrack[s]) {
                    continue;  // a track of no essence of this file (material, timecode)
                }
                declared.insert(number);
                // Cut short, the file may have lost the essence; a track whose data is a
                // generic stream of the file has none in a container.
                if (!truncated && !std::binary_search(found.begin(), found.end(), number) &&
                    !ofGenericStream[s]) {
                    missing.push_back({&set, &item, number});
                }
            } else if (sameLabel(item.label->data(), ItemLabels::EssenceContainer) &&
                       item.bytes.size() == 16 && !encrypted && [&] {
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
    std::vector<std::uint32_t> unclaimed;
    // Without a track of any number there is nothing to hold the essence against.
    for (const std::uint32_t number : declared.empty() ? std::vector<std::uint32_t>{} : found) {
        if (declared.count(number) == 0) {
            unclaimed.push_back(number);
        }
    }
    // One track and one stream of essence that disagree on the number: readers pair them all
    // the same, so the rule is broken but the file plays.
    if (missing.size() == 1 && unclaimed.size() == 1 && declared.size() == 1 && found.size() == 1) {
        const Missing& m = missing.front();
        result.findings.push_back({"essence-track", m.set->offset, m.set->name(), m.item->tag,
                                   "Track Number",
                                   "track number " + trackNumberText(m.number) +
                                       " of the only essence track, where the essence elements "
                                       "carry " +
                                       trackNumberText(unclaimed.front()),
                                   Severity::Warning});
        return;
    }
    for (const Missing& m : missing) {
        result.findings.push_back(
            {"essence-track", m.set->offset, m.set->name(), m.item->tag, "Track Number",
             "track number " + trackNumberText(m.number) + " has no essence element in the file"});
    }
    for (const std::uint32_t number : unclaimed) {
        result.findings.push_back({"essence-track", std::nullopt, "", std::nullopt, "",
                                   "essence elements of track number " + trackNumberText(number) +
                                       " belong to no track"});
    }
}

}  // namespace Velmar::MXF::Checking
