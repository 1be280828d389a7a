#include "KLV.h"

#include <cstring>
#include <string>

namespace Velmar::MXF {

namespace {

[[noreturn]] void refuse(const char* rule, std::uint64_t offset, const std::string& message,
                         int line = __builtin_LINE()) {
    throw FileRefused(rule, offset, message, __FILE__, line);
}

// Equal on the first count bytes, ignoring those listed (the version byte, 7, always).
bool matches(const Bytes16& key, const std::uint8_t (&prefix)[16], std::size_t count,
             int ignoredToo = -1) {
    for (std::size_t i = 0; i < count; ++i) {
        if (i != 7 && static_cast<int>(i) != ignoredToo && key[i] != prefix[i]) {
            return false;
        }
    }
    return true;
}

constexpr std::uint8_t kPartition[16] = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x05, 0x01, 0x01,
                                         0x0d, 0x01, 0x02, 0x01, 0x01, 0x00, 0x00, 0x00};
constexpr std::uint8_t kPrimer[16] = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x05, 0x01, 0x01,
                                      0x0d, 0x01, 0x02, 0x01, 0x01, 0x05, 0x01, 0x00};
constexpr std::uint8_t kRandomIndex[16] = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x05, 0x01, 0x01,
                                           0x0d, 0x01, 0x02, 0x01, 0x01, 0x11, 0x01, 0x00};
constexpr std::uint8_t kFill[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01,
                                    0x03, 0x01, 0x02, 0x10, 0x01, 0x00, 0x00, 0x00};
constexpr std::uint8_t kIndexSegment[16] = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x53, 0x01, 0x01,
                                            0x0d, 0x01, 0x02, 0x01, 0x01, 0x10, 0x01, 0x00};
constexpr std::uint8_t kPreface[16] = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x53, 0x01, 0x01,
                                       0x0d, 0x01, 0x01, 0x01, 0x01, 0x01, 0x2f, 0x00};
constexpr std::uint8_t kEncryptedTriplet[16] = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x04, 0x01, 0x01,
                                                0x0d, 0x01, 0x03, 0x01, 0x02, 0x7e, 0x01, 0x00};
constexpr std::uint8_t kInstanceUID[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01,
                                           0x01, 0x01, 0x15, 0x02, 0x00, 0x00, 0x00, 0x00};

constexpr std::size_t kPartitionPackFixed = 80;  // the fields before the essence container batch
// No partition pack of a real file comes near this; checked before anything is allocated.
constexpr std::uint64_t kMaxPartitionPack = 1 << 20;
constexpr std::uint64_t kMaxRandomIndex = 16 << 20;

}  // namespace

bool sameLabel(const std::uint8_t* a, const std::uint8_t* b) {
    for (int i = 0; i < 16; ++i) {
        if (i != 7 && a[i] != b[i]) {
            return false;
        }
    }
    return true;
}

Bytes16 bytes16(const std::uint8_t* bytes) {
    Bytes16 out;
    std::memcpy(out.data(), bytes, 16);
    return out;
}

void appendBigEndian(std::vector<std::uint8_t>& out, std::uint64_t value, std::size_t size) {
    out.resize(out.size() + size);
    storeBigEndian(out.data() + out.size() - size, value, size);
}

void storeBigEndian(std::uint8_t* at, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        at[i] = static_cast<std::uint8_t>(value >> (8 * (size - 1 - i)));
    }
}

std::uint64_t bigEndian(const std::uint8_t* bytes, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

Wrapping wrappingOf(const Bytes16& label) {
    static constexpr std::uint8_t kGenericContainer[16] = {
        0x06, 0x0e, 0x2b, 0x34, 0x04, 0x01, 0x01, 0x00, 0x0d, 0x01, 0x03, 0x01, 0x02, 0, 0, 0};
    static constexpr std::uint8_t kFrameWrappedISXD[16] = {0x06, 0x0e, 0x2b, 0x34, 0x04, 0x01,
                                                           0x01, 0x05, 0x0e, 0x09, 0x06, 0x07,
                                                           0x01, 0x01, 0x01, 0x03};
    if (matches(label, kFrameWrappedISXD, 16)) {
        return Wrapping::Frame;
    }
    if (!matches(label, kGenericContainer, 13)) {
        return Wrapping::Unknown;
    }
    const std::uint8_t mapping = label[13];
    const std::uint8_t kind = label[14];
    const std::uint8_t last = label[15];
    switch (mapping) {
        case 0x01:  // D-10: frames only
        case 0x0d:  // VBI and ANC data
        case 0x0e:
            return Wrapping::Frame;
        case 0x02:  // DV, D-11, MPEG ES, uncompressed pictures, MPEG PES/PS/TS, AVC: the last byte
        case 0x03:
        case 0x04:
        case 0x05:
        case 0x07:
        case 0x08:
        case 0x09:
        case 0x10:
            return last == 0x02   ? Wrapping::Clip
                   : last == 0x00 ? Wrapping::Unknown
                                  : Wrapping::Frame;
        case 0x06:  // AES3 and Broadcast Wave: 01 and 03 frame, 02 and 04 clip, others custom
            return kind == 0x02 || kind == 0x04   ? Wrapping::Clip
                   : kind == 0x01 || kind == 0x03 ? Wrapping::Frame
                                                  : Wrapping::Unknown;
        case 0x0a:  // A-law, JPEG 2000, VC-3, VC-1, TIFF/EP, VC-2, ACES, ProRes, MGA: the kind byte
        case 0x0c:
        case 0x11:
        case 0x12:
        case 0x14:
        case 0x15:
        case 0x16:
        case 0x1c:
        case 0x25:
            return kind == 0x02   ? Wrapping::Clip
                   : kind == 0x01 ? Wrapping::Frame
                                  : Wrapping::Unknown;
        case 0x13:  // timed text and IAB: clips
        case 0x1d:
            return Wrapping::Clip;
        default:  // 0b encrypted, 7f generic multiple mappings, and what is not known here
            return Wrapping::Unknown;
    }
}

bool isSMPTELabel(const Bytes16& key) {
    return key[0] == 0x06 && key[1] == 0x0e && key[2] == 0x2b && key[3] == 0x34;
}

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

bool isPartitionKey(const Bytes16& key) {
    return (matches(key, kPartition, 13) && key[13] >= 0x02 && key[13] <= 0x04 && key[14] >= 0x01 &&
            key[14] <= 0x04) ||
           isGenericStreamPartitionKey(key);
}
bool isGenericStreamPartitionKey(const Bytes16& key) {
    return matches(key, kPartition, 13) && key[13] == 0x03 && key[14] == 0x11;
}
bool isEncryptedTripletKey(const Bytes16& key) {
    return matches(key, kEncryptedTriplet, 16);
}
bool isPrimerKey(const Bytes16& key) {
    return matches(key, kPrimer, 16);
}
bool isFillKey(const Bytes16& key) {
    return matches(key, kFill, 16);
}
bool isRandomIndexKey(const Bytes16& key) {
    return matches(key, kRandomIndex, 16);
}
bool isIndexSegmentKey(const Bytes16& key) {
    return matches(key, kIndexSegment, 16);
}
bool isEssenceKey(const Bytes16& key) {
    return key[8] == 0x0d && key[9] == 0x01 && key[10] == 0x03 && key[11] == 0x01;
}
bool isLocalSetKey(const Bytes16& key) {
    return isSMPTELabel(key) && key[4] == 0x02 && key[5] == 0x53;
}
bool isNonConformantSetKey(const Bytes16& key) {
    return isSMPTELabel(key) && key[4] == 0x02 && key[5] != 0x53 && key[8] == 0x0d &&
           key[9] == 0x01 && key[10] == 0x01;
}
bool isPrefaceKey(const Bytes16& key) {
    return matches(key, kPreface, 16, 5);
}
bool isInstanceUIDLabel(const Bytes16& label) {
    return matches(label, kInstanceUID, 16);
}

}  // namespace Velmar::MXF
