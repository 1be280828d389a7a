#pragma once

#include <cstdint>
#include <vector>

#include "ByteSource.h"
#include "Velmar/MXF/HeaderMetadata.h"

namespace Velmar::MXF {

// A KLV packet's key and length; the value is left where it is.
struct KLVHeader {
    std::uint64_t offset = 0;
    Bytes16 key{};
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

bool isSMPTELabel(const Bytes16& key);

// The value, after checking that it is there and no longer than limit (rule and what).
std::vector<std::uint8_t> readValue(ByteSource& source, const KLVHeader& header,
                                    std::uint64_t limit, const char* rule, const char* what);

// The partition pack at offset, refusing one that is no pack or whose batch does not hold.
Partition readPartitionPack(ByteSource& source, std::uint64_t offset);

// The entries of the random index pack whose header is given, refusing a pack that does not hold.
std::vector<RandomIndexEntry> readRandomIndexPack(ByteSource& source, const KLVHeader& header);

// Labels compared on the bytes that identify them: a partition pack of any kind and status, the
// primer, fill, the random index pack, local sets and the Preface.
bool isPartitionKey(const Bytes16& key);
bool isPrimerKey(const Bytes16& key);
bool isFillKey(const Bytes16& key);
bool isRandomIndexKey(const Bytes16& key);
bool isLocalSetKey(const Bytes16& key);
// A group whose registry designator is not a local set's coding (0x53), such as 0x7f, which
// some writers put on local sets.
bool isNonConformantSetKey(const Bytes16& key);
bool isGenericStreamPartitionKey(const Bytes16& key);
bool isEncryptedTripletKey(const Bytes16& key);
bool isIndexSegmentKey(const Bytes16& key);
bool isEssenceKey(const Bytes16& key);  // a generic container's elements and system items
bool isPrefaceKey(const Bytes16& key);
bool isInstanceUIDLabel(const Bytes16& label);

// How an essence container label says its essence is wrapped: each edit unit an element
// (frame, and the line and custom wrappings that index like it), or the whole essence one
// element (clip); Unknown where the label does not say (a generic multiple mapping, encrypted
// essence, a label this reader does not know).
enum class Wrapping { Unknown, Frame, Clip };
Wrapping wrappingOf(const Bytes16& label);

// Two labels equal but for their version byte (the eighth).
bool sameLabel(const std::uint8_t* a, const std::uint8_t* b);

std::uint64_t bigEndian(const std::uint8_t* bytes, std::size_t size);
// The value in `size` bytes, big-endian: appended, or stored at a place.
void appendBigEndian(std::vector<std::uint8_t>& out, std::uint64_t value, std::size_t size);
void storeBigEndian(std::uint8_t* at, std::uint64_t value, std::size_t size);
Bytes16 bytes16(const std::uint8_t* bytes);

}  // namespace Velmar::MXF
