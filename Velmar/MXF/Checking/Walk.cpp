// The walk: every KLV of the file stepped over by its length, reading keys and lengths, partition
// packs and index table segments, never essence. Structure that cannot be stepped over is
// refused as anywhere else; what the packets say of each other is checked and reported.
#include "Walk.h"

#include <algorithm>
#include <set>
#include <string>

#include "../KLV/Labels.h"
#include "../KLV/Packets.h"
#include "../Values/BigEndian.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "WalkRules.h"

namespace Velmar::MXF::Checking {

using namespace Model;
using namespace Values;
using namespace KLV;

namespace {

// The rules held once every packet has been met, in the order their findings are listed.
struct AfterWalkRule {
    void (*check)(const WalkFacts&);
    bool needsWholeEssence;  // not held where the file was cut short: the essence is not all there
};
constexpr AfterWalkRule kAfterWalk[] = {
    {checkPartitionChain, false}, {checkRandomIndex, false},  {checkIndexCoverage, false},
    {checkIndexEntries, false},   {checkConstantSizes, true},
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
                walk.indexSegments.push_back(readIndexSegment(source_, header, result_.findings));
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
        const WalkFacts facts{source_, result_, runs_, walk.indexSegments, truncated_};
        for (const AfterWalkRule& rule : kAfterWalk) {
            if (!(truncated_ && rule.needsWholeEssence)) {
                rule.check(facts);
            }
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

    ByteSource& source_;
    HeaderMetadata& result_;
    std::vector<Partition> packs_;
    std::vector<EssenceRun> runs_;  // in file order
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

}  // namespace Velmar::MXF::Checking
