// Header metadata back to bytes: what was read is written as it was stored, so that a file
// whose metadata is unchanged gets its bytes again, fill aside.
#include "Velmar/MXF/Writing/HeaderMetadataWriting.h"

#include <algorithm>
#include <map>
#include <set>

#include "../KLV/Labels.h"
#include "../Values/BigEndian.h"
#include "Velmar/MXF/Values/Encoding.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/Types/LocalTag.h"
#include "Velmar/SDK/Types/UID.h"

namespace Velmar::MXF::Writing {

using namespace Model;
using namespace Values;
using namespace KLV;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kPrimerKey[16] = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x05, 0x01, 0x01,
                                         0x0d, 0x01, 0x02, 0x01, 0x01, 0x05, 0x01, 0x00};

// A BER length in `size` bytes as stored where it fits (1: short form), else in 4 (the long
// form most writers use), else in 9.
void putLength(Bytes& out, std::uint64_t length, std::uint8_t size) {
    if (size == 1 && length < 0x80) {
        out.push_back(static_cast<std::uint8_t>(length));
        return;
    }
    std::size_t bytes = size > 1 ? size - 1u : 3u;
    if (bytes > 8 || (bytes < 8 && length >> (8 * bytes) != 0)) {
        bytes = length >> 24 == 0 ? 3 : 8;
    }
    out.push_back(static_cast<std::uint8_t>(0x80 | bytes));
    appendBigEndian(out, length, bytes);
}

void putPacket(Bytes& out, const std::uint8_t* key, const Bytes& value, std::uint8_t lengthSize) {
    out.insert(out.end(), key, key + 16);
    putLength(out, value.size(), lengthSize);
    out.insert(out.end(), value.begin(), value.end());
}

}  // namespace

std::vector<std::uint8_t> writeHeaderMetadata(const HeaderMetadata& header,
                                              const SDK::MetaMetadata::Dictionary& dictionary) {
    // The primer: the file's entries, then a tag for each label an item uses that it lacks.
    std::vector<std::pair<std::uint16_t, Bytes16>> entries = header.primer.entries;
    std::map<Bytes16, std::uint16_t> tagOf;
    std::set<std::uint16_t> used;
    for (const auto& [tag, label] : entries) {
        tagOf.emplace(label, tag);
        used.insert(tag);
    }
    std::uint16_t nextDynamic = 0xffff;
    auto tagFor = [&](const Item& item) -> std::uint16_t {
        if (item.tag != 0) {
            if (item.label && used.insert(item.tag).second) {
                entries.emplace_back(item.tag, *item.label);
                tagOf.emplace(*item.label, item.tag);
            }
            return item.tag;
        }
        if (!item.label) {
            throw ValueRefused("an item made anew has no label to tag", __FILE__, __LINE__);
        }
        if (const auto known = tagOf.find(*item.label); known != tagOf.end()) {
            return known->second;
        }
        std::uint16_t tag = 0;
        if (const SDK::Types::LocalTag* stat =
                dictionary.localTag(SDK::Types::UniversalLabel(item.label->data()));
            stat != nullptr && stat->value() < 0x8000 && used.count(stat->value()) == 0) {
            tag = stat->value();
        } else {
            while (nextDynamic >= 0x8000 && used.count(nextDynamic) != 0) {
                --nextDynamic;
            }
            if (nextDynamic < 0x8000) {
                throw ValueRefused("no dynamic local tag is left for another item", __FILE__,
                                   __LINE__);
            }
            tag = nextDynamic--;
        }
        used.insert(tag);
        entries.emplace_back(tag, *item.label);
        tagOf.emplace(*item.label, tag);
        return tag;
    };

    // The sets' bytes first, so that the primer holds every tag they use.
    std::vector<const LocalSet*> order;
    for (const LocalSet& set : header.sets) {
        order.push_back(&set);
    }
    std::stable_sort(order.begin(), order.end(), [](const LocalSet* a, const LocalSet* b) {
        // Sets made anew (offset 0) after the file's, each group in its order.
        return (a->offset == 0 ? UINT64_MAX : a->offset) <
               (b->offset == 0 ? UINT64_MAX : b->offset);
    });
    std::vector<std::pair<std::uint64_t, Bytes>> packets;  // by the offset the file gave them
    for (const LocalSet* set : order) {
        Bytes value;
        for (const Item& item : set->items) {
            if (item.bytes.size() > 0xffff) {
                throw ValueRefused(item.name() + " (" + tagText(item.tag) +
                                       "): " + std::to_string(item.bytes.size()) +
                                       " bytes, more than a local set's item holds (65,535)",
                                   __FILE__, __LINE__);
            }
            appendBigEndian(value, tagFor(item), 2);
            appendBigEndian(value, item.bytes.size(), 2);
            value.insert(value.end(), item.bytes.begin(), item.bytes.end());
        }
        Bytes packet;
        putPacket(packet, set->key.data(), value, set->lengthSize == 0 ? 4 : set->lengthSize);
        packets.emplace_back(set->offset == 0 ? UINT64_MAX : set->offset, std::move(packet));
    }
    for (const UnreadPacket& unread : header.unreadPackets) {
        packets.emplace_back(unread.offset, unread.bytes);
    }
    std::stable_sort(packets.begin(), packets.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });

    Bytes primer;
    appendBigEndian(primer, entries.size(), 4);
    appendBigEndian(primer, 18, 4);
    for (const auto& [tag, label] : entries) {
        appendBigEndian(primer, tag, 2);
        primer.insert(primer.end(), label.begin(), label.end());
    }
    Bytes out;
    const bool keyed = isPrimerKey(header.primer.key);
    putPacket(out, keyed ? header.primer.key.data() : kPrimerKey, primer,
              header.primer.lengthSize == 0 ? 4 : header.primer.lengthSize);
    for (const auto& packet : packets) {
        out.insert(out.end(), packet.second.begin(), packet.second.end());
    }
    return out;
}

}  // namespace Velmar::MXF::Writing
