#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Velmar/MXF/Value.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"

namespace Velmar::MXF {

struct Decoded {
    std::optional<Value> value;  // none: stays raw
    std::string badSize;         // why the size does not fit the type; empty when it does
};

// An item's bytes by its element's data type. What has no decoded form (enumerations, records,
// indirect values) stays raw; a size that does not fit the type stays raw and says so.
Decoded decodeValue(const SDK::MetaMetadata::MetaElement& element,
                    const std::vector<std::uint8_t>& bytes);

// The 16-byte references a strong reference item holds (one, or each of a collection's).
std::vector<std::vector<std::uint8_t>> strongReferences(
    const SDK::MetaMetadata::MetaElement& element, const std::vector<std::uint8_t>& bytes);

}  // namespace Velmar::MXF
