#include "Velmar/SDK/Types/Identifiers.h"

#include <string_view>

namespace Velmar::SDK::Types::Identifiers {

namespace {
constexpr const char* kNames[kIdentifierCount] = {
    "Array",
    "Batch",
    "Boolean",
    "Float32",
    "Float64",
    "Int16",
    "Int32",
    "Int64",
    "Int8",
    "ISO7String",
    "Indirect",
    "Length",
    "Opaque",
    "Position",
    "Float80",
    "Rational",
    "Stream",
    "UInt16",
    "UInt32",
    "UInt64",
    "UInt8",
    "UMID32",
    "UMID64",
    "UniversalLabel",
    nullptr,
    "UTF16",
    "UTF16String",
    "UUID",
    "Timestamp",
    "StrongRef",
    "WeakRef",
    "DateStruct",
    "TimeStruct",
    "VersionType",
    "RGBALayout",
    "Enumeration",
    "ExtendibleEnumeration",
    "FixedArray",
    "Record",
    "LocalTag",
    "ISO8String",
    "AUID",
    "UTF8String",
};

bool sameName(const XMLCh* text, const char* name) {
    for (; *name != 0; ++text, ++name) {
        if (*text != static_cast<XMLCh>(*name)) {
            return false;
        }
    }
    return *text == 0;
}
}  // namespace

Identifier stringToIdentifier(const XMLCh* name) {
    if (name == nullptr) {
        return Unknown;
    }
    for (int i = 0; i < kIdentifierCount; ++i) {
        if (kNames[i] != nullptr && sameName(name, kNames[i])) {
            return static_cast<Identifier>(i);
        }
    }
    return Unknown;
}

const char* identifierToString(Identifier identifier) {
    auto index = static_cast<unsigned>(identifier);
    return index < static_cast<unsigned>(kIdentifierCount) ? kNames[index] : nullptr;
}

}  // namespace Velmar::SDK::Types::Identifiers
