#pragma once

#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Platform/Types.h"

namespace Velmar::SDK::Types::Identifiers {

// Data type identifiers. Unknown (24) is what a name that is no data type gives.
// A fixed underlying type: any int is a value, so identifiers out of range can be tested, not
// merely be undefined.
enum Identifier : int {
    Array = 0,
    Batch = 1,
    Boolean = 2,
    Float32 = 3,
    Float64 = 4,
    Int16 = 5,
    Int32 = 6,
    Int64 = 7,
    Int8 = 8,
    ISO7String = 9,
    Indirect = 10,
    Length = 11,
    Opaque = 12,
    Position = 13,
    Float80 = 14,
    Rational = 15,
    Stream = 16,
    UInt16 = 17,
    UInt32 = 18,
    UInt64 = 19,
    UInt8 = 20,
    UMID32 = 21,
    UMID64 = 22,
    UniversalLabel = 23,
    Unknown = 24,
    UTF16 = 25,
    UTF16String = 26,
    UUID = 27,
    Timestamp = 28,
    StrongRef = 29,
    WeakRef = 30,
    DateStruct = 31,
    TimeStruct = 32,
    VersionType = 33,
    RGBALayout = 34,
    Enumeration = 35,
    ExtendibleEnumeration = 36,
    FixedArray = 37,
    Record = 38,
    LocalTag = 39,
    ISO8String = 40,
    AUID = 41,
    UTF8String = 42,
};

constexpr int kIdentifierCount = 43;

// Exact, case-sensitive data type name; any other text (the empty one included) gives Unknown.
VELMAR_SDK_API Identifier stringToIdentifier(const XMLCh* name);

// The data type name, or null for Unknown and for values outside 0 to 42.
VELMAR_SDK_API const char* identifierToString(Identifier identifier);

}  // namespace Velmar::SDK::Types::Identifiers
