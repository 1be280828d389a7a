#pragma once

// KLV built by hand, byte by byte, for the MXF reader's tests, and the dictionary they read with.
#include <cstdint>
#include <vector>

#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"

namespace handbuilt {

using Bytes = std::vector<std::uint8_t>;

inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline Bytes be(std::uint64_t value, int size) {
    Bytes out;
    for (int i = size - 1; i >= 0; --i) {
        out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    return out;
}

inline Bytes key(std::uint8_t b4, std::uint8_t b5, std::uint8_t b13, std::uint8_t b14,
                 std::uint8_t b15 = 0, std::uint8_t b12 = 0x01, std::uint8_t b8 = 0x0d,
                 std::uint8_t b10 = 0x02, std::uint8_t b11 = 0x01) {
    return {0x06, 0x0e, 0x2b, 0x34, b4, b5, 0x01, 0x01, b8, 0x01, b10, b11, b12, b13, b14, b15};
}

inline Bytes ber(std::uint64_t length) {
    return length < 0x80 ? Bytes{static_cast<std::uint8_t>(length)} : Bytes{0x88} + be(length, 8);
}

inline Bytes klv(const Bytes& k, const Bytes& value) {
    return k + ber(value.size()) + value;
}

inline Bytes partition(std::uint64_t headerByteCount, std::uint64_t footer = 0,
                       std::uint8_t kind = 0x02, Bytes batch = be(0, 4) + be(16, 4),
                       std::uint8_t status = 0x04) {
    const Bytes value = be(1, 2) + be(3, 2) + be(1, 4) + be(0, 8) + be(0, 8) + be(footer, 8) +
                        be(headerByteCount, 8) + be(0, 8) + be(0, 4) + be(0, 8) + be(0, 4) +
                        Bytes(16, 0x06) + batch;
    return klv(key(0x02, 0x05, kind, status), value);
}

inline const Bytes kInstanceUIDLabel = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01,
                                        0x01, 0x01, 0x15, 0x02, 0x00, 0x00, 0x00, 0x00};

inline Bytes uid(std::uint8_t n) {
    Bytes id(16, 0xab);
    id[15] = n;
    return id;
}

inline Bytes item(std::uint16_t tag, const Bytes& value) {
    return be(tag, 2) + be(value.size(), 2) + value;
}

// The built-in register dictionary, loaded once for all the tests of a program.
inline const Velmar::SDK::MetaMetadata::Dictionary& registers() {
    static auto* dictionary = [] {
        auto* d = new Velmar::SDK::MetaMetadata::Dictionary;
        Velmar::SDK::MetaMetadata::Loading::loadBuiltinDictionary(*d);
        return d;
    }();
    return *dictionary;
}

}  // namespace handbuilt
