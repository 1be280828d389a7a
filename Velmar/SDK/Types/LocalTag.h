#pragma once

#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/Types/BaseType.h"
#include "Velmar/SDK/Types/StringRepresentationEncodingType.h"

namespace Velmar::SDK::Types {

// A two-byte local tag of a local set, such as 3c.0a. 00.00 is no tag and is refused.
class VELMAR_SDK_API LocalTag : public ValueClass<LocalTag, SimpleDataType> {
    VELMAR_SDK_CLASS_ALLOCATION
    LocalTag(const XMLCh* text, StringRepresentationEncodingType encoding);
    // From the number, or from two bytes as a file stores them (big-endian); 0 is refused.
    explicit LocalTag(unsigned short value);
    explicit LocalTag(const unsigned char* bytes);
    virtual unsigned short size() const;
    virtual WString toString(StringRepresentationEncodingType encoding) const;

    const unsigned char* bytes() const { return bytes_.data(); }
    unsigned short value() const { return static_cast<unsigned short>(bytes_[0] << 8 | bytes_[1]); }
};

inline bool operator==(const LocalTag& a, const LocalTag& b) {
    return a.value() == b.value();
}
inline bool operator!=(const LocalTag& a, const LocalTag& b) {
    return a.value() != b.value();
}
inline bool operator<(const LocalTag& a, const LocalTag& b) {
    return a.value() < b.value();
}

}  // namespace Velmar::SDK::Types
