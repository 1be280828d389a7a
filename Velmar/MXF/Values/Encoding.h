#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Model/Value.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/TypeDefinitions.h"

namespace Velmar::MXF::Values {

// A value that does not fit its item's type: a number out of range, a symbol the enumeration
// lacks, a record missing a member, a text that is no label... The message names the item
// and says why; nothing was encoded.
class ValueRefused : public SDK::Exceptions::BaseException {
  public:
    ValueRefused(const std::string& message, const char* sourceFile, int sourceLine);
    ~ValueRefused() override;
};

// The bytes an item stores for a value, by its element and registered type (item.element and
// item.type), in the forms the reader decodes values to: the reader reads them back as the
// same value. Refuses (ValueRefused) a value that does not fit, or an item with no registered
// type.
std::vector<std::uint8_t> encodeItemValue(const Model::Item& item, const Model::Value& value,
                                          const SDK::MetaMetadata::TypeDefinitions& types);

// The value the reader decodes from bytes stored in an item of this element and type; none
// where they stay raw (opaque data, or a size that does not fit).
std::optional<Model::Value> decodeItemValue(const Model::Item& item,
                                            const std::vector<std::uint8_t>& bytes,
                                            const SDK::MetaMetadata::TypeDefinitions& types);

}  // namespace Velmar::MXF::Values
