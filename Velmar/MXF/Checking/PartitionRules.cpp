// The partitions the walk met, held against what their packs and the random index pack say.
#include <algorithm>
#include <string>

#include "WalkRules.h"

namespace Velmar::MXF::Checking {

using namespace Model;

// Each pack where it says it stands, after the one it names, naming the footer there is.
void checkPartitionChain(const WalkFacts& walk) {
    std::uint64_t footer = 0;
    for (const Partition& pack : walk.result.partitions) {
        if (pack.kind == Partition::Kind::Footer) {
            footer = walk.relative(pack.offset);
        }
    }
    for (std::size_t i = 0; i < walk.result.partitions.size(); ++i) {
        const Partition& pack = walk.result.partitions[i];
        const std::uint64_t here = walk.relative(pack.offset);
        const std::uint64_t before =
            i == 0 ? 0 : walk.relative(walk.result.partitions[i - 1].offset);
        if (pack.thisPartition != here) {
            walk.find("partition-chain", pack.offset,
                      "ThisPartition is " + std::to_string(pack.thisPartition) +
                          " where the pack stands at " + std::to_string(here));
        }
        if (pack.previousPartition != before) {
            walk.find("partition-chain", pack.offset,
                      "PreviousPartition is " + std::to_string(pack.previousPartition) +
                          " where the pack before stands at " + std::to_string(before));
        }
        if (footer != 0 && pack.footerPartition != 0 && pack.footerPartition != footer) {
            walk.find("partition-chain", pack.offset,
                      "FooterPartition is " + std::to_string(pack.footerPartition) +
                          " where the footer stands at " + std::to_string(footer));
        }
    }
}

// The random index pack lists every partition found, in order, with its BodySID.
void checkRandomIndex(const WalkFacts& walk) {
    if (!walk.result.randomIndex) {
        return;
    }
    const auto& entries = *walk.result.randomIndex;
    for (std::size_t i = 0; i < std::max(entries.size(), walk.result.partitions.size()); ++i) {
        if (i >= entries.size() || i >= walk.result.partitions.size() ||
            entries[i].byteOffset != walk.relative(walk.result.partitions[i].offset) ||
            entries[i].bodySID != walk.result.partitions[i].bodySID) {
            walk.find(
                "random-index",
                i < walk.result.partitions.size() ? walk.result.partitions[i].offset
                                                  : walk.result.fileSize,
                "entry " + std::to_string(i) + " of the random index pack " +
                    (i >= entries.size()
                         ? "is missing for the partition at " +
                               std::to_string(walk.relative(walk.result.partitions[i].offset))
                     : i >= walk.result.partitions.size()
                         ? "names a partition at " + std::to_string(entries[i].byteOffset) +
                               " that the walk did not find"
                         : "says BodySID " + std::to_string(entries[i].bodySID) + " at " +
                               std::to_string(entries[i].byteOffset) +
                               " where the partition is at " +
                               std::to_string(walk.relative(walk.result.partitions[i].offset)) +
                               " of BodySID " + std::to_string(walk.result.partitions[i].bodySID)));
            return;  // the first difference says it
        }
    }
}

}  // namespace Velmar::MXF::Checking
