#pragma once

// What the walk hands its rules: the essence runs and index segments it met, and the file's
// partitions; each rule adds its findings to the header metadata.
#include <cstdint>
#include <string>
#include <vector>

#include "../KLV/Packets.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Checking {

// A run of one essence container in one partition: where it lies in the file and where it
// begins in the container's stream (the partition's BodyOffset).
struct EssenceRun {
    std::uint32_t bodySID = 0;
    std::uint64_t streamStart = 0;
    std::uint64_t fileStart = 0;
    std::uint64_t fileEnd = 0;  // fill after its last element included
    std::uint64_t elements = 0;
    std::uint64_t firstValueOffset = 0;  // of its first element's value (a clip's only one)
    std::uint64_t firstValueLength = 0;
};

struct WalkFacts {
    KLV::ByteSource& source;
    Model::HeaderMetadata& result;                     // its partitions are those the walk met
    const std::vector<EssenceRun>& runs;               // in file order
    const std::vector<Model::IndexSegment>& segments;  // in file order
    bool truncated = false;  // the file was cut short: what it lacks is not checked

    std::uint64_t relative(std::uint64_t offset) const { return offset - result.runIn; }
    void find(const char* rule, std::uint64_t offset, std::string message) const {
        result.findings.push_back({rule, offset, "", std::nullopt, "", std::move(message)});
    }
};

// The rules held once every packet has been met. Partitions: each pack where it says it
// stands, and the random index pack listing them.
void checkPartitionChain(const WalkFacts& walk);
void checkRandomIndex(const WalkFacts& walk);
// Index tables: segments without gap or overlap, entries landing on the essence, constant-size
// edit units filling it.
void checkIndexCoverage(const WalkFacts& walk);
void checkIndexEntries(const WalkFacts& walk);
void checkConstantSizes(const WalkFacts& walk);

// An index table segment's value decoded (its local tags are fixed, not the primer's); what it
// gets wrong is a finding, what cannot be stepped over a refusal.
Model::IndexSegment readIndexSegment(KLV::ByteSource& source, const KLV::KLVHeader& header,
                                     std::vector<Model::Finding>& findings);

}  // namespace Velmar::MXF::Checking
