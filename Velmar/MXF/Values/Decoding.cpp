// The decoder: an item's value by its registered type (records, enumerations, arrays, indirect
// values, labels named), else by its element's data type.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "BigEndian.h"
#include "Decoding.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Values {

using namespace Model;

namespace {

namespace MM = SDK::MetaMetadata;
using MM::LabelBytes;
using MM::TypeKind;

// Records nest records and renames rename renames; no registered type goes deeper than a few.
constexpr int kMostDepth = 16;

bool isLabel(const std::uint8_t* bytes) {
    return bytes[0] == 0x06 && bytes[1] == 0x0e && bytes[2] == 0x2b && bytes[3] == 0x34;
}

class TypedDecoder {
  public:
    // `shownName` names the item's type in what is said of its value (its data type's name, which
    // the reader shows beside it), where the registered type's symbol would be another name.
    TypedDecoder(const MM::TypeDefinitions& types, TypeCache& cache, Decoded& out,
                 const char* shownName = nullptr)
        : types_(types), cache_(cache), out_(out), shownName_(shownName) {}

    // The fixed size of the type's values, or 0 where it varies or cannot be known.
    std::size_t sizeOf(const MM::TypeDefinition& type, int depth = 0) const {
        if (depth > kMostDepth) {
            return 0;
        }
        switch (type.kind) {
            case TypeKind::Integer:
            case TypeKind::Float:
                return type.size;
            case TypeKind::Character:
                return type.symbol == "Character" ? 2 : 1;
            case TypeKind::Record: {
                std::size_t total = 0;
                for (const MM::TypeMember& member : type.members) {
                    const MM::TypeDefinition* memberType = typeOf(member.type);
                    const std::size_t size = memberType ? sizeOf(*memberType, depth + 1) : 0;
                    if (size == 0) {
                        return 0;
                    }
                    total += size;
                }
                return total;
            }
            case TypeKind::Enumeration:
            case TypeKind::Rename:
            case TypeKind::FixedArray: {
                const MM::TypeDefinition* base = type.base ? typeOf(*type.base) : nullptr;
                const std::size_t size = base ? sizeOf(*base, depth + 1) : 0;
                return type.kind == TypeKind::FixedArray ? size * type.size : size;
            }
            case TypeKind::ExtendibleEnumeration:
            case TypeKind::StrongReference:
                return 16;
            default:
                return 0;
        }
    }

    // The value, or none where it stays raw (opaque data, a type not held, a size that does
    // not fit, which then says why in out_.badSize).
    std::optional<Value> decode(const MM::TypeDefinition& type, const std::uint8_t* b,
                                std::size_t size, int depth = 0) {
        if (depth > kMostDepth) {
            return std::nullopt;
        }
        // MXF stores a product version's release type in two bytes, where the register's
        // enumeration has one (ST 377-1 gives the record 10 bytes).
        if (type.kind == TypeKind::Record && type.symbol == "ProductVersionType" && size == 10 &&
            type.members.size() == 5) {
            return productVersion(type, b, depth);
        }
        const std::size_t fixed = sizeOf(type, depth);
        if (fixed != 0 && fixed != size) {
            badSize(std::to_string(size) + " bytes where " + nameOf(type, depth) + " has " +
                    std::to_string(fixed));
            return std::nullopt;
        }
        switch (type.kind) {
            case TypeKind::Integer:
                return integerValue(b, size, type.isSigned);
            case TypeKind::Float:
                return floatValue(b, size);
            case TypeKind::Character:
            case TypeKind::String:
                return text(type, b, size, depth);
            case TypeKind::Record:
                return record(type, b, size, depth);
            case TypeKind::Enumeration:
                return enumeration(type, b, size, depth);
            case TypeKind::ExtendibleEnumeration:
                return label(b);
            case TypeKind::FixedArray:
                return fixedArray(type, b, size, depth);
            case TypeKind::VariableArray:
            case TypeKind::Set:
                return collection(type, b, size, depth);
            case TypeKind::Rename: {
                const MM::TypeDefinition* base = type.base ? typeOf(*type.base) : nullptr;
                return base ? decode(*base, b, size, depth + 1) : std::nullopt;
            }
            case TypeKind::Indirect:
                return indirect(b, size, depth);
            case TypeKind::StrongReference:
                return Value::text(uuidText(bytes16(b)));
            case TypeKind::WeakReference:
                return weakReference(type, b, size);
            case TypeKind::Opaque:
            case TypeKind::Stream:
                return std::nullopt;
        }
        return std::nullopt;
    }

    // A label by its bytes: named where the register has it, else its dotted bytes.
    Value label(const std::uint8_t* b) const {
        if (const MM::LabelDefinition* registered = types_.label(b)) {
            return Value::label(dottedHex(b, 16), std::string(registered->symbol),
                                std::string(registered->name));
        }
        return Value::text(dottedHex(b, 16));
    }

  private:
    // A type a dictionary's own definition names (a base, a member's type), found once a reader.
    const MM::TypeDefinition* typeOf(const LabelBytes& label) const {
        const auto [at, added] = cache_.try_emplace(&label, nullptr);
        if (added) {
            at->second = types_.type(label);
        }
        return at->second;
    }

    std::string nameOf(const MM::TypeDefinition& type, int depth) const {
        return depth == 0 && shownName_ != nullptr ? shownName_ : std::string(type.symbol);
    }

    void badSize(const std::string& why) {
        if (out_.badSize.empty()) {
            out_.badSize = why;
        }
    }

    std::optional<Value> text(const MM::TypeDefinition& type, const std::uint8_t* b,
                              std::size_t size, int depth) const {
        const MM::TypeDefinition* character = &type;
        if (type.kind == TypeKind::String) {
            character = type.base ? typeOf(*type.base) : nullptr;
            character = character ? types_.resolve(*character) : nullptr;
        }
        if (character == nullptr || character->kind != TypeKind::Character || depth > kMostDepth) {
            return std::nullopt;
        }
        const TextEncoding encoding = character->symbol == "Character"       ? TextEncoding::UTF16BE
                                      : character->symbol == "UTF8Character" ? TextEncoding::UTF8
                                                                             : TextEncoding::ISO7;
        bool replaced = false;
        std::string utf8 = decodeText(b, size, encoding, replaced);
        if (replaced && out_.invalidText.empty()) {
            out_.invalidText = std::string("bytes that are not valid ") +
                               (encoding == TextEncoding::UTF16BE ? "UTF-16"
                                : encoding == TextEncoding::UTF8  ? "UTF-8"
                                                                  : "ISO 646 (7-bit) text") +
                               " in a " + nameOf(type, depth) + ", read as U+FFFD";
        }
        return Value::text(std::move(utf8));
    }

    std::optional<Value> record(const MM::TypeDefinition& type, const std::uint8_t* b,
                                std::size_t size, int depth) {
        // The records the reader has long given a form of their own keep it.
        if (type.symbol == "AUID") {
            return isLabel(b) ? label(b) : Value::text(dottedHex(b, 16));
        }
        if (type.symbol == "PackageIDType") {
            return Value::text(plainHex(b, size));
        }
        if (type.symbol == "Rational") {
            return rationalValue(b);
        }
        if (type.symbol == "VersionType") {
            return versionValue(b);
        }
        if (type.symbol == "TimeStamp") {
            return timestampValue(b);
        }
        if (type.members.empty()) {
            return std::nullopt;
        }
        // Every member of a fixed size but perhaps the last, which takes what is left (J2K
        // Extended Capabilities ends in a variable array).
        std::size_t fixed = 0;
        for (std::size_t i = 0; i < type.members.size(); ++i) {
            const MM::TypeDefinition* memberType = typeOf(type.members[i].type);
            const std::size_t memberSize = memberType ? sizeOf(*memberType, depth + 1) : 0;
            if (memberType == nullptr || (memberSize == 0 && i + 1 != type.members.size())) {
                return std::nullopt;
            }
            fixed += memberSize;
        }
        if (fixed > size) {
            badSize(std::to_string(size) + " bytes where " + nameOf(type, depth) +
                    " has at least " + std::to_string(fixed));
            return std::nullopt;
        }
        std::vector<Value::Member> members;
        members.reserve(type.members.size());
        std::size_t at = 0;
        for (const MM::TypeMember& member : type.members) {
            const MM::TypeDefinition* memberType = typeOf(member.type);
            std::size_t memberSize = sizeOf(*memberType, depth + 1);
            if (memberSize == 0) {
                memberSize = size - at;
            }
            std::optional<Value> value = decode(*memberType, b + at, memberSize, depth + 1);
            if (!value) {
                return std::nullopt;
            }
            members.emplace_back(std::string(member.symbol), std::move(*value));
            at += memberSize;
        }
        return Value::record(std::move(members));
    }

    std::optional<Value> productVersion(const MM::TypeDefinition& type, const std::uint8_t* b,
                                        int depth) {
        std::vector<Value::Member> members;
        for (std::size_t i = 0; i < 4; ++i) {
            members.emplace_back(std::string(type.members[i].symbol),
                                 Value::unsignedInteger(bigEndian(b + 2 * i, 2)));
        }
        const MM::TypeDefinition* release = typeOf(type.members[4].type);
        std::optional<Value> buildType;
        if (release != nullptr && release->kind == TypeKind::Enumeration && b[8] == 0) {
            buildType = decode(*release, b + 9, 1, depth + 1);
        } else if (release != nullptr && out_.unknownEnumeration.empty()) {
            out_.unknownEnumeration = std::to_string(bigEndian(b + 8, 2)) + " is not a value of " +
                                      std::string(release->symbol);
        }
        members.emplace_back(
            std::string(type.members[4].symbol),
            buildType ? std::move(*buildType) : Value::unsignedInteger(bigEndian(b + 8, 2)));
        return Value::record(std::move(members));
    }

    std::optional<Value> enumeration(const MM::TypeDefinition& type, const std::uint8_t* b,
                                     std::size_t size, int depth) {
        const MM::TypeDefinition* base = type.base ? typeOf(*type.base) : nullptr;
        base = base ? types_.resolve(*base) : nullptr;
        if (base == nullptr) {
            return std::nullopt;
        }
        if (type.symbol == "Boolean") {
            return size == 1 ? std::optional<Value>(Value::boolean(b[0] != 0)) : std::nullopt;
        }
        std::optional<Value> value = decode(*base, b, size, depth + 1);
        if (!value) {
            return std::nullopt;
        }
        for (const MM::TypeItem& item : type.items) {
            const bool matches =
                value->kind() == Value::Kind::Text ? item.text == value->asText()
                : value->kind() == Value::Kind::Signed
                    ? item.number && *item.number == value->asSigned()
                : value->kind() == Value::Kind::Unsigned
                    ? item.number && *item.number >= 0 &&
                          static_cast<std::uint64_t>(*item.number) == value->asUnsigned()
                    : false;
            if (matches && !item.symbol.empty()) {
                return Value::text(std::string(item.symbol));
            }
        }
        // Enumerations of codes (texts) are open; of numbers, the register lists every value.
        if (value->kind() != Value::Kind::Text && out_.unknownEnumeration.empty()) {
            out_.unknownEnumeration =
                value->toJson() + " is not a value of " + std::string(type.symbol);
        }
        return value;
    }

    std::optional<Value> fixedArray(const MM::TypeDefinition& type, const std::uint8_t* b,
                                    std::size_t size, int depth) {
        if (type.symbol == "UUID") {
            return Value::text(uuidText(bytes16(b)));
        }
        const MM::TypeDefinition* element = type.base ? typeOf(*type.base) : nullptr;
        const MM::TypeDefinition* resolved = element ? types_.resolve(*element) : nullptr;
        // Bytes are opaque data, not a list of numbers.
        if (resolved == nullptr || (resolved->kind == TypeKind::Integer && resolved->size == 1)) {
            return std::nullopt;
        }
        const std::size_t each = sizeOf(*element, depth + 1);
        if (each == 0 || size != each * type.size) {
            return std::nullopt;
        }
        return items(*element, b, each, type.size, depth);
    }

    std::optional<Value> collection(const MM::TypeDefinition& type, const std::uint8_t* b,
                                    std::size_t size, int depth) {
        const MM::TypeDefinition* element = type.base ? typeOf(*type.base) : nullptr;
        const MM::TypeDefinition* resolved = element ? types_.resolve(*element) : nullptr;
        if (resolved == nullptr || (resolved->kind == TypeKind::Integer && resolved->size == 1)) {
            return std::nullopt;  // bytes with no header: opaque data
        }
        if (resolved->kind == TypeKind::String || resolved->kind == TypeKind::Character) {
            return strings(type, b, size, depth);  // NUL-ended, with no header
        }
        if (size < 8) {
            badSize(std::to_string(size) + " bytes, fewer than a " + nameOf(type, depth) +
                    "'s 8-byte header");
            return std::nullopt;
        }
        const std::uint64_t count = bigEndian(b, 4);
        const std::uint64_t itemSize = bigEndian(b + 4, 4);
        const std::uint64_t body = size - 8;
        if (count == 0 && body == 0) {
            return Value::list({});
        }
        // Compared by division, never by multiplying counts read from the file.
        if (itemSize == 0 || body % itemSize != 0 || body / itemSize != count) {
            badSize(std::to_string(count) + " items of " + std::to_string(itemSize) + " bytes in " +
                    std::to_string(body) + " bytes");
            return std::nullopt;
        }
        const std::size_t fixed = sizeOf(*element, depth + 1);
        if (fixed != 0 && fixed != itemSize) {
            badSize("items of " + std::to_string(itemSize) + " bytes where " +
                    std::string(element->symbol) + " has " + std::to_string(fixed));
            return std::nullopt;
        }
        return items(*element, b + 8, static_cast<std::size_t>(itemSize),
                     static_cast<std::size_t>(count), depth);
    }

    Value strings(const MM::TypeDefinition& type, const std::uint8_t* b, std::size_t size,
                  int depth) {
        bool replaced = false;
        Value list = stringList(b, size, replaced);
        if (replaced && out_.invalidText.empty()) {
            out_.invalidText =
                "bytes that are not valid UTF-16 in a " + nameOf(type, depth) + ", read as U+FFFD";
        }
        return list;
    }

    std::optional<Value> items(const MM::TypeDefinition& element, const std::uint8_t* b,
                               std::size_t each, std::size_t count, int depth) {
        std::vector<Value> list;
        list.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            std::optional<Value> value = decode(element, b + i * each, each, depth + 1);
            if (!value) {
                return std::nullopt;
            }
            list.push_back(std::move(*value));
        }
        return Value::list(std::move(list));
    }

    // A byte order ('B' big-endian; little-endian values stay raw), the actual type's label,
    // then the value.
    std::optional<Value> indirect(const std::uint8_t* b, std::size_t size, int depth) {
        if (size < 17) {
            badSize(std::to_string(size) + " bytes, fewer than an indirect value's 17-byte header");
            return std::nullopt;
        }
        // The type's identifier is an AUID: a label stored with its halves swapped, as AAF
        // writes it, or as a label.
        std::uint8_t type[16];
        const bool swapped = !isLabel(b + 1) && isLabel(b + 9);
        for (int i = 0; i < 16; ++i) {
            type[i] = swapped ? b[1 + (i + 8) % 16] : b[1 + i];
        }
        const MM::TypeDefinition* actual = types_.type(type);
        if (b[0] != 'B' || actual == nullptr) {
            return std::nullopt;
        }
        std::optional<Value> value = decode(*actual, b + 17, size - 17, depth + 1);
        if (!value) {
            return std::nullopt;
        }
        return Value::record(
            {{"actualType", Value::label(dottedHex(type, 16), std::string(actual->symbol),
                                         std::string(actual->name))},
             {"value", std::move(*value)}});
    }

    // The target's identifier: a label, named where the register has it; else its bytes dotted.
    std::optional<Value> weakReference(const MM::TypeDefinition& type, const std::uint8_t* b,
                                       std::size_t size) {
        if (size == 0) {
            badSize("0 bytes for " + nameOf(type, 0));
            return std::nullopt;
        }
        return size == 16 && isLabel(b) ? label(b) : Value::text(dottedHex(b, size));
    }

    const MM::TypeDefinitions& types_;
    TypeCache& cache_;
    Decoded& out_;
    const char* shownName_;
};

}  // namespace

std::size_t registeredSize(const MM::TypeDefinition& type, const MM::TypeDefinitions& types) {
    Decoded unused;
    TypeCache cache;
    return TypedDecoder(types, cache, unused).sizeOf(type);
}

ItemDecoder::ItemDecoder(const MM::TypeDefinitions& types) : types_(types) {}

Decoded ItemDecoder::decode(const MM::MetaElement* element, const MM::TypeDefinition* type,
                            const std::vector<std::uint8_t>& bytes) {
    Decoded decoded;
    if (type != nullptr) {
        const char* shown =
            element ? SDK::Types::Identifiers::identifierToString(element->dataType()) : nullptr;
        decoded.value =
            TypedDecoder(types_, cache_, decoded, shown).decode(*type, bytes.data(), bytes.size());
        if (decoded.value || !decoded.badSize.empty()) {
            if (!decoded.value) {
                decoded.unknownEnumeration.clear();
            }
            return decoded;
        }
    }
    // Where the register gives no type, or one that leaves the value raw, its data type may say
    // more (a list of names, say).
    return element != nullptr ? decodeByDataType(*element, bytes) : decoded;
}

Decoded decodeItem(const MM::MetaElement* element, const MM::TypeDefinition* type,
                   const MM::TypeDefinitions& types, const std::vector<std::uint8_t>& bytes) {
    return ItemDecoder(types).decode(element, type, bytes);
}

}  // namespace Velmar::MXF::Values
