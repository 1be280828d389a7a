// KLV packets: keys and BER lengths, values read whole, partition packs and the random index
// pack.

#include "Packets.h"

#include <cstring>
#include <string>

#include "../Values/BigEndian.h"
#include "Labels.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Values/Text.h"

namespace Velmar::MXF::KLV {

using namespace Model;
using namespace Values;

namespace {

[[noreturn]] void refuse(const char* rule, std::uint64_t offset, const std::string& message,
                         int line = __builtin_LINE()) {
    throw FileRefused(rule, offset, message, __FILE__, line);
}

constexpr std::size_t kPartitionPackFixed = 80;  // the fields before the essence container batch
// No partition pack of a real file comes near this; checked before anything is allocated.
constexpr std::uint64_t kMaxPartitionPack = 1 << 20;
constexpr std::uint64_t kMaxRandomIndex = 16 << 20;

}  // namespace

KLVHeader readKLVHeader(ByteSource& source, std::uint64_t offset, Keys keys) {
    KLVHeader header;
    header.offset = offset;
    const std::uint64_t size = source.size();
    if (offset > size || size - offset < 16 || !source.read(offset, header.key.data(), 16)) {
        refuse("truncated", offset, "the file ends in a key");
    }
    if (keys == Keys::SMPTELabels && !isSMPTELabel(header.key)) {
        refuse("bad-key", offset,
               "no SMPTE label at this offset: " + dottedHex(header.key.data(), 16));
    }
    std::uint64_t at = offset + 16;
    std::uint8_t first = 0;
    if (at >= size || !source.read(at, &first, 1)) {
        refuse("truncated", at, "the file ends in a length");
    }
    ++at;
    if (first < 0x80) {
        header.length = first;
    } else if (first == 0x80) {
        refuse("bad-ber", at - 1, "an indefinite BER length (0x80)");
    } else {
        const std::size_t count = first & 0x7f;
        if (count > 8) {
            refuse("bad-ber", at - 1,
                   "a BER length of " + std::to_string(count) + " bytes (at most 8)");
        }
        std::uint8_t bytes[8];
        if (size - at < count || !source.read(at, bytes, count)) {
            refuse("truncated", at, "the file ends in a length");
        }
        header.length = bigEndian(bytes, count);
        at += count;
    }
    header.valueOffset = at;
    if (header.length > size - at) {
        refuse("length-past-end", offset,
               "a length of " + std::to_string(header.length) + " bytes where " +
                   std::to_string(size - at) + " are left");
    }
    return header;
}

std::vector<std::uint8_t> readValue(ByteSource& source, const KLVHeader& header,
                                    std::uint64_t limit, const char* rule, const char* what) {
    if (header.length > limit) {
        refuse(rule, header.offset,
               std::string(what) + " of " + std::to_string(header.length) +
                   " bytes, more than the " + std::to_string(limit) + " it may have");
    }
    std::vector<std::uint8_t> value(static_cast<std::size_t>(header.length));
    if (!source.read(header.valueOffset, value.data(), value.size())) {
        refuse("truncated", header.valueOffset, std::string("the file ends in ") + what);
    }
    return value;
}

Partition readPartitionPack(ByteSource& source, std::uint64_t offset) {
    const KLVHeader header = readKLVHeader(source, offset);
    if (!isPartitionKey(header.key)) {
        refuse("bad-partition", offset, "no partition pack here");
    }
    const std::vector<std::uint8_t> v =
        readValue(source, header, kMaxPartitionPack, "bad-partition", "a partition pack");
    if (v.size() < kPartitionPackFixed + 8) {
        refuse("bad-partition", offset,
               "a partition pack of " + std::to_string(v.size()) + " bytes, fewer than " +
                   std::to_string(kPartitionPackFixed + 8));
    }
    Partition p;
    p.offset = offset;
    p.kind = isGenericStreamPartitionKey(header.key) ? Partition::Kind::GenericStream
             : header.key[13] == 0x02                ? Partition::Kind::Header
             : header.key[13] == 0x03                ? Partition::Kind::Body
                                                     : Partition::Kind::Footer;
    // A generic stream partition has no status of its own; it never holds header metadata.
    p.closed = p.kind == Partition::Kind::GenericStream || header.key[14] == 0x02 ||
               header.key[14] == 0x04;
    p.complete = p.kind == Partition::Kind::GenericStream || header.key[14] >= 0x03;
    const std::uint8_t* b = v.data();
    p.majorVersion = static_cast<std::uint16_t>(bigEndian(b, 2));
    p.minorVersion = static_cast<std::uint16_t>(bigEndian(b + 2, 2));
    p.kagSize = static_cast<std::uint32_t>(bigEndian(b + 4, 4));
    p.thisPartition = bigEndian(b + 8, 8);
    p.previousPartition = bigEndian(b + 16, 8);
    p.footerPartition = bigEndian(b + 24, 8);
    p.headerByteCount = bigEndian(b + 32, 8);
    p.indexByteCount = bigEndian(b + 40, 8);
    p.indexSID = static_cast<std::uint32_t>(bigEndian(b + 48, 4));
    p.bodyOffset = bigEndian(b + 52, 8);
    p.bodySID = static_cast<std::uint32_t>(bigEndian(b + 60, 4));
    p.operationalPattern = bytes16(b + 64);
    const std::uint64_t count = bigEndian(b + 80, 4);
    const std::uint64_t itemSize = bigEndian(b + 84, 4);
    const std::uint64_t body = v.size() - kPartitionPackFixed - 8;
    if ((count != 0 || body != 0) && (itemSize != 16 || body % 16 != 0 || body / 16 != count)) {
        refuse("bad-partition", offset,
               "the essence container batch says " + std::to_string(count) + " items of " +
                   std::to_string(itemSize) + " bytes in " + std::to_string(body) + " bytes");
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        p.essenceContainers.push_back(bytes16(b + 88 + i * 16));
    }
    p.packEnd = header.end();
    return p;
}

std::vector<RandomIndexEntry> readRandomIndexPack(ByteSource& source, const KLVHeader& header) {
    const std::vector<std::uint8_t> v =
        readValue(source, header, kMaxRandomIndex, "bad-partition", "a random index pack");
    if (v.size() < 4 || (v.size() - 4) % 12 != 0) {
        refuse("bad-partition", header.offset,
               "a random index pack of " + std::to_string(v.size()) +
                   " bytes, not 4 more than a multiple of 12");
    }
    std::vector<RandomIndexEntry> entries;
    for (std::size_t at = 0; at + 4 < v.size(); at += 12) {
        entries.push_back({static_cast<std::uint32_t>(bigEndian(v.data() + at, 4)),
                           bigEndian(v.data() + at + 4, 8)});
    }
    return entries;
}

}  // namespace Velmar::MXF::KLV
