#pragma once

// A file as the reader gives it: partitions, the primer, local sets and items in tree order,
// what a walk found, and the unread packets kept for writing back.

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Velmar/MXF/Model/Finding.h"
#include "Velmar/MXF/Model/Value.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace Velmar::MXF::Model {

using Bytes16 = std::array<std::uint8_t, 16>;

// A partition pack, as the file gives it. A generic stream partition (its own key) carries
// a stream of data apart from the essence containers, under its BodySID.
struct Partition {
    enum class Kind { Header, Body, Footer, GenericStream };
    std::uint64_t offset = 0;  // of its key, in the file (run-in included)
    Kind kind = Kind::Header;
    bool closed = false;
    bool complete = false;
    std::uint16_t majorVersion = 0;
    std::uint16_t minorVersion = 0;
    std::uint32_t kagSize = 0;
    std::uint64_t thisPartition = 0;  // offsets from here on count from the header partition
    std::uint64_t previousPartition = 0;
    std::uint64_t footerPartition = 0;
    std::uint64_t headerByteCount = 0;
    std::uint64_t indexByteCount = 0;
    std::uint32_t indexSID = 0;
    std::uint64_t bodyOffset = 0;
    std::uint32_t bodySID = 0;
    Bytes16 operationalPattern{};
    std::vector<Bytes16> essenceContainers;
    std::uint64_t packEnd = 0;  // the first byte after the pack (fill may follow)

    const char* kindName() const;    // "header", "body", "footer", "genericStream"
    std::string statusName() const;  // "closed complete", "open incomplete", ...
};

struct RandomIndexEntry {
    std::uint32_t bodySID = 0;
    std::uint64_t byteOffset = 0;
};

// The primer pack of the header metadata read: each local tag and the label it stands for, in
// the pack's order.
struct Primer {
    std::uint64_t partitionOffset = 0;
    std::uint64_t offset = 0;
    Bytes16 key{};                // as stored (its version byte varies between writers)
    std::uint8_t lengthSize = 0;  // the bytes of its BER length as stored
    std::vector<std::pair<std::uint16_t, Bytes16>> entries;
    const Bytes16* label(std::uint16_t tag) const;
};

// A set or item the dictionary lacks that the file's own metadictionary defines (the AAF-style
// MetaDictionary some writers embed): its name there, and an item's type's name.
struct FileDefinition {
    std::string name;
    std::string type;
};

// One item of a local set.
struct Item {
    std::uint64_t offset = 0;  // of its tag
    std::uint16_t tag = 0;
    std::optional<Bytes16> label;  // through the primer; none for a tag it does not map
    const SDK::MetaMetadata::MetaElement* element = nullptr;  // the dictionary's, or none
    // The element's registered type, where the dictionary has types.
    const SDK::MetaMetadata::TypeDefinition* type = nullptr;
    std::vector<std::uint8_t> bytes;               // the value as stored
    std::optional<Value> value;                    // decoded by the element's type, where it can be
    std::optional<FileDefinition> fileDefinition;  // where the file, not the dictionary, defines it

    std::string name() const;  // the element's "name", else the file's, else empty
};

// One local set of the header metadata, placed in tree order.
struct LocalSet {
    std::uint64_t offset = 0;  // of its key
    Bytes16 key{};
    std::uint8_t lengthSize = 0;  // the bytes of its BER length as stored; 0 for a set made anew
    const SDK::MetaMetadata::MetaMetadataSet* definition = nullptr;  // the dictionary's, or none
    std::optional<Bytes16> instanceUID;
    std::size_t depth = 0;
    std::optional<Bytes16> parent;  // the InstanceUID of the set that first referred to it
    std::vector<Item> items;
    std::optional<FileDefinition> fileDefinition;  // where the file, not the dictionary, defines it

    std::string name() const;  // the definition's "name", else the file's, else empty
};

// An index table segment, decoded by the walk (its local tags are fixed, not the primer's).
struct IndexSegment {
    struct DeltaEntry {
        std::int8_t posTableIndex = 0;
        std::uint8_t slice = 0;
        std::uint32_t elementDelta = 0;
    };
    struct Entry {
        std::int8_t temporalOffset = 0;
        std::int8_t keyFrameOffset = 0;
        std::uint8_t flags = 0;
        std::uint64_t streamOffset = 0;
    };
    std::uint64_t offset = 0;  // of its key
    std::uint32_t indexSID = 0;
    std::uint32_t bodySID = 0;
    std::int32_t editRateNumerator = 0;
    std::int32_t editRateDenominator = 0;
    std::int64_t startPosition = 0;
    std::int64_t duration = 0;
    std::uint32_t editUnitByteCount = 0;  // 0: entries give each edit unit's offset
    std::uint8_t sliceCount = 0;
    std::uint8_t posTableCount = 0;
    std::vector<DeltaEntry> deltaEntries;
    std::vector<Entry> entries;
};

// A stretch of the file holding one kind of packet, as the walk met them: the file's layout.
// Consecutive packets of a kind make one region; fill among essence elements belongs to the
// essence, as it does to the container's stream.
struct Region {
    enum class Kind {
        RunIn,           // bytes before the header partition
        PartitionPack,   // a partition pack (of any kind)
        HeaderMetadata,  // the primer and the sets
        IndexTable,      // index table segments
        Essence,         // essence elements and system items
        GenericStream,   // the packets of a generic stream partition
        Fill,
        RandomIndex,  // the random index pack
        Other,        // a packet none of the above, outside header metadata
        Cut,          // the packet the file ends in, where it was cut short
        Mixed,        // neighbours of different kinds folded into one (see kMaxRegions)
    };
    // Essence: bytes by track number, in the order first met; elements of more track numbers
    // than kMaxTracks are counted together.
    static constexpr std::size_t kMaxTracks = 16;
    struct TrackBytes {
        std::uint32_t trackNumber = 0;
        std::uint64_t bytes = 0;  // keys, lengths and values of its elements
    };

    Kind kind = Kind::Other;
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint64_t packets = 0;
    std::uint32_t bodySID = 0;  // the partition's, for essence, index tables and generic streams
    std::vector<TrackBytes> tracks;
    std::uint64_t otherTrackBytes = 0;  // of elements past kMaxTracks track numbers

    // "runIn", "partitionPack", "headerMetadata", "indexTable", "essence", "genericStream",
    // "fill", "randomIndex", "other", "cut", "mixed".
    const char* kindName() const;

    // A walk keeps at most this many: past it, neighbours are folded in pairs, so that a file
    // of millions of tiny packets of changing kinds costs no more (no page shows more anyway).
    static constexpr std::size_t kMaxRegions = 1 << 16;
};

// What a walk of every KLV of the file found, beside what its checks report as findings.
struct Walk {
    std::uint64_t klvs = 0;                    // every packet, partition packs and fill included
    std::uint64_t essenceElements = 0;         // generic container elements and system items
    std::uint64_t essenceBytes = 0;            // their keys, lengths and values
    std::uint64_t encryptedElements = 0;       // of the essence elements, encrypted triplets
    std::uint64_t genericStreamPackets = 0;    // in generic stream partitions, apart from essence
    std::uint64_t genericStreamBytes = 0;      // their keys, lengths and values
    std::optional<std::uint64_t> truncatedAt;  // where the file ends in a packet, if it does
    std::vector<IndexSegment> indexSegments;   // in file order
    std::vector<std::uint32_t> essenceTrackNumbers;  // of the elements found, each once, sorted
    std::vector<Region> regions;  // in file order, from the file's start to where the walk stopped
};

// A packet of the header metadata read that is no set of the tree (a dark set, a packet that
// is no local set), kept whole: what is written back loses nothing. Fill is not kept.
struct UnreadPacket {
    std::uint64_t offset = 0;
    std::vector<std::uint8_t> bytes;  // key, length and value
};

struct HeaderMetadata {
    std::uint64_t fileSize = 0;
    std::uint64_t runIn = 0;
    std::vector<Partition> partitions;  // in file order
    std::optional<std::vector<RandomIndexEntry>> randomIndex;
    Primer primer;
    std::vector<LocalSet> sets;               // in tree order: depth first from the Preface
    std::vector<UnreadPacket> unreadPackets;  // in file order
    std::vector<Finding> findings;
    std::optional<Walk> walk;  // when asked for
};

}  // namespace Velmar::MXF::Model
