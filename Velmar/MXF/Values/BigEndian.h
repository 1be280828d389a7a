#pragma once

// Big-endian fields, as MXF stores every number.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Values {

inline std::uint64_t bigEndian(const std::uint8_t* bytes, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

// The value in `size` bytes, big-endian: stored at a place, or appended.
inline void storeBigEndian(std::uint8_t* at, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        at[i] = static_cast<std::uint8_t>(value >> (8 * (size - 1 - i)));
    }
}

inline void appendBigEndian(std::vector<std::uint8_t>& out, std::uint64_t value, std::size_t size) {
    out.resize(out.size() + size);
    storeBigEndian(out.data() + out.size() - size, value, size);
}

inline Model::Bytes16 bytes16(const std::uint8_t* bytes) {
    Model::Bytes16 out;
    std::memcpy(out.data(), bytes, 16);
    return out;
}

}  // namespace Velmar::MXF::Values
