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

std::string utf16be(const std::uint8_t* bytes, std::size_t size, bool& replaced) {
    return decodeText(bytes, size, TextEncoding::UTF16BE, replaced);
}

std::string narrowText(const std::uint8_t* bytes, std::size_t size, TextEncoding encoding,
                       bool& replaced) {
    return decodeText(bytes, size, encoding, replaced);
}

std::string twoDigits(unsigned value) {
    return (value < 10 ? "0" : "") + std::to_string(value);
}

// One value of a simple type; none where it has no decoded form.
std::optional<Value> simple(Id::Identifier type, const std::uint8_t* b, std::size_t size,
                            bool& replaced) {
    const std::uint64_t u = size <= 8 ? bigEndian(b, size) : 0;
    switch (type) {
        case Id::Boolean:
            return Value::boolean(b[0] != 0);
        case Id::Int8:
            return Value::signedInteger(static_cast<std::int8_t>(u));
        case Id::Int16:
            return Value::signedInteger(static_cast<std::int16_t>(u));
        case Id::Int32:
            return Value::signedInteger(static_cast<std::int32_t>(u));
        case Id::Int64:
        case Id::Length:
        case Id::Position:
            return Value::signedInteger(static_cast<std::int64_t>(u));
        case Id::UInt8:
        case Id::UInt16:
        case Id::UInt32:
        case Id::UInt64:
            return Value::unsignedInteger(u);
        case Id::Float32: {
            const std::uint32_t bits = static_cast<std::uint32_t>(u);
            float f;
            std::memcpy(&f, &bits, 4);
            return f == f && f - f == 0 ? std::optional<Value>(Value::floatingPoint(f, 4))
                                        : std::nullopt;
        }
        case Id::Float64: {
            double d;
            std::memcpy(&d, &u, 8);
            return d == d && d - d == 0 ? std::optional<Value>(Value::floatingPoint(d))
                                        : std::nullopt;
        }
        case Id::UTF16:
        case Id::UTF16String:
            return Value::text(utf16be(b, size, replaced));
        case Id::ISO7String:
            return Value::text(narrowText(b, size, TextEncoding::ISO7, replaced));
        case Id::UTF8String:
            return Value::text(narrowText(b, size, TextEncoding::UTF8, replaced));
        case Id::UUID:
        case Id::StrongRef: {
            Bytes16 id;
            std::memcpy(id.data(), b, 16);
            return Value::text(uuidText(id));
        }
        case Id::UniversalLabel:
        case Id::AUID:
        case Id::WeakRef:
        case Id::ExtendibleEnumeration:
        case Id::LocalTag:
            return Value::text(dottedHex(b, size));
        case Id::UMID32:
        case Id::UMID64:
            return Value::text(plainHex(b, size));
        case Id::Timestamp: {
            const unsigned year = static_cast<unsigned>(bigEndian(b, 2));
            char text[40];
            std::snprintf(text, sizeof text, "%04u-%s-%sT%s:%s:%s.%03u", year,
                          twoDigits(b[2]).c_str(), twoDigits(b[3]).c_str(), twoDigits(b[4]).c_str(),
                          twoDigits(b[5]).c_str(), twoDigits(b[6]).c_str(), b[7] * 4u);
            return Value::text(text);
        }
        case Id::Rational:
            return Value::list(
                {Value::signedInteger(static_cast<std::int32_t>(bigEndian(b, 4))),
                 Value::signedInteger(static_cast<std::int32_t>(bigEndian(b + 4, 4)))});
        case Id::VersionType:
            return Value::text(std::to_string(b[0]) + "." + std::to_string(b[1]));
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

// Array of UTF16: NUL-ended strings with no header; the last NUL may be missing.
Value nameList(const std::vector<std::uint8_t>& bytes, bool& replaced) {
    std::vector<Value> names;
    std::size_t start = 0;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        if (bytes[i] == 0 && bytes[i + 1] == 0) {
            names.push_back(Value::text(utf16be(bytes.data() + start, i - start, replaced)));
            start = i + 2;
        }
    }
    if (start + 1 < bytes.size()) {
        names.push_back(Value::text(utf16be(bytes.data() + start, bytes.size() - start, replaced)));
    }
    return Value::list(std::move(names));
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

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xc0 | c >> 6);
        out += static_cast<char>(0x80 | (c & 0x3f));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xe0 | c >> 12);
        out += static_cast<char>(0x80 | (c >> 6 & 0x3f));
        out += static_cast<char>(0x80 | (c & 0x3f));
    } else {
        out += static_cast<char>(0xf0 | c >> 18);
        out += static_cast<char>(0x80 | (c >> 12 & 0x3f));
        out += static_cast<char>(0x80 | (c >> 6 & 0x3f));
        out += static_cast<char>(0x80 | (c & 0x3f));
    }
}

std::string decodeText(const std::uint8_t* b, std::size_t size, TextEncoding encoding,
                       bool& replaced) {
    constexpr char32_t kReplacement = 0xfffd;
    std::string out;
    out.reserve(size);
    if (encoding == TextEncoding::UTF16BE) {
        std::size_t end = size & ~std::size_t{1};
        while (end >= 2 && b[end - 2] == 0 && b[end - 1] == 0) {
            end -= 2;  // trailing NULs
        }
        for (std::size_t i = 0; i < end; i += 2) {
            char32_t c = static_cast<char32_t>(b[i] << 8 | b[i + 1]);
            if (c >= 0xd800 && c <= 0xdbff && i + 3 < end) {
                const char32_t low = static_cast<char32_t>(b[i + 2] << 8 | b[i + 3]);
                if (low >= 0xdc00 && low <= 0xdfff) {
                    c = 0x10000 + ((c - 0xd800) << 10) + (low - 0xdc00);
                    i += 2;
                }
            }
            if (c >= 0xd800 && c <= 0xdfff) {
                c = kReplacement;
                replaced = true;
            }
            appendUtf8(out, c);
        }
        return out;
    }
    std::size_t end = size;
    while (end > 0 && b[end - 1] == 0) {
        --end;
    }
    for (std::size_t i = 0; i < end;) {
        const std::uint8_t lead = b[i];
        if (lead < 0x80) {
            out += static_cast<char>(lead);
            ++i;
            continue;
        }
        // A sequence of its lead's length, each continuation 10xxxxxx, in the shortest form and
        // within Unicode; anything else is one replaced byte. ISO 646 has no byte over 7f.
        const std::size_t length = encoding == TextEncoding::ISO7 ? 0
                                   : lead >= 0xc2 && lead <= 0xdf ? 2
                                   : lead >= 0xe0 && lead <= 0xef ? 3
                                   : lead >= 0xf0 && lead <= 0xf4 ? 4
                                                                  : 0;
        // The continuation bytes that fit (the second within its lead's range); a sequence cut
        // short is one U+FFFD for what it has, as Unicode's maximal subparts count.
        std::size_t fitting = 0;
        for (std::size_t k = 1; k < length && i + k < end; ++k) {
            const std::uint8_t c = b[i + k];
            const std::uint8_t low = k > 1          ? 0x80
                                     : lead == 0xe0 ? 0xa0
                                     : lead == 0xf0 ? 0x90
                                                    : 0x80;
            const std::uint8_t high = k > 1          ? 0xbf
                                      : lead == 0xed ? 0x9f
                                      : lead == 0xf4 ? 0x8f
                                                     : 0xbf;
            if (c < low || c > high) {
                break;
            }
            ++fitting;
        }
        if (length == 0 || fitting + 1 != length) {
            appendUtf8(out, kReplacement);
            replaced = true;
            i += 1 + fitting;
            continue;
        }
        out.append(reinterpret_cast<const char*>(b + i), length);
        i += length;
    }
    return out;
}

Decoded decodeValue(const MM::MetaElement& element, const std::vector<std::uint8_t>& bytes) {
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
        decoded.value = nameList(bytes, replaced);
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
