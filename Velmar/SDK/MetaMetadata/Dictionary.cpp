#include "Velmar/SDK/MetaMetadata/Dictionary.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::SDK::MetaMetadata {

namespace {

constexpr std::size_t kVersionByte = 7;
constexpr std::size_t kCodingByte = 5;

std::array<unsigned char, 16> exact(const unsigned char* bytes) {
    std::array<unsigned char, 16> copy;
    std::memcpy(copy.data(), bytes, copy.size());
    return copy;
}

std::array<unsigned char, 16> masked(const unsigned char* bytes, bool coding) {
    std::array<unsigned char, 16> copy = exact(bytes);
    copy[kVersionByte] = 0;
    if (coding) {
        copy[kCodingByte] = 0;
    }
    return copy;
}

// Keeps positions ascending and unique, so that the earliest set wins.
void insertPosition(Templates::vector<std::size_t>& positions, std::size_t position) {
    auto at = std::lower_bound(positions.begin(), positions.end(), position);
    if (at == positions.end() || *at != position) {
        positions.insert(at, position);
    }
}

}  // namespace

struct Dictionary::NameIndexes {
    ByText<const MetaElement*> byTagName;
    ByText<const MetaElement*> byName;

    // The first element with each name wins, as when the index was kept from the start.
    void add(const MetaElement* element) {
        if (element->hasProperty(u"XMLTagName")) {
            byTagName.emplace(WString(element->getProperty(u"XMLTagName")), element);
        }
        if (element->hasProperty(u"name")) {
            byName.emplace(WString(element->getProperty(u"name")), element);
        }
    }
};

Dictionary::LazyNameIndexes::LazyNameIndexes(LazyNameIndexes&& other) noexcept
    : made_(other.made_.exchange(nullptr)) {}

Dictionary::LazyNameIndexes& Dictionary::LazyNameIndexes::operator=(
    LazyNameIndexes&& other) noexcept {
    if (this != &other) {
        delete made_.exchange(other.made_.exchange(nullptr));
    }
    return *this;
}

Dictionary::LazyNameIndexes::~LazyNameIndexes() {
    delete made_.load();
}

const Dictionary::NameIndexes& Dictionary::LazyNameIndexes::get(
    const ElementStore& elements) const {
    if (NameIndexes* indexes = made()) {
        return *indexes;
    }
    // Threads that meet here each make one; the first published is kept.
    auto indexes = std::make_unique<NameIndexes>();
    indexes->byTagName.reserve(elements.size());
    indexes->byName.reserve(elements.size());
    for (const auto& element : elements) {
        indexes->add(element.get());
    }
    NameIndexes* expected = nullptr;
    if (made_.compare_exchange_strong(expected, indexes.get(), std::memory_order_acq_rel)) {
        return *indexes.release();
    }
    return *expected;
}

AbstractDictionary::~AbstractDictionary() = default;
MetaElementRegistry::~MetaElementRegistry() = default;

Dictionary::Dictionary() = default;
Dictionary::Dictionary(Dictionary&& other) noexcept = default;
Dictionary& Dictionary::operator=(Dictionary&& other) noexcept = default;
Dictionary::~Dictionary() = default;

const Types::UniversalLabel* Dictionary::universalLabel(const Types::LocalTag& tag) const {
    auto it = tagToLabel_.find(tag.value());
    return it == tagToLabel_.end() ? nullptr : &it->second;
}

void Dictionary::addLocalTag(const Types::LocalTag& tag, const Types::UniversalLabel& label) {
    auto byLabel = labelToTag_.find(exact(label.bytes()));
    auto byTag = tagToLabel_.find(tag.value());
    const bool labelTaken = byLabel != labelToTag_.end();
    const bool tagTaken = byTag != tagToLabel_.end();
    if (labelTaken && tagTaken && byLabel->second == tag) {
        return;  // the same mapping again
    }
    if (labelTaken || tagTaken) {
        localTagConflicts_.push_back(LocalTagConflict{tag, label});
        return;
    }
    labelToTag_.emplace(exact(label.bytes()), tag);
    tagToLabel_.emplace(tag.value(), label);
}

const Types::LocalTag* Dictionary::localTag(const Types::UniversalLabel& label) const {
    auto it = labelToTag_.find(exact(label.bytes()));
    return it == labelToTag_.end() ? nullptr : &it->second;
}

Templates::vector<Dictionary::LocalTagMapping> Dictionary::localTags() const {
    Templates::vector<LocalTagMapping> mappings;
    mappings.reserve(tagToLabel_.size());
    for (const auto& [tag, label] : tagToLabel_) {
        mappings.push_back(LocalTagMapping{Types::LocalTag(tag), label});
    }
    std::sort(mappings.begin(), mappings.end(),
              [](const LocalTagMapping& a, const LocalTagMapping& b) { return a.tag < b.tag; });
    return mappings;
}

const MetaMetadataSet* Dictionary::metaMetadataSet(const KLV::Key& key) const {
    auto it = setsByKey_.find(exact(key.bytes()));
    return it == setsByKey_.end() ? nullptr : sets_[it->second].get();
}

void Dictionary::addMetaMetadataSet(const KLV::Key& key, const MetaMetadataSet& set) {
    Templates::auto_ptr<MetaMetadataSet> copy(new MetaMetadataSet(set));
    auto it = setsByKey_.find(exact(key.bytes()));
    std::size_t position = 0;
    if (it != setsByKey_.end()) {
        position = it->second;
        sets_[position] = std::move(copy);
    } else {
        position = sets_.size();
        sets_.push_back(std::move(copy));
        setsByKey_.emplace(exact(key.bytes()), position);
        setsByVersionless_[masked(key.bytes(), false)].push_back(position);
        setsByCodingless_[masked(key.bytes(), true)].push_back(position);
    }
    const MetaMetadataSet& held = *sets_[position];
    if (held.hasProperty(u"name")) {
        insertPosition(setsByName_[WString(held.getProperty(u"name"))], position);
    }
    if (held.hasProperty(u"XMLTagName")) {
        insertPosition(setsByTagName_[WString(held.getProperty(u"XMLTagName"))], position);
    }
}

const MetaMetadataSet* Dictionary::findMetaMetadataSet(const KLV::Key& key,
                                                       LabelMatch* match) const {
    LabelMatch found = LabelMatch::None;
    const MetaMetadataSet* result = metaMetadataSet(key);
    if (result != nullptr) {
        found = LabelMatch::Exact;
    } else {
        // The highest version wins, then the earliest set.
        auto best = [&](const ByBytes<Positions>& index, bool coding) {
            const MetaMetadataSet* chosen = nullptr;
            auto it = index.find(masked(key.bytes(), coding));
            if (it != index.end()) {
                for (std::size_t position : it->second) {
                    const MetaMetadataSet* candidate = sets_[position].get();
                    if (chosen == nullptr || candidate->key().bytes()[kVersionByte] >
                                                 chosen->key().bytes()[kVersionByte]) {
                        chosen = candidate;
                    }
                }
            }
            return chosen;
        };
        if ((result = best(setsByVersionless_, false)) != nullptr) {
            found = LabelMatch::IgnoringVersion;
        } else if ((result = best(setsByCodingless_, true)) != nullptr) {
            found = LabelMatch::IgnoringCoding;
        }
    }
    if (match != nullptr) {
        *match = found;
    }
    return result;
}

const MetaMetadataSet* Dictionary::setByProperty(const ByText<Positions>& index,
                                                 const XMLCh* value) const {
    if (value == nullptr) {
        return nullptr;
    }
    auto it = index.find(WString(value));
    if (it == index.end()) {
        return nullptr;
    }
    const XMLCh* property = &index == &setsByName_ ? u"name" : u"XMLTagName";
    // A set replaced since may have another name now.
    for (std::size_t position : it->second) {
        const MetaMetadataSet& set = *sets_[position];
        if (set.hasProperty(property) && it->first == set.getProperty(property)) {
            return &set;
        }
    }
    return nullptr;
}

const MetaMetadataSet* Dictionary::metaMetadataSetByName(const XMLCh* name) const {
    return setByProperty(setsByName_, name);
}

const MetaMetadataSet* Dictionary::metaMetadataSetByTagName(const XMLCh* tagName) const {
    return setByProperty(setsByTagName_, tagName);
}

void Dictionary::reserve(std::size_t elements, std::size_t sets) {
    elements_.reserve(elements);
    elementsByLabel_.reserve(elements);
    elementsByVersionless_.reserve(elements);
    // Registers give most elements a local tag.
    labelToTag_.reserve(elements);
    tagToLabel_.reserve(elements);
    sets_.reserve(sets);
    setsByKey_.reserve(sets);
    setsByVersionless_.reserve(sets);
    setsByCodingless_.reserve(sets);
    setsByName_.reserve(sets);
    setsByTagName_.reserve(sets);
}

const MetaElement* Dictionary::metaElement(const Types::UniversalLabel& label) const {
    auto it = elementsByLabel_.find(exact(label.bytes()));
    return it == elementsByLabel_.end() ? nullptr : it->second;
}

void Dictionary::addMetaElement(const Types::UniversalLabel& label,
                                Templates::auto_ptr<MetaElement> element) {
    if (!element) {
        return;
    }
    const MetaElement* held = element.get();
    elements_.push_back(std::move(element));
    if (elementsByLabel_.emplace(exact(label.bytes()), held).second) {
        const auto [it, added] = elementsByVersionless_.emplace(masked(label.bytes(), false), held);
        if (!added && label[kVersionByte] > it->second->universalLabel()[kVersionByte]) {
            it->second = held;
        }
    }
    if (NameIndexes* indexes = elementsByNames_.made()) {
        indexes->add(held);
    }
}

const MetaElement* Dictionary::findMetaElement(const Types::UniversalLabel& label,
                                               LabelMatch* match) const {
    LabelMatch found = LabelMatch::None;
    const MetaElement* result = metaElement(label);
    if (result != nullptr) {
        found = LabelMatch::Exact;
    } else if (label.size() == 16) {
        auto it = elementsByVersionless_.find(masked(label.bytes(), false));
        if (it != elementsByVersionless_.end()) {
            result = it->second;
            found = LabelMatch::IgnoringVersion;
        }
    }
    if (match != nullptr) {
        *match = found;
    }
    return result;
}

const MetaElement* Dictionary::metaElementByName(const XMLCh* name) const {
    const auto& index = elementsByNames_.get(elements_).byName;
    auto it = index.find(WString(name != nullptr ? name : u""));
    return it == index.end() ? nullptr : it->second;
}

const MetaElement* Dictionary::metaElementByLocalTag(const Types::LocalTag& tag) const {
    const Types::UniversalLabel* label = universalLabel(tag);
    return label == nullptr ? nullptr : metaElement(*label);
}

const MetaElement* Dictionary::metaElementByTagName(const XMLCh* tagName) const {
    const auto& index = elementsByNames_.get(elements_).byTagName;
    auto it = index.find(WString(tagName != nullptr ? tagName : u""));
    return it == index.end() ? nullptr : it->second;
}

Templates::vector<const MetaElement*> Dictionary::duplicateMetaElements() const {
    Templates::vector<const MetaElement*> duplicates;
    for (const auto& element : elements_) {
        if (metaElement(element->universalLabel()) != element.get()) {
            duplicates.push_back(element.get());
        }
    }
    return duplicates;
}

namespace {

std::string utf8Of(const XMLCh* text) {
    const String bytes = Utils::toUtf8(text);
    return std::string(bytes.data(), bytes.size());
}

template <class Label>
std::string labelText(const Label& label) {
    return utf8Of(label.toString(Types::Dotted).c_str());
}

// A type definition given to a builder whole: its members and items after it.
void addType(TypeDefinitions::Builder& builder, const TypeDefinition& type) {
    builder.addType({type.label, type.symbol, type.name, type.namespaceURI, type.kind,
                     type.isSigned, type.size, type.base});
    for (const TypeMember& member : type.members) {
        builder.addMember(member.symbol, member.name, member.type);
    }
    for (const TypeItem& item : type.items) {
        builder.addItem(item.symbol, item.name, item.text);
    }
}

void addAll(TypeDefinitions::Builder& builder, const TypeDefinitions& types) {
    for (const TypeDefinition& type : types.types()) {
        addType(builder, type);
    }
    for (const TypeDefinitions::ElementType& e : types.elementTypes()) {
        builder.addElementType(e.element, e.type, e.uniqueIdentifier);
    }
    for (const TypeDefinitions::Symbol& symbol : types.registeredSymbols()) {
        builder.addRegisteredSymbol(symbol.label, symbol.symbol);
    }
    for (const LabelDefinition& label : types.labels()) {
        builder.addLabel(label.label, label.symbol, label.name);
    }
}

}  // namespace

std::vector<std::string> Dictionary::stack(Templates::auto_ptr<Dictionary> upper) {
    std::vector<std::string> clashes;
    if (!upper) {
        return clashes;
    }
    std::size_t alike = 0;  // defined again under the same name: one line for them all
    for (Templates::auto_ptr<MetaElement>& element : upper->elements_) {
        const Types::UniversalLabel label = element->universalLabel();
        if (const MetaElement* held = metaElement(label)) {
            const std::string name = utf8Of(element->getProperty(u"name"));
            const std::string heldName = utf8Of(held->getProperty(u"name"));
            if (name == heldName) {
                ++alike;
            } else {
                clashes.push_back("element " + name + " (" + labelText(label) +
                                  "): defined already, as " + heldName);
            }
            continue;
        }
        addMetaElement(label, std::move(element));
    }
    for (const LocalTagMapping& mapping : upper->localTags()) {
        const Types::UniversalLabel* heldLabel = universalLabel(mapping.tag);
        const Types::LocalTag* heldTag = localTag(mapping.label);
        if ((heldLabel != nullptr && !(*heldLabel == mapping.label)) ||
            (heldTag != nullptr && *heldTag != mapping.tag)) {
            clashes.push_back("local tag " + utf8Of(mapping.tag.toString(Types::Dotted).c_str()) +
                              " of " + labelText(mapping.label) + ": " +
                              (heldLabel != nullptr && !(*heldLabel == mapping.label)
                                   ? "the tag stands for " + labelText(*heldLabel) + " already"
                                   : "the label has the tag " +
                                         utf8Of(heldTag->toString(Types::Dotted).c_str()) +
                                         " already"));
        }
        addLocalTag(mapping.tag, mapping.label);  // the first mapping stays
    }
    for (const Templates::auto_ptr<MetaMetadataSet>& set : upper->sets_) {
        if (const MetaMetadataSet* held = metaMetadataSet(set->key())) {
            const std::string name = utf8Of(set->getProperty(u"name"));
            const std::string heldName = utf8Of(held->getProperty(u"name"));
            if (name == heldName && set->attributeCount() == held->attributeCount()) {
                ++alike;
            } else {
                clashes.push_back("set " + name + " (" + labelText(set->key()) +
                                  "): defined already, as " + heldName + " of " +
                                  std::to_string(held->attributeCount()) + " attributes");
            }
            continue;
        }
        addMetaMetadataSet(set->key(), *set);
    }
    if (types_.empty()) {
        types_ = std::move(upper->types_);
    } else if (!upper->types_.empty()) {
        for (const TypeDefinition& type : upper->types_.types()) {
            const TypeDefinition* held = types_.type(type.label);
            if (held != nullptr && held->label == type.label) {
                if (held->symbol == type.symbol && held->kind == type.kind) {
                    ++alike;
                } else {
                    clashes.push_back("type " + std::string(type.symbol) + " (" +
                                      labelUrn(type.label) + "): defined already, as " +
                                      std::string(held->symbol));
                }
            }
        }
        for (const LabelDefinition& label : upper->types_.labels()) {
            const LabelDefinition* held = types_.label(label.label);
            if (held != nullptr && held->label == label.label) {
                if (held->symbol == label.symbol) {
                    ++alike;
                } else {
                    clashes.push_back("label " + std::string(label.symbol) + " (" +
                                      labelUrn(label.label) + "): defined already, as " +
                                      std::string(held->symbol));
                }
            }
        }
        TypeDefinitions::Builder builder;
        addAll(builder, types_);
        addAll(builder, upper->types_);
        types_ = builder.build();
    }
    if (alike != 0) {
        clashes.push_back(std::to_string(alike) +
                          " elements, sets, types and labels defined already under the same "
                          "names: the definitions below kept");
    }
    layers_.push_back(std::move(upper));
    return clashes;
}

}  // namespace Velmar::SDK::MetaMetadata
