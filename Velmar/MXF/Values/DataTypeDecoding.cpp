// The decoder's fallback: values by their element's data type, where the register gives no type
// or one that leaves them raw (an array of names, say).
#include "Decoding.h"

#include <cstring>

#include "BigEndian.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Types/Identifiers.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Values {

using namespace Model;

namespace {

namespace Id = SDK::Types::Identifiers;
namespace MM = SDK::MetaMetadata;

// The fixed size of a type's values, or 0 where it varies or is not known.
std::size_t fixedSize(Id::Identifier type) {
    switch (type) {
        case Id::Boolean:
        case Id::Int8:
        case Id::UInt8:
            return 1;
        case Id::Int16:
        case Id::UInt16:
        case Id::UTF16:
        case Id::VersionType:
        case Id::LocalTag:
            return 2;
        case Id::Int32:
        case Id::UInt32:
        case Id::Float32:
            return 4;
        case Id::Int64:
        case Id::UInt64:
        case Id::Float64:
        case Id::Length:
        case Id::Position:
        case Id::Rational:
        case Id::Timestamp:
            return 8;
        case Id::UUID:
        case Id::UniversalLabel:
        case Id::AUID:
        case Id::StrongRef:
            return 16;
        case Id::UMID32:
            return 32;
        case Id::UMID64:
            return 64;
        default:
            return 0;
    }
}

// One value of a simple type; none where it has no decoded form.
std::optional<Value> simple(Id::Identifier type, const std::uint8_t* b, std::size_t size,
                            bool& replaced) {
    switch (type) {
        case Id::Boolean:
            return Value::boolean(b[0] != 0);
        case Id::Int8:
        case Id::Int16:
        case Id::Int32:
        case Id::Int64:
        case Id::Length:
        case Id::Position:
            return integerValue(b, size, true);
        case Id::UInt8:
        case Id::UInt16:
        case Id::UInt32:
        case Id::UInt64:
            return integerValue(b, size, false);
        case Id::Float32:
        case Id::Float64:
            return floatValue(b, size);
        case Id::UTF16:
        case Id::UTF16String:
            return Value::text(decodeText(b, size, TextEncoding::UTF16BE, replaced));
        case Id::ISO7String:
            return Value::text(decodeText(b, size, TextEncoding::ISO7, replaced));
        case Id::UTF8String:
            return Value::text(decodeText(b, size, TextEncoding::UTF8, replaced));
        case Id::UUID:
        case Id::StrongRef:
            return Value::text(uuidText(bytes16(b)));
        case Id::UniversalLabel:
        case Id::AUID:
        case Id::WeakRef:
        case Id::ExtendibleEnumeration:
        case Id::LocalTag:
            return Value::text(dottedHex(b, size));
        case Id::UMID32:
        case Id::UMID64:
            return Value::text(plainHex(b, size));
        case Id::Timestamp:
            return timestampValue(b);
        case Id::Rational:
            return rationalValue(b);
        case Id::VersionType:
            return versionValue(b);
        default:
            return std::nullopt;
    }
}

Id::Identifier subTypeOf(const MM::MetaElement& element) {
    MM::Visitors::GetMetaElementVisitor<MM::MetaCollectionElement> collection;
    element.accept(collection);
    return collection.result() != nullptr ? collection.result()->dataSubType() : Id::Unknown;
}

bool isCollection(Id::Identifier type) {
    return type == Id::Array || type == Id::Batch;
}

void noteInvalidText(bool replaced, Id::Identifier type, Decoded& decoded) {
    if (replaced && decoded.invalidText.empty()) {
        const char* name = Id::identifierToString(type);
        decoded.invalidText = std::string("bytes that are not valid ") +
                              (type == Id::ISO7String   ? "ISO 646 (7-bit) text"
                               : type == Id::UTF8String ? "UTF-8"
                                                        : "UTF-16") +
                              " in a " + (name ? name : "string") + ", read as U+FFFD";
    }
}

}  // namespace

Decoded decodeByDataType(const MM::MetaElement& element, const std::vector<std::uint8_t>& bytes) {
    Decoded decoded;
    const Id::Identifier type = element.dataType();
    if (!isCollection(type)) {
        const std::size_t wanted = fixedSize(type);
        if (wanted != 0 && bytes.size() != wanted) {
            decoded.badSize = std::to_string(bytes.size()) + " bytes where " +
                              Id::identifierToString(type) + " has " + std::to_string(wanted);
        } else if ((type == Id::UTF16String && bytes.size() % 2 != 0) ||
                   (type == Id::WeakRef && bytes.empty())) {
            decoded.badSize =
                std::to_string(bytes.size()) + " bytes for " + Id::identifierToString(type);
        } else if (!bytes.empty() || wanted == 0) {
            bool replaced = false;
            decoded.value = simple(type, bytes.data(), bytes.size(), replaced);
            noteInvalidText(replaced, type, decoded);
        }
        return decoded;
    }
    const Id::Identifier item = subTypeOf(element);
    if (type == Id::Array && item == Id::UInt8) {
        return decoded;  // opaque bytes with no header, such as a coding style
    }
    if (type == Id::Array && item == Id::UTF16) {
        bool replaced = false;
        decoded.value = stringList(bytes.data(), bytes.size(), replaced);
        noteInvalidText(replaced, Id::UTF16String, decoded);
        return decoded;
    }
    if (bytes.size() < 8) {
        decoded.badSize = std::to_string(bytes.size()) + " bytes, fewer than a " +
                          Id::identifierToString(type) + "'s 8-byte header";
        return decoded;
    }
    const std::uint64_t count = bigEndian(bytes.data(), 4);
    const std::uint64_t itemSize = bigEndian(bytes.data() + 4, 4);
    const std::uint64_t body = bytes.size() - 8;
    if (count == 0 && body == 0) {
        decoded.value = Value::list({});
        return decoded;
    }
    // Compared by division, never by multiplying counts read from the file.
    if (itemSize == 0 || body % itemSize != 0 || body / itemSize != count) {
        decoded.badSize = std::to_string(count) + " items of " + std::to_string(itemSize) +
                          " bytes in " + std::to_string(body) + " bytes";
        return decoded;
    }
    const std::size_t wanted = fixedSize(item);
    if (wanted != 0 && itemSize != wanted) {
        decoded.badSize = "items of " + std::to_string(itemSize) + " bytes where " +
                          (Id::identifierToString(item) ? Id::identifierToString(item) : "?") +
                          " has " + std::to_string(wanted);
        return decoded;
    }
    std::vector<Value> items;
    items.reserve(static_cast<std::size_t>(count));
    bool replaced = false;
    for (std::uint64_t i = 0; i < count; ++i) {
        std::optional<Value> value = simple(item, bytes.data() + 8 + i * itemSize,
                                            static_cast<std::size_t>(itemSize), replaced);
        if (!value) {
            return decoded;  // items with no decoded form: the whole value stays raw
        }
        items.push_back(std::move(*value));
    }
    decoded.value = Value::list(std::move(items));
    noteInvalidText(replaced, item, decoded);
    return decoded;
}

bool holdsStrongReferences(const MM::MetaElement& element) {
    return element.dataType() == Id::StrongRef ||
           (isCollection(element.dataType()) && subTypeOf(element) == Id::StrongRef);
}

std::vector<std::uint8_t> strongReferenceBytes(const MM::MetaElement& element,
                                               const std::vector<Bytes16>& references) {
    std::vector<std::uint8_t> bytes;
    if (element.dataType() != Id::StrongRef) {
        appendBigEndian(bytes, references.size(), 4);
        appendBigEndian(bytes, 16, 4);
    }
    for (const Bytes16& reference : references) {
        bytes.insert(bytes.end(), reference.begin(), reference.end());
    }
    return bytes;
}

std::vector<std::vector<std::uint8_t>> strongReferences(const MM::MetaElement& element,
                                                        const std::vector<std::uint8_t>& bytes) {
    std::vector<std::vector<std::uint8_t>> references;
    if (element.dataType() == Id::StrongRef) {
        if (bytes.size() == 16) {
            references.push_back(bytes);
        }
    } else if (isCollection(element.dataType()) && subTypeOf(element) == Id::StrongRef &&
               bytes.size() >= 8 && bigEndian(bytes.data() + 4, 4) == 16 &&
               (bytes.size() - 8) / 16 == bigEndian(bytes.data(), 4) &&
               (bytes.size() - 8) % 16 == 0) {
        for (std::size_t at = 8; at < bytes.size(); at += 16) {
            references.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                    bytes.begin() + static_cast<std::ptrdiff_t>(at + 16));
        }
    }
    return references;
}

}  // namespace Velmar::MXF::Values
