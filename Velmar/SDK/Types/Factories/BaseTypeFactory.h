#pragma once

#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Types/Identifiers.h"

namespace Velmar::SDK::Types::Factories {

// Knows which data types can stand where. A simple type is any identifier from 2 to 42 but
// Unknown; a collection type is Array or Batch. Refusals are UnsupportedDataType.
class VELMAR_SDK_API BaseTypeFactory {
  public:
    static BaseTypeFactory& instance();

    virtual ~BaseTypeFactory();
    virtual Identifiers::Identifier validateSimpleType(Identifiers::Identifier identifier) const;
    virtual bool isSimpleType(Identifiers::Identifier identifier) const;
    virtual bool isCollectionType(Identifiers::Identifier identifier) const;
    virtual Identifiers::Identifier validateCollectionType(
        Identifiers::Identifier identifier) const;

  protected:
    BaseTypeFactory() = default;
};

}  // namespace Velmar::SDK::Types::Factories
