// The registered types and labels: built once into a few arrays sorted by label and one pool
// of texts, so that a dictionary with thousands of labels costs a handful of allocations to
// fill and a binary search to ask.
#include "Velmar/SDK/MetaMetadata/TypeDefinitions.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>

namespace Velmar::SDK::MetaMetadata {

namespace {

constexpr std::size_t kVersionByte = 7;

constexpr const char* kKindNames[kTypeKindCount] = {"Integer",
                                                    "Float",
                                                    "Character",
                                                    "String",
                                                    "Record",
                                                    "Enumeration",
                                                    "ExtendibleEnumeration",
                                                    "FixedArray",
                                                    "VariableArray",
                                                    "Set",
                                                    "Rename",
                                                    "Indirect",
                                                    "Opaque",
                                                    "Stream",
                                                    "StrongReference",
                                                    "WeakReference"};

// Labels compare without their version byte first, so that one label's versions sit together
// in version order.
bool labelLess(const LabelBytes& a, const LabelBytes& b) {
    for (std::size_t i = 0; i < 16; ++i) {
        if (i != kVersionByte && a[i] != b[i]) {
            return a[i] < b[i];
        }
    }
    return a[kVersionByte] < b[kVersionByte];
}

bool sameButVersion(const LabelBytes& a, const LabelBytes& b) {
    for (std::size_t i = 0; i < 16; ++i) {
        if (i != kVersionByte && a[i] != b[i]) {
            return false;
        }
    }
    return true;
}

LabelBytes bytesOf(const std::uint8_t* label16) {
    LabelBytes bytes;
    std::memcpy(bytes.data(), label16, 16);
    return bytes;
}

// The exact entry, else the highest version of the same label.
template <class T, class LabelOf>
const T* find(const std::vector<T>& entries, const LabelBytes& label, LabelOf labelOf) {
    auto it = std::lower_bound(entries.begin(), entries.end(), label,
                               [&](const T& entry, const LabelBytes& wanted) {
                                   const LabelBytes& held = labelOf(entry);
                                   return !sameButVersion(held, wanted) && labelLess(held, wanted);
                               });
    const T* best = nullptr;
    for (; it != entries.end() && sameButVersion(labelOf(*it), label); ++it) {
        if (labelOf(*it) == label) {
            return &*it;
        }
        best = &*it;
    }
    return best;
}

struct Text {
    std::uint32_t offset = 0, size = 0;
};

}  // namespace

struct TypeDefinitions::Store {
    // While building: texts as offsets into a growing pool.
    struct RawType {
        Builder::Type type;
        Text symbol, name, namespaceURI;
        std::size_t firstMember = 0, members = 0, firstItem = 0, items = 0;
        std::size_t order = 0;
    };
    struct RawMember {
        Text symbol, name;
        LabelBytes type;
    };
    struct RawItem {
        Text symbol, name, text;
    };
    struct RawLabel {
        LabelBytes label;
        Text symbol, name;
        std::size_t order = 0;
    };
    std::string building;
    std::vector<RawType> rawTypes;
    std::vector<RawMember> rawMembers;
    std::vector<RawItem> rawItems;
    std::vector<RawLabel> rawLabels;
    std::vector<RawLabel> rawSymbols;  // name unused

    Text keep(std::string_view text) {
        Text kept{static_cast<std::uint32_t>(building.size()),
                  static_cast<std::uint32_t>(text.size())};
        building.append(text);
        return kept;
    }

    // Once built.
    std::string pool;  // what was building, taken over whole: the texts are not copied again
    std::vector<TypeDefinition> types;
    std::vector<TypeMember> members;
    std::vector<TypeItem> items;
    std::vector<LabelDefinition> labels;
    std::vector<ElementType> elementTypes;
    std::vector<Symbol> symbols;
};

const char* typeKindName(TypeKind kind) {
    const auto index = static_cast<std::size_t>(kind);
    return index < kTypeKindCount ? kKindNames[index] : "";
}

std::optional<TypeKind> typeKindFromName(std::string_view name) {
    for (std::size_t i = 0; i < kTypeKindCount; ++i) {
        if (name == kKindNames[i]) {
            return static_cast<TypeKind>(i);
        }
    }
    return std::nullopt;
}

TypeDefinitions::TypeDefinitions() : store_(new Store) {}
TypeDefinitions::TypeDefinitions(TypeDefinitions&& other) noexcept : store_(other.store_) {
    other.store_ = nullptr;
}
TypeDefinitions& TypeDefinitions::operator=(TypeDefinitions&& other) noexcept {
    std::swap(store_, other.store_);
    return *this;
}
TypeDefinitions::~TypeDefinitions() {
    delete store_;
}

bool TypeDefinitions::empty() const {
    return store_ == nullptr ||
           (store_->types.empty() && store_->labels.empty() && store_->elementTypes.empty());
}

Span<TypeDefinition> TypeDefinitions::types() const {
    return store_ ? Span<TypeDefinition>(store_->types.data(), store_->types.size())
                  : Span<TypeDefinition>();
}

Span<LabelDefinition> TypeDefinitions::labels() const {
    return store_ ? Span<LabelDefinition>(store_->labels.data(), store_->labels.size())
                  : Span<LabelDefinition>();
}

Span<TypeDefinitions::ElementType> TypeDefinitions::elementTypes() const {
    return store_ ? Span<ElementType>(store_->elementTypes.data(), store_->elementTypes.size())
                  : Span<ElementType>();
}

Span<TypeDefinitions::Symbol> TypeDefinitions::registeredSymbols() const {
    return store_ ? Span<Symbol>(store_->symbols.data(), store_->symbols.size()) : Span<Symbol>();
}

const TypeDefinition* TypeDefinitions::type(const LabelBytes& label) const {
    return store_ ? find(store_->types, label,
                         [](const TypeDefinition& t) -> const LabelBytes& { return t.label; })
                  : nullptr;
}

const TypeDefinition* TypeDefinitions::type(const std::uint8_t* label16) const {
    return type(bytesOf(label16));
}

const TypeDefinition* TypeDefinitions::elementType(const LabelBytes& elementLabel) const {
    if (store_ == nullptr) {
        return nullptr;
    }
    const ElementType* found =
        find(store_->elementTypes, elementLabel,
             [](const ElementType& e) -> const LabelBytes& { return e.element; });
    return found != nullptr ? type(found->type) : nullptr;
}

bool TypeDefinitions::uniqueIdentifier(const LabelBytes& elementLabel) const {
    if (store_ == nullptr) {
        return false;
    }
    const ElementType* found =
        find(store_->elementTypes, elementLabel,
             [](const ElementType& e) -> const LabelBytes& { return e.element; });
    return found != nullptr && found->uniqueIdentifier;
}

const TypeDefinition* TypeDefinitions::elementType(const std::uint8_t* elementLabel16) const {
    return elementType(bytesOf(elementLabel16));
}

const LabelDefinition* TypeDefinitions::label(const LabelBytes& label) const {
    return store_ ? find(store_->labels, label,
                         [](const LabelDefinition& l) -> const LabelBytes& { return l.label; })
                  : nullptr;
}

const LabelDefinition* TypeDefinitions::label(const std::uint8_t* label16) const {
    return label(bytesOf(label16));
}

std::string_view TypeDefinitions::registeredSymbol(const LabelBytes& label) const {
    if (store_ == nullptr) {
        return {};
    }
    const Symbol* found =
        find(store_->symbols, label, [](const Symbol& s) -> const LabelBytes& { return s.label; });
    return found != nullptr ? found->symbol : std::string_view();
}

const TypeDefinition* TypeDefinitions::resolve(const TypeDefinition& type) const {
    const TypeDefinition* at = &type;
    for (int depth = 0; depth <= 32; ++depth) {
        if (at->kind != TypeKind::Rename) {
            return at;
        }
        if (!at->base || (at = this->type(*at->base)) == nullptr) {
            return nullptr;
        }
    }
    return nullptr;
}

TypeDefinitions::Builder::Builder() : store_(new TypeDefinitions::Store) {}
TypeDefinitions::Builder::~Builder() {
    delete store_;
}

void TypeDefinitions::Builder::reserveTexts(std::size_t bytes) {
    store_->building.reserve(bytes);
}

void TypeDefinitions::Builder::reserve(std::size_t types, std::size_t labels,
                                       std::size_t elementTypes) {
    store_->rawTypes.reserve(types);
    store_->rawLabels.reserve(labels);
    store_->elementTypes.reserve(elementTypes);
}

void TypeDefinitions::Builder::addType(const Type& type) {
    Store::RawType raw;
    raw.type = type;
    raw.symbol = store_->keep(type.symbol);
    raw.name = store_->keep(type.name);
    raw.namespaceURI = store_->keep(type.namespaceURI);
    raw.firstMember = store_->rawMembers.size();
    raw.firstItem = store_->rawItems.size();
    raw.order = store_->rawTypes.size();
    store_->rawTypes.push_back(raw);
}

void TypeDefinitions::Builder::addMember(std::string_view symbol, std::string_view name,
                                         const LabelBytes& type) {
    if (store_->rawTypes.empty()) {
        return;
    }
    store_->rawMembers.push_back({store_->keep(symbol), store_->keep(name), type});
    ++store_->rawTypes.back().members;
}

void TypeDefinitions::Builder::addItem(std::string_view symbol, std::string_view name,
                                       std::string_view text) {
    if (store_->rawTypes.empty()) {
        return;
    }
    store_->rawItems.push_back({store_->keep(symbol), store_->keep(name), store_->keep(text)});
    ++store_->rawTypes.back().items;
}

void TypeDefinitions::Builder::addElementType(const LabelBytes& element, const LabelBytes& type,
                                              bool uniqueIdentifier) {
    store_->elementTypes.push_back({element, type, uniqueIdentifier});
}

void TypeDefinitions::Builder::addRegisteredSymbol(const LabelBytes& label,
                                                   std::string_view symbol) {
    store_->rawSymbols.push_back({label, store_->keep(symbol), {}, store_->rawSymbols.size()});
}

void TypeDefinitions::Builder::addLabel(const LabelBytes& label, std::string_view symbol,
                                        std::string_view name) {
    store_->rawLabels.push_back(
        {label, store_->keep(symbol), store_->keep(name), store_->rawLabels.size()});
}

namespace {

// Sorts by label, the first added of equal labels first, and drops the later ones.
template <class T, class LabelOf>
std::size_t sortUnique(std::vector<T>& entries, LabelOf labelOf) {
    const auto less = [&](const T& a, const T& b) { return labelLess(labelOf(a), labelOf(b)); };
    // A compiled dictionary gives them in order already.
    if (!std::is_sorted(entries.begin(), entries.end(), less)) {
        std::stable_sort(entries.begin(), entries.end(), less);
    }
    const auto end = std::unique(entries.begin(), entries.end(),
                                 [&](const T& a, const T& b) { return labelOf(a) == labelOf(b); });
    const auto dropped = static_cast<std::size_t>(entries.end() - end);
    entries.erase(end, entries.end());
    return dropped;
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || at != end) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

TypeDefinitions TypeDefinitions::Builder::build() {
    Store& s = *store_;
    duplicates_ += sortUnique(
        s.rawTypes, [](const Store::RawType& t) -> const LabelBytes& { return t.type.label; });
    duplicates_ += sortUnique(
        s.rawLabels, [](const Store::RawLabel& l) -> const LabelBytes& { return l.label; });
    duplicates_ += sortUnique(
        s.rawSymbols, [](const Store::RawLabel& l) -> const LabelBytes& { return l.label; });
    duplicates_ += sortUnique(s.elementTypes,
                              [](const ElementType& e) -> const LabelBytes& { return e.element; });

    s.pool = std::move(s.building);
    const char* pool = s.pool.data();
    const auto view = [pool](Text t) { return std::string_view(pool + t.offset, t.size); };

    s.members.reserve(s.rawMembers.size());
    for (const auto& m : s.rawMembers) {
        s.members.push_back({view(m.symbol), view(m.name), m.type});
    }
    s.items.reserve(s.rawItems.size());
    for (const auto& i : s.rawItems) {
        const std::string_view text = view(i.text);
        s.items.push_back(
            {view(i.symbol), view(i.name), text, wholeNumber(text), labelFromText(text)});
    }
    s.types.reserve(s.rawTypes.size());
    for (const auto& raw : s.rawTypes) {
        TypeDefinition t;
        t.label = raw.type.label;
        t.symbol = view(raw.symbol);
        t.name = view(raw.name);
        t.namespaceURI = view(raw.namespaceURI);
        t.kind = raw.type.kind;
        t.isSigned = raw.type.isSigned;
        t.size = raw.type.size;
        t.base = raw.type.base;
        t.members = Span<TypeMember>(s.members.data() + raw.firstMember, raw.members);
        t.items = Span<TypeItem>(s.items.data() + raw.firstItem, raw.items);
        s.types.push_back(t);
    }
    s.labels.reserve(s.rawLabels.size());
    for (const auto& l : s.rawLabels) {
        s.labels.push_back({l.label, view(l.symbol), view(l.name)});
    }
    s.symbols.reserve(s.rawSymbols.size());
    for (const auto& l : s.rawSymbols) {
        s.symbols.push_back({l.label, view(l.symbol)});
    }
    for (auto* raw : {&s.rawTypes}) {
        std::vector<Store::RawType>().swap(*raw);
    }
    std::vector<Store::RawMember>().swap(s.rawMembers);
    std::vector<Store::RawItem>().swap(s.rawItems);
    std::vector<Store::RawLabel>().swap(s.rawLabels);
    std::vector<Store::RawLabel>().swap(s.rawSymbols);
    s.building = std::string();

    // The builder keeps the new empty store and may be used again.
    TypeDefinitions built;
    std::swap(built.store_, store_);
    return built;
}

std::string labelUrn(const LabelBytes& label) {
    static const char kDigits[] = "0123456789abcdef";
    std::string text = "urn:smpte:ul:";
    for (std::size_t i = 0; i < 16; ++i) {
        if (i != 0 && i % 4 == 0) {
            text += '.';
        }
        text += kDigits[label[i] >> 4];
        text += kDigits[label[i] & 15];
    }
    return text;
}

std::optional<LabelBytes> labelFromText(std::string_view text) {
    constexpr std::string_view kUrn = "urn:smpte:ul:";
    const bool urn = text.substr(0, kUrn.size()) == kUrn;
    if (urn) {
        text.remove_prefix(kUrn.size());
    }
    // URN: four groups of 8 digits; dotted: 16 pairs.
    const std::size_t group = urn ? 4 : 1;
    if (text.size() != (urn ? 35 : 47)) {
        return std::nullopt;
    }
    LabelBytes label{};
    std::size_t at = 0;
    for (std::size_t i = 0; i < 16; ++i) {
        if (i != 0 && i % group == 0) {
            if (text[at++] != '.') {
                return std::nullopt;
            }
        }
        int value = 0;
        for (int k = 0; k < 2; ++k) {
            const char c = text[at++];
            const int digit = c >= '0' && c <= '9'   ? c - '0'
                              : c >= 'a' && c <= 'f' ? c - 'a' + 10
                              : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                     : -1;
            if (digit < 0) {
                return std::nullopt;
            }
            value = value * 16 + digit;
        }
        label[i] = static_cast<std::uint8_t>(value);
    }
    return label;
}

}  // namespace Velmar::SDK::MetaMetadata
