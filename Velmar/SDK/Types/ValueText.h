#pragma once

#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/Types/BaseType.h"

namespace Velmar::SDK::Types {

// The data type name of a value's class, as the identifier table spells it ("UInt8", "Array").
VELMAR_SDK_API const char* valueTypeName(const BaseType& value);

// A value as readable text: numbers in decimal, booleans as true or false, rationals as n/d,
// strings as they are, identifiers in their dotted form, collections as {item,item} with an
// empty item for an empty entry.
VELMAR_SDK_API WString valueText(const BaseType& value);

}  // namespace Velmar::SDK::Types
