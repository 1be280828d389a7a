// The essence the walk found held against what the header metadata says of it.
#include "EssenceRules.h"

#include <set>
#include <string>
#include <vector>

#include "../KLV/Labels.h"
#include "../Values/BigEndian.h"
#include "Velmar/MXF/Values/Text.h"

namespace Velmar::MXF::Checking {

using namespace Model;
using namespace Values;
using namespace KLV;

namespace {
// Whether each set or its subtree names a generic stream the file has (a Generic Stream ID of
// a text-based set, say): a track's data is then carried there, not in an essence container.
// One pass from the last set back, each subtree's answer handed to its parent by depth, so
// that nested sets cost no product.
std::vector<bool> namesAGenericStream(const std::vector<LocalSet>& sets,
                                      const std::set<std::uint32_t>& streams) {
    std::vector<bool> names(sets.size(), false);
    std::vector<bool> below;  // by depth: whether a set met of that depth names one
    for (std::size_t i = sets.size(); i-- > 0;) {
        const std::size_t depth = sets[i].depth;
        if (below.size() < depth + 2) {
            below.resize(depth + 2, false);
        }
        bool own = below[depth + 1];  // its children, met since
        below[depth + 1] = false;
        for (const Item& item : sets[i].items) {
            own = own ||
                  (item.label && sameLabel(item.label->data(), ItemLabels::GenericStreamID) &&
                   item.bytes.size() == 4 &&
                   streams.count(static_cast<std::uint32_t>(bigEndian(item.bytes.data(), 4))) != 0);
        }
        names[i] = own;
        below[depth] = below[depth] || own;
    }
    return names;
}

// The tracks whose numbers are essence track numbers: those of the file packages, which the
// essence container data link to (else, where a file has none, source packages with a
// descriptor). A material package's tracks may number their tracks as they like.
std::vector<bool> fileTracks(const std::vector<LocalSet>& sets) {
    std::set<std::vector<std::uint8_t>> linked;
    for (const LocalSet& set : sets) {
        if (const Item* id = itemOf(set, ItemLabels::LinkedPackageID)) {
            linked.insert(id->bytes);
        }
    }
    std::vector<bool> tracks(sets.size(), false);
    std::vector<std::size_t> path;  // the sets above the one looked at, by depth
    for (std::size_t i = 0; i < sets.size(); ++i) {
        path.resize(std::min(path.size(), sets[i].depth));
        if (sets[i].depth == 0) {
            tracks[i] = true;  // no package to tell: held against the essence all the same
        } else if (path.size() == sets[i].depth) {
            const LocalSet& package = sets[path.back()];
            const Item* id = itemOf(package, ItemLabels::PackageID);
            tracks[i] = linked.empty() ? itemOf(package, ItemLabels::EssenceDescription) != nullptr
                                       : id != nullptr && linked.count(id->bytes) != 0;
        }
        path.push_back(i);
    }
    return tracks;
}

std::string trackNumberText(std::uint32_t number) {
    const std::uint8_t bytes[4] = {
        static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
        static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
    return plainHex(bytes, 4);
}

// The identifiers of the container definitions a file's own dictionary holds (AAF-based
// writers name a descriptor's container by one): no SMPTE label a partition would list.
std::set<Bytes16> containerDefinitions(const std::vector<LocalSet>& sets) {
    static const std::uint8_t kContainerDefinition[7] = {0x0d, 0x01, 0x01, 0x01, 0x01, 0x01, 0x20};
    std::set<Bytes16> ids;
    for (const LocalSet& set : sets) {
        const Item* id = itemOf(set, ItemLabels::DefinitionObjectID);
        if (id != nullptr && id->bytes.size() == 16 &&
            std::equal(kContainerDefinition, kContainerDefinition + 7, set.key.begin() + 8)) {
            ids.insert(bytes16(id->bytes.data()));
        }
    }
    return ids;
}

bool isEncryptedContainer(const Bytes16& label) {
    return label[8] == 0x0d && label[9] == 0x01 && label[10] == 0x03 && label[11] == 0x01 &&
           label[12] == 0x02 && label[13] == 0x0b;
}
}  // namespace

void checkEssenceAgainstMetadata(HeaderMetadata& result, const std::vector<LocalSet>& sets) {
    if (!result.walk || result.partitions.empty()) {
        return;
    }
    const auto& found = result.walk->essenceTrackNumbers;
    const bool truncated = result.walk->truncatedAt.has_value();
    std::set<std::uint32_t> streams;
    for (const Partition& p : result.partitions) {
        if (p.kind == Partition::Kind::GenericStream) {
            streams.insert(p.bodySID);
        }
    }
    std::set<std::uint32_t> declared;
    // The header partition's containers, version byte aside, sorted for halving. Encrypted
    // essence: the partition names the encrypted container, descriptors the plaintext one.
    std::vector<Bytes16> containers = result.partitions.front().essenceContainers;
    bool encrypted = result.walk->encryptedElements != 0;
    for (Bytes16& c : containers) {
        c[7] = 0;
        encrypted = encrypted || isEncryptedContainer(c);
    }
    std::sort(containers.begin(), containers.end());
    const std::set<Bytes16> ownDefinitions = containerDefinitions(sets);
    const std::vector<bool> isFileTrack = fileTracks(sets);
    const std::vector<bool> ofGenericStream = namesAGenericStream(sets, streams);
    struct Missing {
        const LocalSet* set;
        const Item* item;
        std::uint32_t number;
    };
    std::vector<Missing> missing;
    for (std::size_t s = 0; s < sets.size(); ++s) {
        const LocalSet& set = sets[s];
        for (const Item& item : set.items) {
            if (!item.label) {
                continue;
            }
            if (sameLabel(item.label->data(), ItemLabels::TrackNumber) && item.bytes.size() == 4) {
                const auto number = static_cast<std::uint32_t>(bigEndian(item.bytes.data(), 4));
                if (number == 0 || !isFileTrack[s]) {
                    continue;  // a track of no essence of this file (material, timecode)
                }
                declared.insert(number);
                // Cut short, the file may have lost the essence; a track whose data is a
                // generic stream of the file has none in a container.
                if (!truncated && !std::binary_search(found.begin(), found.end(), number) &&
                    !ofGenericStream[s]) {
                    missing.push_back({&set, &item, number});
                }
            } else if (sameLabel(item.label->data(), ItemLabels::EssenceContainer) &&
                       item.bytes.size() == 16 && !encrypted &&
                       ownDefinitions.count(bytes16(item.bytes.data())) == 0 && [&] {
                           Bytes16 label = bytes16(item.bytes.data());
                           label[7] = 0;
                           return !std::binary_search(containers.begin(), containers.end(), label);
                       }()) {
                result.findings.push_back({"essence-container", set.offset, set.name(), item.tag,
                                           "Essence Container",
                                           "essence container " + dottedHex(item.bytes.data(), 16) +
                                               " is not among the header partition's"});
            }
        }
    }
    std::vector<std::uint32_t> unclaimed;
    // Without a track of any number there is nothing to hold the essence against.
    for (const std::uint32_t number : declared.empty() ? std::vector<std::uint32_t>{} : found) {
        if (declared.count(number) == 0) {
            unclaimed.push_back(number);
        }
    }
    // One track and one stream of essence that disagree on the number: readers pair them all
    // the same, so the rule is broken but the file plays.
    if (missing.size() == 1 && unclaimed.size() == 1 && declared.size() == 1 && found.size() == 1) {
        const Missing& m = missing.front();
        result.findings.push_back({"essence-track", m.set->offset, m.set->name(), m.item->tag,
                                   "Track Number",
                                   "track number " + trackNumberText(m.number) +
                                       " of the only essence track, where the essence elements "
                                       "carry " +
                                       trackNumberText(unclaimed.front()),
                                   Severity::Warning});
        return;
    }
    for (const Missing& m : missing) {
        result.findings.push_back(
            {"essence-track", m.set->offset, m.set->name(), m.item->tag, "Track Number",
             "track number " + trackNumberText(m.number) + " has no essence element in the file"});
    }
    for (const std::uint32_t number : unclaimed) {
        result.findings.push_back({"essence-track", std::nullopt, "", std::nullopt, "",
                                   "essence elements of track number " + trackNumberText(number) +
                                       " belong to no track"});
    }
}

}  // namespace Velmar::MXF::Checking
