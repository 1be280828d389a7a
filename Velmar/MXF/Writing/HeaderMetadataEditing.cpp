// Edits of a header metadata read from a file, keeping its tree whole: sets stay in tree order
// under the sets that refer to them, and every change is checked before any is made.
#include "Velmar/MXF/Writing/HeaderMetadataEditing.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "../KLV/Labels.h"
#include "../Values/BigEndian.h"
#include "../Values/Decoding.h"
#include "../Values/TextParsing.h"
#include "Velmar/MXF/Values/Encoding.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Writing {

using namespace Model;
using namespace Values;
using namespace KLV;

EditRefused::EditRefused(const std::string& message, const char* sourceFile, int sourceLine)
    : BaseException(message.c_str(), sourceFile, sourceLine) {}

EditRefused::~EditRefused() = default;

namespace {

namespace MM = SDK::MetaMetadata;

[[noreturn]] void refuse(const std::string& message) {
    throw EditRefused(message, __FILE__, __LINE__);
}

struct Step {
    std::string name;
    std::optional<std::size_t> index;
};

std::vector<Step> stepsOf(std::string_view path) {
    std::vector<Step> steps;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t slash = std::min(path.find('/', start), path.size());
        std::string_view text = path.substr(start, slash - start);
        Step step;
        if (!text.empty() && text.back() == ']') {
            const std::size_t open = text.rfind('[');
            const std::string_view digits = open == std::string_view::npos
                                                ? std::string_view()
                                                : text.substr(open + 1, text.size() - open - 2);
            if (digits.empty() || digits.size() > 9 ||
                !std::all_of(digits.begin(), digits.end(),
                             [](char c) { return c >= '0' && c <= '9'; })) {
                refuse("\"" + std::string(text) + "\": an index is [n], n a number from 0");
            }
            step.index = std::stoul(std::string(digits));
            text = text.substr(0, open);
        }
        while (!text.empty() && text.front() == ' ') {
            text.remove_prefix(1);
        }
        while (!text.empty() && text.back() == ' ') {
            text.remove_suffix(1);
        }
        if (text.empty()) {
            refuse("\"" + std::string(path) + "\" has an empty step");
        }
        step.name = std::string(text);
        steps.push_back(std::move(step));
        start = slash + 1;
    }
    return steps;
}

std::string utf8(const XMLCh* text) {
    return text == nullptr ? std::string() : SDK::Utils::toUtf8(text).c_str();
}

bool setNamed(const LocalSet& set, const std::string& wanted) {
    if (normalisedName(set.name()) == wanted) {
        return true;
    }
    return set.definition != nullptr &&
           normalisedName(utf8(set.definition->getProperty(u"XMLTagName"))) == wanted;
}

// What a user may have meant: the names there are, each once, the first dozen.
std::string namesAmong(const std::vector<std::string>& names) {
    std::vector<std::string> seen;
    for (const std::string& name : names) {
        if (!name.empty() && std::find(seen.begin(), seen.end(), name) == seen.end()) {
            seen.push_back(name);
        }
    }
    std::string out;
    for (std::size_t i = 0; i < seen.size() && i < 12; ++i) {
        out += (i ? ", " : "") + seen[i];
    }
    return out + (seen.size() > 12 ? ", …" : "");
}

std::string attributeNames(const LocalSet& set) {
    std::vector<std::string> names;
    if (set.definition != nullptr) {
        for (const MM::MetaAttribute& attribute : set.definition->attributes()) {
            names.push_back(utf8(attribute.metaElement().getProperty(u"name")));
        }
    }
    return names.empty() ? std::string() : " (its items: " + namesAmong(names) + ")";
}

bool elementNamed(const MM::MetaElement& element, const std::string& wanted,
                  const MM::TypeDefinitions& types) {
    return normalisedName(utf8(element.getProperty(u"name"))) == wanted ||
           normalisedName(elementSymbol(element, types)) == wanted;
}

std::optional<std::uint16_t> tagOf(std::string_view text) {
    std::string digits;
    for (const char c : text.substr(0, 2) == "0x" ? text.substr(2) : text) {
        if (c == '.') {
            continue;
        }
        if (!std::isxdigit(static_cast<unsigned char>(c))) {
            return std::nullopt;
        }
        digits += c;
    }
    if (digits.size() != 4) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(std::stoul(digits, nullptr, 16));
}

std::size_t subtreeEnd(const HeaderMetadata& header, std::size_t root) {
    std::size_t end = root + 1;
    while (end < header.sets.size() && header.sets[end].depth > header.sets[root].depth) {
        ++end;
    }
    return end;
}

// The sets an item of a set holds by strong reference, in the order it holds them.
std::vector<std::size_t> targetsOf(const HeaderMetadata& header, std::size_t index,
                                   const Item& item) {
    std::vector<std::size_t> targets;
    const LocalSet& set = header.sets[index];
    if (item.element == nullptr || !set.instanceUID) {
        return targets;
    }
    // Its children by InstanceUID, found in one pass over its subtree.
    std::map<Bytes16, std::size_t> children;
    const std::size_t end = subtreeEnd(header, index);
    for (std::size_t i = index + 1; i < end; ++i) {
        const LocalSet& child = header.sets[i];
        if (child.depth == set.depth + 1 && child.parent == set.instanceUID && child.instanceUID) {
            children.emplace(*child.instanceUID, i);
        }
    }
    for (const auto& reference : strongReferences(*item.element, item.bytes)) {
        const auto found = children.find(bytes16(reference.data()));
        if (found != children.end()) {
            targets.push_back(found->second);
        }
    }
    return targets;
}

const MM::MetaElement* attributeNamed(const LocalSet& set, const std::string& wanted,
                                      const MM::TypeDefinitions& types) {
    if (set.definition == nullptr) {
        return nullptr;
    }
    for (const MM::MetaAttribute& attribute : set.definition->attributes()) {
        if (elementNamed(attribute.metaElement(), wanted, types)) {
            return &attribute.metaElement();
        }
    }
    return nullptr;
}

std::vector<std::size_t> keepIndex(std::vector<std::size_t> sets, const Step& step,
                                   std::string_view path) {
    if (step.index) {
        if (*step.index >= sets.size()) {
            refuse("\"" + std::string(path) + "\": " + step.name + "[" +
                   std::to_string(*step.index) + "] is past the " + std::to_string(sets.size()) +
                   " it names");
        }
        return {sets[*step.index]};
    }
    return sets;
}

// The sets the steps name, the last left out where it names an item.
std::vector<std::size_t> resolve(const HeaderMetadata& header, const std::vector<Step>& steps,
                                 std::size_t count, std::string_view path,
                                 const MM::Dictionary& dictionary) {
    const MM::TypeDefinitions& types = dictionary.typeDefinitions();
    std::vector<std::size_t> chosen;
    if (const auto uid = uuidOfText(steps[0].name)) {
        for (std::size_t i = 0; i < header.sets.size(); ++i) {
            if (header.sets[i].instanceUID == uid) {
                chosen.push_back(i);
                break;
            }
        }
    } else {
        const std::string wanted = normalisedName(steps[0].name);
        for (std::size_t i = 0; i < header.sets.size(); ++i) {
            if (setNamed(header.sets[i], wanted)) {
                chosen.push_back(i);
            }
        }
    }
    if (chosen.empty()) {
        std::vector<std::string> names;
        for (const LocalSet& set : header.sets) {
            names.push_back(set.name());
        }
        refuse("\"" + std::string(path) + "\": no set is " + steps[0].name +
               " (the file's sets: " + namesAmong(names) + ")");
    }
    chosen = keepIndex(std::move(chosen), steps[0], path);
    for (std::size_t s = 1; s < count; ++s) {
        const Step& step = steps[s];
        const std::string wanted = normalisedName(step.name);
        std::vector<std::size_t> next;
        bool byItem = false;
        for (const std::size_t index : chosen) {
            for (const Item& item : header.sets[index].items) {
                if (item.element != nullptr && holdsStrongReferences(*item.element) &&
                    elementNamed(*item.element, wanted, types)) {
                    byItem = true;
                    const auto targets = targetsOf(header, index, item);
                    next.insert(next.end(), targets.begin(), targets.end());
                }
            }
        }
        if (!byItem) {
            // Each set below looked at once, however the sets named so far nest.
            std::set<std::size_t> below;
            std::size_t covered = 0;
            std::vector<std::size_t> above = chosen;
            std::sort(above.begin(), above.end());
            for (const std::size_t index : above) {
                if (index < covered) {
                    continue;  // within a subtree looked at already
                }
                const std::size_t end = subtreeEnd(header, index);
                for (std::size_t i = index + 1; i < end; ++i) {
                    if (setNamed(header.sets[i], wanted)) {
                        below.insert(i);
                    }
                }
                covered = std::max(covered, end);
            }
            next.assign(below.begin(), below.end());
        }
        if (next.empty()) {
            refuse("\"" + std::string(path) + "\": " + step.name + " names no set there");
        }
        // In tree order, each once (an item may hold one set twice).
        std::sort(next.begin(), next.end());
        next.erase(std::unique(next.begin(), next.end()), next.end());
        chosen = keepIndex(std::move(next), step, path);
    }
    return chosen;
}

Item* itemIn(LocalSet& set, const std::string& name, const MM::Dictionary& dictionary) {
    return const_cast<Item*>(findItem(set, name, dictionary));
}

std::string setTitle(const LocalSet& set) {
    return (set.name().empty() ? std::string("a set") : set.name()) +
           (set.instanceUID ? " " + uuidText(*set.instanceUID) : std::string());
}

Bytes16 newInstanceUID() {
    static thread_local std::mt19937_64 random{std::random_device{}()};
    Bytes16 uid{};
    for (std::size_t i = 0; i < 16; i += 8) {
        const std::uint64_t r = random();
        for (std::size_t k = 0; k < 8; ++k) {
            uid[i + k] = static_cast<std::uint8_t>(r >> (8 * k));
        }
    }
    uid[6] = static_cast<std::uint8_t>((uid[6] & 0x0f) | 0x40);  // version 4, random
    uid[8] = static_cast<std::uint8_t>((uid[8] & 0x3f) | 0x80);
    return uid;
}

Item newItem(const MM::MetaElement& element, const MM::Dictionary& dictionary) {
    Item item;
    item.element = &element;
    item.label = bytes16(element.universalLabel().bytes());
    item.type = dictionary.typeOf(element);
    return item;
}

// A strong reference item without the references given.
void dropReferences(Item& item, const std::set<Bytes16>& gone) {
    if (item.element->dataType() == SDK::Types::Identifiers::StrongRef) {
        return;  // a single reference: the caller removes the item
    }
    std::vector<Bytes16> kept;
    for (const auto& reference : strongReferences(*item.element, item.bytes)) {
        if (gone.count(bytes16(reference.data())) == 0) {
            kept.push_back(bytes16(reference.data()));
        }
    }
    item.bytes = strongReferenceBytes(*item.element, kept);
}

// What other sets refer to by weak reference (or as the Preface's primary package), the
// referring set and item by each identifier.
std::map<std::vector<std::uint8_t>, std::string> weakReferences(const HeaderMetadata& header,
                                                                const MM::Dictionary& dictionary) {
    std::map<std::vector<std::uint8_t>, std::string> out;
    const MM::TypeDefinitions& types = dictionary.typeDefinitions();
    for (const LocalSet& set : header.sets) {
        for (const Item& item : set.items) {
            const MM::TypeDefinition* type = item.type ? types.resolve(*item.type) : nullptr;
            const bool weak = (type != nullptr && type->kind == MM::TypeKind::WeakReference) ||
                              (item.element != nullptr &&
                               elementSymbol(*item.element, types) == "PrimaryPackage");
            if (weak) {
                out.emplace(item.bytes, set.name() + "'s " + item.name());
            }
        }
    }
    return out;
}

}  // namespace

const Item* findItem(const LocalSet& set, std::string_view name, const MM::Dictionary& dictionary) {
    const std::string wanted = normalisedName(name);
    const auto tag = tagOf(name);
    for (const Item& item : set.items) {
        if ((tag && item.tag == *tag) || normalisedName(item.name()) == wanted ||
            (item.element != nullptr &&
             elementNamed(*item.element, wanted, dictionary.typeDefinitions()))) {
            return &item;
        }
    }
    return nullptr;
}

std::vector<std::size_t> findSets(const HeaderMetadata& header, std::string_view path,
                                  const MM::Dictionary& dictionary) {
    const auto steps = stepsOf(path);
    return resolve(header, steps, steps.size(), path, dictionary);
}

Value valueFromText(const Item& item, std::string_view text, const MM::Dictionary& dictionary) {
    const std::string title =
        (item.name().empty() ? std::string("item") : item.name()) + " (" + tagText(item.tag) + ")";
    if (item.type == nullptr) {
        throw ValueRefused(title + ": no registered type to read its value by", __FILE__, __LINE__);
    }
    try {
        // A list of names is a JSON list; the reader's form of a UTF16 array.
        if (item.element != nullptr && item.element->dataType() == SDK::Types::Identifiers::Array &&
            !text.empty() && text[0] == '[') {
            return valueOfJson(text);
        }
        return valueOfText(
            *item.type, text, dictionary.typeDefinitions(),
            item.element != nullptr &&
                isUuidAsStored(elementSymbol(*item.element, dictionary.typeDefinitions())));
    } catch (const TextMisfit& m) {
        throw ValueRefused(title + ": " + m.why, __FILE__, __LINE__);
    }
}

namespace {

struct Change {
    std::size_t set;
    Item item;
    bool added;
};

template <class ValueOf>
std::size_t setItems(HeaderMetadata& header, std::string_view path,
                     const MM::Dictionary& dictionary, ValueOf valueOf) {
    const auto steps = stepsOf(path);
    if (steps.size() < 2) {
        refuse("\"" + std::string(path) + "\" names no item (a set, \"/\", then the item)");
    }
    if (steps.back().index) {
        refuse("\"" + std::string(path) + "\" ends in an index: it names sets, not an item");
    }
    const std::string itemName = steps.back().name;
    const auto sets = resolve(header, steps, steps.size() - 1, path, dictionary);
    const MM::TypeDefinitions& types = dictionary.typeDefinitions();
    std::vector<Change> changes;
    for (const std::size_t index : sets) {
        LocalSet& set = header.sets[index];
        const Item* existing = findItem(set, itemName, dictionary);
        Change change{index, existing ? *existing : Item(), existing == nullptr};
        if (existing == nullptr) {
            const MM::MetaElement* element = attributeNamed(set, normalisedName(itemName), types);
            if (element == nullptr) {
                refuse("\"" + std::string(path) + "\": " + itemName + " is not an item of " +
                       setTitle(set) + attributeNames(set));
            }
            change.item = newItem(*element, dictionary);
        }
        Item& item = change.item;
        if (item.element == nullptr) {
            refuse("\"" + std::string(path) + "\": the dictionary does not define " +
                   tagText(item.tag) + " of " + setTitle(set) + ", so it has no value form");
        }
        if (holdsStrongReferences(*item.element)) {
            refuse("\"" + std::string(path) + "\": " + item.name() +
                   " holds sets by strong reference; add or remove the sets instead");
        }
        if (item.label && isInstanceUIDLabel(*item.label)) {
            refuse("\"" + std::string(path) +
                   "\": an InstanceUID is what references hold; it "
                   "is not changed");
        }
        item.bytes = encodeItemValue(item, valueOf(item), types);
        item.value = decodeItemValue(item, item.bytes, types);
        changes.push_back(std::move(change));
    }
    for (Change& change : changes) {
        LocalSet& set = header.sets[change.set];
        if (change.added) {
            set.items.push_back(std::move(change.item));
        } else {
            *itemIn(set, itemName, dictionary) = std::move(change.item);
        }
    }
    return changes.size();
}

}  // namespace

std::size_t setItem(HeaderMetadata& header, std::string_view path, const Value& value,
                    const MM::Dictionary& dictionary) {
    return setItems(header, path, dictionary, [&](const Item&) { return value; });
}

std::size_t setItemText(HeaderMetadata& header, std::string_view path, std::string_view text,
                        const MM::Dictionary& dictionary) {
    return setItems(header, path, dictionary,
                    [&](const Item& item) { return valueFromText(item, text, dictionary); });
}

std::size_t remove(HeaderMetadata& header, std::string_view path,
                   const MM::Dictionary& dictionary) {
    const auto steps = stepsOf(path);
    std::vector<std::size_t> doomed;  // sets, each with its subtree
    // By set and place: items made anew share tag 0, so a tag names no one of them.
    std::vector<std::pair<std::size_t, std::size_t>> items;
    if (steps.size() >= 2 && !steps.back().index) {  // an index names sets, not an item
        const auto sets = resolve(header, steps, steps.size() - 1, path, dictionary);
        for (const std::size_t index : sets) {
            const Item* item = findItem(header.sets[index], steps.back().name, dictionary);
            if (item == nullptr) {
                continue;
            }
            if (item->label && isInstanceUIDLabel(*item->label)) {
                refuse("\"" + std::string(path) + "\": a set is not without its InstanceUID");
            }
            items.emplace_back(index,
                               static_cast<std::size_t>(item - header.sets[index].items.data()));
            const auto targets = targetsOf(header, index, *item);
            doomed.insert(doomed.end(), targets.begin(), targets.end());
        }
    }
    if (items.empty()) {
        doomed = resolve(header, steps, steps.size(), path, dictionary);
        for (const std::size_t index : doomed) {
            if (header.sets[index].depth == 0 && isPrefaceKey(header.sets[index].key)) {
                refuse("\"" + std::string(path) +
                       "\": the Preface is where the tree starts; it "
                       "is not removed");
            }
        }
    }
    // Every set going, subtrees included (each measured once), and what still refers to one.
    std::vector<bool> leaving(header.sets.size(), false);
    std::sort(doomed.begin(), doomed.end());
    for (const std::size_t root : doomed) {
        if (!leaving[root]) {
            std::fill(leaving.begin() + static_cast<std::ptrdiff_t>(root),
                      leaving.begin() + static_cast<std::ptrdiff_t>(subtreeEnd(header, root)),
                      true);
        }
    }
    std::set<Bytes16> gone;
    std::vector<std::vector<std::uint8_t>> identifiers;
    const MM::TypeDefinitions& types = dictionary.typeDefinitions();
    HeaderMetadata kept;
    for (std::size_t i = 0; i < header.sets.size(); ++i) {
        const LocalSet& set = header.sets[i];
        if (!leaving[i]) {
            kept.sets.push_back(set);
            continue;
        }
        if (set.instanceUID) {
            gone.insert(*set.instanceUID);
            identifiers.emplace_back(set.instanceUID->begin(), set.instanceUID->end());
        }
        for (const Item& item : set.items) {
            if (item.element != nullptr &&
                types.uniqueIdentifier(bytes16(item.element->universalLabel().bytes()))) {
                identifiers.push_back(item.bytes);
            }
        }
    }
    const auto referrers = weakReferences(kept, dictionary);
    for (const auto& identifier : identifiers) {
        const auto found = referrers.find(identifier);
        if (found != referrers.end()) {
            refuse("\"" + std::string(path) + "\": " + found->second +
                   " still refers to what would be removed");
        }
    }
    // The items, then the references that held removed sets, then the sets.
    std::size_t removed = items.size() + doomed.size();
    for (const auto& [index, at] : items) {  // one item a set
        auto& list = header.sets[index].items;
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(at));
    }
    for (LocalSet& set : header.sets) {
        auto& list = set.items;
        for (auto it = list.begin(); it != list.end();) {
            if (it->element != nullptr && holdsStrongReferences(*it->element)) {
                const auto references = strongReferences(*it->element, it->bytes);
                const bool touched = std::any_of(references.begin(), references.end(),
                                                 [&](const std::vector<std::uint8_t>& r) {
                                                     return gone.count(bytes16(r.data())) > 0;
                                                 });
                if (touched && it->element->dataType() == SDK::Types::Identifiers::StrongRef) {
                    it = list.erase(it);
                    continue;
                }
                if (touched) {
                    dropReferences(*it, gone);
                    it->value = decodeItemValue(*it, it->bytes, types);
                }
            }
            ++it;
        }
    }
    std::vector<LocalSet> remaining;
    for (std::size_t i = 0; i < header.sets.size(); ++i) {
        if (!leaving[i]) {
            remaining.push_back(std::move(header.sets[i]));
        }
    }
    header.sets = std::move(remaining);
    return removed;
}

std::size_t addSet(HeaderMetadata& header, std::string_view itemPath, std::string_view setName,
                   const MM::Dictionary& dictionary) {
    const auto steps = stepsOf(itemPath);
    if (steps.size() < 2) {
        refuse("\"" + std::string(itemPath) + "\" names no item to hold the set");
    }
    const auto sets = resolve(header, steps, steps.size() - 1, itemPath, dictionary);
    if (sets.size() != 1) {
        refuse("\"" + std::string(itemPath) + "\" names " + std::to_string(sets.size()) +
               " sets; a set is added under one (give an index, [n])");
    }
    const std::size_t parent = sets[0];
    const MM::TypeDefinitions& types = dictionary.typeDefinitions();
    const std::string wantedSet = normalisedName(setName);
    const MM::MetaMetadataSet* definition = nullptr;
    for (const MM::MetaMetadataSet& candidate : dictionary.metaMetadataSets()) {
        if (normalisedName(utf8(candidate.getProperty(u"name"))) == wantedSet ||
            normalisedName(utf8(candidate.getProperty(u"XMLTagName"))) == wantedSet) {
            definition = &candidate;
            break;
        }
    }
    if (definition == nullptr) {
        refuse("the dictionary has no set " + std::string(setName));
    }
    LocalSet& holder = header.sets[parent];
    if (!holder.instanceUID) {
        refuse(setTitle(holder) + " has no InstanceUID to refer to sets from");
    }
    const Item* existing = findItem(holder, steps.back().name, dictionary);
    Item item = existing ? *existing : Item();
    if (existing == nullptr) {
        const MM::MetaElement* element =
            attributeNamed(holder, normalisedName(steps.back().name), types);
        if (element == nullptr) {
            refuse("\"" + std::string(itemPath) + "\": " + steps.back().name +
                   " is not an item of " + setTitle(holder));
        }
        item = newItem(*element, dictionary);
    }
    if (item.element == nullptr || !holdsStrongReferences(*item.element)) {
        refuse("\"" + std::string(itemPath) + "\": " + item.name() +
               " holds no sets by strong reference");
    }
    MM::Visitors::GetMetaElementVisitor<MM::MetaReferenceHolder> reference;
    item.element->accept(reference);
    if (reference.result() != nullptr) {
        const auto& keys = reference.result()->targetSets();
        if (!keys.empty() && std::find(keys.begin(), keys.end(), definition->key()) == keys.end()) {
            refuse(item.name() + " does not hold " + utf8(definition->getProperty(u"name")) +
                   " sets");
        }
    }
    if (item.element->dataType() == SDK::Types::Identifiers::StrongRef && existing != nullptr &&
        !item.bytes.empty()) {
        refuse("\"" + std::string(itemPath) + "\": " + item.name() +
               " holds one set already; remove it first");
    }
    const Bytes16 uid = newInstanceUID();
    std::vector<Bytes16> references;
    for (const auto& reference : strongReferences(*item.element, item.bytes)) {
        references.push_back(bytes16(reference.data()));
    }
    references.push_back(uid);
    item.bytes = strongReferenceBytes(*item.element, references);
    item.value = decodeItemValue(item, item.bytes, types);

    LocalSet set;
    set.key = bytes16(definition->key().bytes());
    set.key[5] = 0x53;  // a local set of 2-byte tags and lengths, as header metadata stores them
    set.definition = definition;
    set.instanceUID = uid;
    set.depth = holder.depth + 1;
    set.parent = holder.instanceUID;
    for (const MM::MetaAttribute& attribute : definition->attributes()) {
        const auto label = bytes16(attribute.metaElement().universalLabel().bytes());
        if (isInstanceUIDLabel(label)) {
            Item instance = newItem(attribute.metaElement(), dictionary);
            instance.bytes.assign(uid.begin(), uid.end());
            instance.value = decodeItemValue(instance, instance.bytes, types);
            set.items.push_back(std::move(instance));
            break;
        }
    }
    // In tree order: after the sets of the items before it and its own.
    std::size_t at = parent + 1;
    for (const Item& before : holder.items) {
        for (const std::size_t target : targetsOf(header, parent, before)) {
            at = std::max(at, subtreeEnd(header, target));
        }
        if (&before == existing) {
            break;
        }
    }
    if (existing == nullptr) {
        at = subtreeEnd(header, parent);
    }
    if (existing != nullptr) {
        *itemIn(holder, steps.back().name, dictionary) = std::move(item);
    } else {
        holder.items.push_back(std::move(item));
    }
    header.sets.insert(header.sets.begin() + static_cast<std::ptrdiff_t>(at), std::move(set));
    return at;
}

}  // namespace Velmar::MXF::Writing
