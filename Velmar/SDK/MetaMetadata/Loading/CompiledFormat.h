#pragma once

// The layout of a compiled dictionary, shared by its writer and its reader.
//
// Header (32 bytes): signature (8), format version (u32), flags (u32, 0), content size (u64),
// XXH3-64 checksum of the content (u64). Integers are little-endian.
//
// Content:
//   strings      u32 count, u32 code units, then the UTF-16LE units of every string, each ended
//                by a 0 unit; string 0 is the note. Everything else names texts by index.
//   counts       u32 elements, attributes, sets, local tags, local tag conflicts
//   elements     u8 kind, label (16), u8 data type,
//                [collections: u8 item data type, u64 minimum, u64 maximum]
//                [references: u32 count, keys (16 each)], properties
//   local tags   u16 tag, label (16); then the conflicts alike
//   attributes   u32 element (index), u8 status, u8 has local tag, value, properties
//   sets         key (16), properties, u32 count, attributes (u32 indexes)
//   properties   u32 count, then u32 name and u32 value (string indexes)
//   value        u8 ValueCode, then: numbers as u64, Boolean u8, Rational two i32, UTF16 u16,
//                UTF16String and UTF8String a string index, ISO7/ISO8String u32 size and bytes,
//                identifiers their bytes, LocalTag u16, Array/Batch i32 item size, u32 count
//                and items (values that are not collections, None for an empty item)
//   registered   (from version 2, only where the dictionary has them) u8 1, u32 count of types,
//   each label (16), u8 TypeKind, types        u8 flags (1 signed, 2 has a base), u32 size, [base
//   (16)], texts symbol, name,
//                namespace, u32 count of members (texts symbol, name, type label (16)), u32
//                count of items (texts symbol, name, value); u32 count of element types
//                (element label, type label, u8 unique identifier); u32 count of registered symbols
//                (label, text); u32 count of labels (label, texts symbol and name)
//   text         u32 size, UTF-8 bytes
// Nothing may follow the registered types.

#include <cstddef>
#include <cstdint>

namespace Velmar::SDK::MetaMetadata::Loading::Compiled {

#if !defined(__BYTE_ORDER__) || __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
// Strings are handed to the model straight from the file's UTF-16LE units.
#error "compiled dictionaries are read on little-endian hosts only"
#endif

constexpr unsigned char kSignature[8] = {0x89, 'X', 'S', 'D', 'C', '\r', '\n', 0x1a};
constexpr std::size_t kHeaderSize = 32;

enum class ElementKind : std::uint8_t { Simple, Collection, Reference, ReferenceCollection };
constexpr std::uint8_t kElementKinds = 4;

// In the order of the value visitor's visits.
enum class ValueCode : std::uint8_t {
    None,
    Boolean,
    Int8,
    Int16,
    Int32,
    Int64,
    UInt8,
    UInt16,
    UInt32,
    UInt64,
    Length,
    Position,
    Rational,
    UTF16,
    UTF16String,
    UTF8String,
    ISO7String,
    ISO8String,
    UniversalLabel,
    AUID,
    UUID,
    UMID32,
    UMID64,
    LocalTag,
    Array,
    Batch,
};
constexpr std::uint8_t kValueCodes = 26;

// Smallest encodings, against which every count is checked before it is used.
constexpr std::size_t kMinElement = 1 + 16 + 1 + 4;
constexpr std::size_t kMinLocalTag = 2 + 16;
constexpr std::size_t kMinAttribute = 4 + 1 + 1 + 1 + 4;
constexpr std::size_t kMinSet = 16 + 4 + 4;
constexpr std::size_t kPropertySize = 8;
constexpr std::size_t kMinText = 4;
constexpr std::size_t kMinType = 16 + 1 + 1 + 4 + 3 * kMinText + 4 + 4;
constexpr std::size_t kMinMember = 2 * kMinText + 16;
constexpr std::size_t kMinItem = 3 * kMinText;
constexpr std::size_t kElementTypeSize = 33;
constexpr std::size_t kMinSymbol = 16 + kMinText;
constexpr std::size_t kMinLabel = 16 + 2 * kMinText;
constexpr std::uint8_t kTypeSigned = 1;
constexpr std::uint8_t kTypeHasBase = 2;

std::uint64_t checksum(const unsigned char* data, std::size_t size);

}  // namespace Velmar::SDK::MetaMetadata::Loading::Compiled
