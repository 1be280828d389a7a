#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Velmar/MXF/Value.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/MetaMetadata/TypeDefinitions.h"

namespace Velmar::MXF {

struct Decoded {
    std::optional<Value> value;      // none: stays raw
    std::string badSize;             // why the size does not fit the type; empty when it does
    std::string unknownEnumeration;  // a number the enumeration does not list; empty if none
};

// An item's bytes by its element's data type. What has no decoded form (enumerations, records,
// indirect values) stays raw; a size that does not fit the type stays raw and says so.
Decoded decodeValue(const SDK::MetaMetadata::MetaElement& element,
                    const std::vector<std::uint8_t>& bytes);

// The same value by its registered type: what decodeValue left raw is decoded (records,
// enumerations, fixed arrays, indirect values, arrays of records), and labels it decoded get
// their register names.
void decodeByType(const SDK::MetaMetadata::TypeDefinition& type,
                  const SDK::MetaMetadata::TypeDefinitions& types,
                  const std::vector<std::uint8_t>& bytes, Decoded& decoded);

// The 16-byte references a strong reference item holds (one, or each of a collection's).
std::vector<std::vector<std::uint8_t>> strongReferences(
    const SDK::MetaMetadata::MetaElement& element, const std::vector<std::uint8_t>& bytes);

}  // namespace Velmar::MXF
