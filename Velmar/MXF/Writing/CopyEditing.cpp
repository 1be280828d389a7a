// An edit carried from the copy of the header metadata it was made to into the file's others.
#include "Velmar/MXF/Writing/CopyEditing.h"

#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>

#include "../KLV/Labels.h"
#include "../Values/BigEndian.h"
#include "../Values/Decoding.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"

namespace Velmar::MXF::Writing {

using namespace Model;
using namespace Values;
using namespace KLV;

namespace {

using Bytes = std::vector<std::uint8_t>;

// An item's identity within its set: its label, or its tag where the primer maps none.
Bytes itemKey(const Item& item) {
    if (item.label) {
        return Bytes(item.label->begin(), item.label->end());
    }
    return Bytes{static_cast<std::uint8_t>(item.tag >> 8), static_cast<std::uint8_t>(item.tag)};
}

std::map<Bytes, std::size_t> itemsOf(const LocalSet& set) {
    std::map<Bytes, std::size_t> items;
    for (std::size_t i = 0; i < set.items.size(); ++i) {
        items.emplace(itemKey(set.items[i]), i);
    }
    return items;
}

std::unordered_map<Bytes16, std::size_t, Bytes16Hash> setsOf(const HeaderMetadata& header) {
    std::unordered_map<Bytes16, std::size_t, Bytes16Hash> sets;
    for (std::size_t i = 0; i < header.sets.size(); ++i) {
        if (header.sets[i].instanceUID) {
            sets.emplace(*header.sets[i].instanceUID, i);
        }
    }
    return sets;
}

bool isReferenceCollection(const Item& item) {
    return item.element != nullptr && holdsStrongReferences(*item.element) &&
           item.element->dataType() != SDK::Types::Identifiers::StrongRef;
}

// A collection of references that differs from the one the edit started from: the edit's
// removals and additions made to it, its own references kept in their order.
Bytes mergedReferences(const Item& was, const Item& now, const Item& mine) {
    std::set<Bytes> before, after;
    for (auto& r : strongReferences(*was.element, was.bytes))
        before.insert(r);
    for (auto& r : strongReferences(*now.element, now.bytes))
        after.insert(r);
    std::vector<Bytes16> merged;
    std::set<Bytes> kept;
    for (const auto& r : strongReferences(*mine.element, mine.bytes)) {
        if (before.count(r) == 0 || after.count(r) != 0) {
            merged.push_back(bytes16(r.data()));
            kept.insert(r);
        }
    }
    for (const auto& r : strongReferences(*now.element, now.bytes)) {
        if (before.count(r) == 0 && kept.insert(r).second) {
            merged.push_back(bytes16(r.data()));
        }
    }
    return strongReferenceBytes(*mine.element, merged);
}

// A set or item of the edited copy, as it goes into another: its local tag is that copy's
// to give (the same tag may stand for another label in its primer).
Item carried(const Item& item) {
    Item out = item;
    out.offset = 0;
    if (out.label) {
        out.tag = 0;
    }
    return out;
}

// Items of `now` changed from `was` (or new to it) into `mine`, and those `now` dropped out.
bool carryItems(const LocalSet& was, const LocalSet& now, LocalSet& mine) {
    bool changed = false;
    const std::map<Bytes, std::size_t> before = itemsOf(was);
    const std::map<Bytes, std::size_t> after = itemsOf(now);
    std::map<Bytes, std::size_t> own = itemsOf(mine);
    for (const Item& item : now.items) {
        const auto old = before.find(itemKey(item));
        if (old != before.end() && was.items[old->second].bytes == item.bytes) {
            continue;
        }
        const auto there = own.find(itemKey(item));
        if (there == own.end()) {
            own.emplace(itemKey(item), mine.items.size());
            mine.items.push_back(carried(item));
            changed = true;
            continue;
        }
        Item& target = mine.items[there->second];
        const bool merge = old != before.end() && isReferenceCollection(item) &&
                           target.bytes != was.items[old->second].bytes;
        const Bytes bytes =
            merge ? mergedReferences(was.items[old->second], item, target) : item.bytes;
        if (target.bytes != bytes) {
            target.bytes = bytes;
            target.value = bytes == item.bytes || item.element == nullptr
                               ? item.value
                               : decodeByDataType(*item.element, bytes).value;
            changed = true;
        }
    }
    std::set<Bytes> gone;
    for (const Item& item : was.items) {
        if (after.count(itemKey(item)) == 0) {
            gone.insert(itemKey(item));
        }
    }
    const auto end = std::remove_if(mine.items.begin(), mine.items.end(), [&](const Item& item) {
        return gone.count(itemKey(item)) != 0;
    });
    changed = changed || end != mine.items.end();
    mine.items.erase(end, mine.items.end());
    return changed;
}

}  // namespace

bool carryEdit(const HeaderMetadata& before, const HeaderMetadata& after, HeaderMetadata& copy) {
    bool changed = false;
    const auto was = setsOf(before);
    const auto now = setsOf(after);
    auto mine = setsOf(copy);
    // Sets first (in tree order, so a set's referrer is there before it), then removals.
    for (const LocalSet& set : after.sets) {
        if (!set.instanceUID) {
            continue;
        }
        const auto old = was.find(*set.instanceUID);
        const auto there = mine.find(*set.instanceUID);
        if (old != was.end() && there != mine.end()) {
            changed =
                carryItems(before.sets[old->second], set, copy.sets[there->second]) || changed;
        } else if (old == was.end() && there == mine.end() &&
                   (!set.parent || mine.count(*set.parent) != 0)) {
            LocalSet added = set;
            added.offset = 0;
            added.lengthSize = 0;
            for (Item& item : added.items) {
                item = carried(item);
            }
            mine.emplace(*set.instanceUID, copy.sets.size());
            copy.sets.push_back(std::move(added));
            changed = true;
        }
    }
    std::set<Bytes16> removed;
    for (const LocalSet& set : before.sets) {
        if (set.instanceUID && now.count(*set.instanceUID) == 0) {
            removed.insert(*set.instanceUID);
        }
    }
    const auto end = std::remove_if(copy.sets.begin(), copy.sets.end(), [&](const LocalSet& set) {
        return set.instanceUID && removed.count(*set.instanceUID) != 0;
    });
    changed = changed || end != copy.sets.end();
    copy.sets.erase(end, copy.sets.end());
    return changed;
}

std::string contentDifference(const HeaderMetadata& a, const HeaderMetadata& b) {
    const auto theirs = setsOf(b);
    std::size_t matched = 0;
    for (const LocalSet& x : a.sets) {
        if (!x.instanceUID) {
            continue;
        }
        const auto found = theirs.find(*x.instanceUID);
        const std::string where = x.name() + " " + uuidText(*x.instanceUID);
        if (found == theirs.end()) {
            return where + " is missing";
        }
        ++matched;
        const LocalSet& y = b.sets[found->second];
        const std::map<Bytes, std::size_t> items = itemsOf(y);
        if (x.items.size() != y.items.size()) {
            return where + " has " + std::to_string(x.items.size()) + " items against " +
                   std::to_string(y.items.size());
        }
        for (const Item& p : x.items) {
            const auto q = items.find(itemKey(p));
            if (q == items.end() || y.items[q->second].bytes != p.bytes) {
                return where + ", item " + p.name() +
                       (q == items.end() ? " is missing" : " has other bytes");
            }
        }
    }
    if (matched != theirs.size()) {
        return std::to_string(theirs.size() - matched) + " sets more against " +
               std::to_string(matched);
    }
    return {};
}

}  // namespace Velmar::MXF::Writing
