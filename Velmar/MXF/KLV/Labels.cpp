// Labels compared on the bytes that identify them: keys of the packets the reader steps
// through, essence container labels, and the items the reader's checks and summaries look at.

#include "Labels.h"

#include <cstring>

#include "../Values/BigEndian.h"

namespace Velmar::MXF::KLV {

using namespace Model;

using Model::Bytes16;
using Model::Item;
using Model::LocalSet;

namespace {

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

}  // namespace

bool sameLabel(const std::uint8_t* a, const std::uint8_t* b) {
    for (int i = 0; i < 16; ++i) {
        if (i != 7 && a[i] != b[i]) {
            return false;
        }
    }
    return true;
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

std::size_t Bytes16Hash::operator()(const Bytes16& b) const {
    std::uint64_t h = 0;
    std::memcpy(&h, b.data() + 8, 8);
    return static_cast<std::size_t>(h ^ Values::bigEndian(b.data(), 8));
}

const Item* itemOf(const LocalSet& set, const std::uint8_t* label) {
    for (const Item& item : set.items) {
        if (item.label && sameLabel(item.label->data(), label)) {
            return &item;
        }
    }
    return nullptr;
}

}  // namespace Velmar::MXF::KLV
