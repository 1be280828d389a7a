#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Model/Value.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/MetaMetadata/TypeDefinitions.h"

namespace Velmar::MXF::Values {

// Why a text is no value of its type, said without the item, which the caller names.
struct TextMisfit {
    std::string why;
};

// A value from a leaf's text in RegXML's form of its type ("25/1", "urn:smpte:ul:…", "True",
// "…T12:00:00Z", "1.3", a symbol), or in the form the reader gives it, as encodeItemValue
// takes it. `uuidAsStored` reads an AUID's "urn:uuid:" in the order stored (the items RegXML
// writes so) rather than with its halves swapped. Throws TextMisfit.
Model::Value valueOfText(const SDK::MetaMetadata::TypeDefinition& type, std::string_view text,
                         const SDK::MetaMetadata::TypeDefinitions& types,
                         bool uuidAsStored = false);

// A value from JSON in the form the reader writes values (numbers, strings, true/false,
// lists, objects as records, {"ul", "symbol", "name"} as a label). Throws TextMisfit.
Model::Value valueOfJson(std::string_view json);

// Bytes from hexadecimal digits, two a byte, the separators given allowed between bytes; none
// for any other text.
std::optional<std::vector<std::uint8_t>> hexOf(std::string_view text,
                                               std::string_view separators = "");
// A UUID from 8-4-4-4-12 digits, "urn:uuid:" before them or not; none for any other text.
std::optional<Model::Bytes16> uuidOfText(std::string_view text);

// The name a user may give a set or an item: lowercase, without spaces, "_" and "-".
std::string normalisedName(std::string_view name);

// An element's name as a RegXML document gives it: the register's symbol where the
// declaration had to take another, else its XMLTagName.
std::string elementSymbol(const SDK::MetaMetadata::MetaElement& element,
                          const SDK::MetaMetadata::TypeDefinitions& types);
// Items RegXML writes as UUIDs in stored order although the register types them AUID.
bool isUuidAsStored(std::string_view elementSymbol);

}  // namespace Velmar::MXF::Values
