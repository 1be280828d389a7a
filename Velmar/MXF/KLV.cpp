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
constexpr std::uint8_t kPreface[16] = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x53, 0x01, 0x01,
                                       0x0d, 0x01, 0x01, 0x01, 0x01, 0x01, 0x2f, 0x00};
constexpr std::uint8_t kInstanceUID[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01,
                                           0x01, 0x01, 0x15, 0x02, 0x00, 0x00, 0x00, 0x00};

}  // namespace

std::uint64_t bigEndian(const std::uint8_t* bytes, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

KLVHeader readKLVHeader(ByteSource& source, std::uint64_t offset) {
    KLVHeader header;
    header.offset = offset;
    const std::uint64_t size = source.size();
    if (offset > size || size - offset < 16 || !source.read(offset, header.key.data(), 16)) {
        refuse("truncated", offset, "the file ends in a key");
    }
    if (header.key[0] != 0x06 || header.key[1] != 0x0e || header.key[2] != 0x2b ||
        header.key[3] != 0x34) {
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

bool isPartitionKey(const Bytes16& key) {
    return matches(key, kPartition, 13) && key[13] >= 0x02 && key[13] <= 0x04 && key[14] >= 0x01 &&
           key[14] <= 0x04;
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
bool isLocalSetKey(const Bytes16& key) {
    return key[4] == 0x02 && key[5] == 0x53;
}
bool isPrefaceKey(const Bytes16& key) {
    return matches(key, kPreface, 16, 5);
}
bool isInstanceUIDLabel(const Bytes16& label) {
    return matches(label, kInstanceUID, 16);
}

}  // namespace Velmar::MXF
