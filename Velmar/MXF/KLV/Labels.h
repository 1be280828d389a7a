#pragma once

// Labels compared on the bytes that identify them: the keys of packets, essence container
// labels, and the items that the reader's own checks and summaries look at, whatever the
// dictionary calls them (compared without the version byte), with the lookup of an item by label.
#include <cstdint>

#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::KLV {

using Model::Bytes16;

// A key of the SMPTE registry (06.0e.2b.34).
bool isSMPTELabel(const Model::Bytes16& key);
// Keys: a partition pack of any kind and status, the
// primer, fill, the random index pack, local sets and the Preface.
bool isPartitionKey(const Model::Bytes16& key);
bool isPrimerKey(const Model::Bytes16& key);
bool isFillKey(const Model::Bytes16& key);
bool isRandomIndexKey(const Model::Bytes16& key);
bool isLocalSetKey(const Model::Bytes16& key);
// A group whose registry designator is not a local set's coding (0x53), such as 0x7f, which
// some writers put on local sets.
bool isNonConformantSetKey(const Model::Bytes16& key);
bool isGenericStreamPartitionKey(const Model::Bytes16& key);
bool isEncryptedTripletKey(const Model::Bytes16& key);
bool isIndexSegmentKey(const Model::Bytes16& key);
bool isEssenceKey(const Model::Bytes16& key);  // a generic container's elements and system items
bool isPrefaceKey(const Model::Bytes16& key);
bool isInstanceUIDLabel(const Model::Bytes16& label);

// How an essence container label says its essence is wrapped: each edit unit an element
// (frame, and the line and custom wrappings that index like it), or the whole essence one
// element (clip); Unknown where the label does not say (a generic multiple mapping, encrypted
// essence, a label this reader does not know).
enum class Wrapping { Unknown, Frame, Clip };
Wrapping wrappingOf(const Model::Bytes16& label);

// Two labels equal but for their version byte (the eighth).
bool sameLabel(const std::uint8_t* a, const std::uint8_t* b);

// Labels and UUIDs as keys of unordered containers.
struct Bytes16Hash {
    std::size_t operator()(const Bytes16& bytes) const;
};

namespace ItemLabels {

using Label = std::uint8_t[16];

#define VELMAR_ITEM_LABEL(name, b8, b9, b10, b11, b12, b13, b14, b15)              \
    inline constexpr Label name = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01, \
                                   b8,   b9,   b10,  b11,  b12,  b13,  b14,  b15}

VELMAR_ITEM_LABEL(TrackID, 0x01, 0x07, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(TrackNumber, 0x01, 0x04, 0x01, 0x03, 0x00, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(EditRate, 0x05, 0x30, 0x04, 0x05, 0x00, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(DataDefinition, 0x04, 0x07, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(Duration, 0x07, 0x02, 0x02, 0x01, 0x01, 0x03, 0x00, 0x00);
VELMAR_ITEM_LABEL(StartTimecode, 0x07, 0x02, 0x01, 0x03, 0x01, 0x05, 0x00, 0x00);
VELMAR_ITEM_LABEL(PackageID, 0x01, 0x01, 0x15, 0x10, 0x00, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(LinkedPackageID, 0x06, 0x01, 0x01, 0x06, 0x01, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(EssenceDescription, 0x06, 0x01, 0x01, 0x04, 0x02, 0x03, 0x00, 0x00);
VELMAR_ITEM_LABEL(EssenceContainer, 0x06, 0x01, 0x01, 0x04, 0x01, 0x02, 0x00, 0x00);
VELMAR_ITEM_LABEL(FileDescriptors, 0x06, 0x01, 0x01, 0x04, 0x06, 0x0b, 0x00, 0x00);
VELMAR_ITEM_LABEL(LinkedTrackID, 0x06, 0x01, 0x01, 0x03, 0x05, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(GenericStreamID, 0x01, 0x03, 0x04, 0x08, 0x00, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(OperationalPattern, 0x01, 0x02, 0x02, 0x03, 0x00, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(DefinitionObjectID, 0x01, 0x01, 0x15, 0x03, 0x00, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(ApplicationSupplierName, 0x05, 0x20, 0x07, 0x01, 0x02, 0x01, 0x00, 0x00);
VELMAR_ITEM_LABEL(ApplicationName, 0x05, 0x20, 0x07, 0x01, 0x03, 0x01, 0x00, 0x00);
VELMAR_ITEM_LABEL(ApplicationVersionString, 0x05, 0x20, 0x07, 0x01, 0x05, 0x01, 0x00, 0x00);
VELMAR_ITEM_LABEL(PictureCoding, 0x04, 0x01, 0x06, 0x01, 0x00, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(StoredWidth, 0x04, 0x01, 0x05, 0x02, 0x02, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(StoredHeight, 0x04, 0x01, 0x05, 0x02, 0x01, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(DisplayWidth, 0x04, 0x01, 0x05, 0x01, 0x0c, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(DisplayHeight, 0x04, 0x01, 0x05, 0x01, 0x0b, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(FrameLayout, 0x04, 0x01, 0x03, 0x01, 0x04, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(SoundCoding, 0x04, 0x02, 0x04, 0x02, 0x00, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(AudioSampleRate, 0x04, 0x02, 0x03, 0x01, 0x01, 0x01, 0x00, 0x00);
VELMAR_ITEM_LABEL(ChannelCount, 0x04, 0x02, 0x01, 0x01, 0x04, 0x00, 0x00, 0x00);
VELMAR_ITEM_LABEL(QuantizationBits, 0x04, 0x02, 0x03, 0x03, 0x04, 0x00, 0x00, 0x00);

#undef VELMAR_ITEM_LABEL

}  // namespace ItemLabels

// The set's first item of this label (version byte aside), or null.
const Model::Item* itemOf(const Model::LocalSet& set, const std::uint8_t* label);

}  // namespace Velmar::MXF::KLV
