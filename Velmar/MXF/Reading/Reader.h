#pragma once

// The reader: a file's partitions and the header metadata of one of them, every set and item
// mapped through a dictionary and decoded by its type.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace Velmar::MXF::Reading {

struct ReadOptions {
    // Also step through every KLV of every partition by its length (keys and lengths, partition
    // packs and index table segments are read, never essence), refusing a structural fault
    // anywhere and checking the partition chain, the random index pack and the index tables.
    bool walk = false;
    // Which partition's header metadata to read: the first closed complete one that has some
    // (else the first that has some), the header partition's, the footer's (or the last
    // partition's that has some), or the first body partition's that has some. Where the one
    // asked for has none, the first rule chooses.
    enum class Metadata { FirstClosedComplete, Header, Footer, Body };
    Metadata metadata = Metadata::FirstClosedComplete;
    // Or the header metadata of the partition whose pack is at this offset, over `metadata`
    // where that partition carries some: a program that handles every copy reads each.
    std::optional<std::uint64_t> partition = std::nullopt;
};

// The partition named "header", "footer", "body" or "auto" (the first closed complete one), as
// programs let their users choose it; none for any other word.
std::optional<ReadOptions::Metadata> metadataPartitionNamed(std::string_view name);

// Reads a file's partitions and the header metadata of the first closed complete partition
// that has one (else the first that has one), maps every set and item through the dictionary
// and decodes each value by its data type. Essence, index tables and fill are skipped by their
// lengths, never read, so the cost does not grow with the essence. A file whose structure
// cannot be read is refused with FileRefused; what can be read but is wrong is a finding.
Model::HeaderMetadata readHeaderMetadata(const char* path,
                                         const SDK::MetaMetadata::Dictionary& dictionary);
// The same from bytes in memory.
Model::HeaderMetadata readHeaderMetadata(const std::uint8_t* data, std::size_t size,
                                         const SDK::MetaMetadata::Dictionary& dictionary);
// Either, with options.
Model::HeaderMetadata readHeaderMetadata(const char* path,
                                         const SDK::MetaMetadata::Dictionary& dictionary,
                                         const ReadOptions& options);
Model::HeaderMetadata readHeaderMetadata(const std::uint8_t* data, std::size_t size,
                                         const SDK::MetaMetadata::Dictionary& dictionary,
                                         const ReadOptions& options);

}  // namespace Velmar::MXF::Reading
