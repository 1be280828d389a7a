#pragma once

// KLV packets read from a byte source: keys and BER lengths, values, the partition packs and the
// random index pack.

#include <cstdint>
#include <vector>

#include "ByteSource.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::KLV {

using Model::Bytes16;

// A KLV packet's key and length; the value is left where it is.
struct KLVHeader {
    std::uint64_t offset = 0;
    Model::Bytes16 key{};
    std::uint64_t valueOffset = 0;
    std::uint64_t length = 0;
    std::uint64_t end() const { return valueOffset + length; }  // never past the file's end
};

// Reads the key and BER length at offset, refusing a file that ends in them (truncated), a key
// that is no SMPTE label (bad-key) unless any key is allowed (header metadata, where a dark set
// may have a private key and is stepped over by its length), an indefinite or over-long length
// (bad-ber) and a length past the end of the file (length-past-end), always comparing with the
// bytes left.
enum class Keys { SMPTELabels, Any };
KLVHeader readKLVHeader(ByteSource& source, std::uint64_t offset, Keys keys = Keys::SMPTELabels);

// The value, after checking that it is there and no longer than limit (rule and what).
std::vector<std::uint8_t> readValue(ByteSource& source, const KLVHeader& header,
                                    std::uint64_t limit, const char* rule, const char* what);

// The partition pack at offset, refusing one that is no pack or whose batch does not hold.
Model::Partition readPartitionPack(ByteSource& source, std::uint64_t offset);

// The entries of the random index pack whose header is given, refusing a pack that does not hold.
std::vector<Model::RandomIndexEntry> readRandomIndexPack(ByteSource& source,
                                                         const KLVHeader& header);

}  // namespace Velmar::MXF::KLV
