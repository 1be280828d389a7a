#pragma once

// The decoder of item values, with the primitives its two ways share.

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Model/Value.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/MetaMetadata/TypeDefinitions.h"

namespace Velmar::MXF::Values {

struct Decoded {
    std::optional<Model::Value> value;  // none: stays raw
    std::string badSize;                // why the size does not fit the type; empty when it does
    std::string unknownEnumeration;     // a number the enumeration does not list; empty if none
    std::string invalidText;            // text bytes not valid in their encoding; empty if none
};

// Text bytes as UTF-8, trailing NULs dropped; a byte or sequence not valid in the encoding
// (an unpaired surrogate, a cut or overlong UTF-8 sequence, a byte over 7f in ISO 646) becomes
// U+FFFD and sets `replaced`, so that what is written from it is always valid UTF-8.
enum class TextEncoding { UTF16BE, UTF8, ISO7 };
std::string decodeText(const std::uint8_t* bytes, std::size_t size, TextEncoding encoding,
                       bool& replaced);

// A code point appended as UTF-8.
void appendUtf8(std::string& out, char32_t c);

// Strings of UTF-16 one after another, each ended by a NUL (the last NUL may be missing), as an
// array of strings is stored: no header.
Model::Value stringList(const std::uint8_t* bytes, std::size_t size, bool& replaced);
// An integer of 1 to 8 bytes; a float of 2, 4 or 8 (none for NaN and infinities, which JSON and
// XML cannot write); a time stamp as text, a rational as [numerator, denominator], a version as
// "major.minor".
std::optional<Model::Value> integerValue(const std::uint8_t* bytes, std::size_t size,
                                         bool isSigned);
std::optional<Model::Value> floatValue(const std::uint8_t* bytes, std::size_t size);
Model::Value timestampValue(const std::uint8_t* bytes8);
Model::Value rationalValue(const std::uint8_t* bytes8);
Model::Value versionValue(const std::uint8_t* bytes2);

// The fixed size in bytes of a registered type's values, or 0 where it varies or cannot be
// known (the reader and the encoder measure alike).
std::size_t registeredSize(const SDK::MetaMetadata::TypeDefinition& type,
                           const SDK::MetaMetadata::TypeDefinitions& types);

// An item's bytes as the reader decodes them: by its registered type where it has one; else,
// or where that type leaves them raw, by its element's data type, where it has an element.
// What is said of a value names its element's data type, which the reader shows beside it.
Decoded decodeItem(const SDK::MetaMetadata::MetaElement* element,
                   const SDK::MetaMetadata::TypeDefinition* type,
                   const SDK::MetaMetadata::TypeDefinitions& types,
                   const std::vector<std::uint8_t>& bytes);

// The same, for the items of a file: the types the dictionary's definitions name are looked up
// once, not once an item.
using TypeCache = std::unordered_map<const SDK::MetaMetadata::LabelBytes*,
                                     const SDK::MetaMetadata::TypeDefinition*>;
class ItemDecoder {
  public:
    explicit ItemDecoder(const SDK::MetaMetadata::TypeDefinitions& types);
    Decoded decode(const SDK::MetaMetadata::MetaElement* element,
                   const SDK::MetaMetadata::TypeDefinition* type,
                   const std::vector<std::uint8_t>& bytes);

  private:
    const SDK::MetaMetadata::TypeDefinitions& types_;
    TypeCache cache_;
};

// The fallback: an item's bytes by its element's data type alone. What has no decoded form
// (enumerations, records, indirect values) stays raw; a size that does not fit the type stays
// raw and says so.
Decoded decodeByDataType(const SDK::MetaMetadata::MetaElement& element,
                         const std::vector<std::uint8_t>& bytes);

// Whether an element holds strong references (one, or a collection of them).
bool holdsStrongReferences(const SDK::MetaMetadata::MetaElement& element);

// The bytes a strong reference item stores for these references: one, or a collection's
// count, size and each.
std::vector<std::uint8_t> strongReferenceBytes(const SDK::MetaMetadata::MetaElement& element,
                                               const std::vector<Model::Bytes16>& references);

// The 16-byte references a strong reference item holds (one, or each of a collection's).
std::vector<std::vector<std::uint8_t>> strongReferences(
    const SDK::MetaMetadata::MetaElement& element, const std::vector<std::uint8_t>& bytes);

}  // namespace Velmar::MXF::Values
