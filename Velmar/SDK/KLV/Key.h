#pragma once

#include "Velmar/SDK/Platform/ClassAllocation.h"
#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/Types/StringRepresentationEncodingType.h"

namespace Velmar::SDK::KLV {

// The 16-byte key of a set, read from the same dotted form as a universal label.
class VELMAR_SDK_API Key {
    VELMAR_SDK_CLASS_ALLOCATION
    Key(const XMLCh* text, Types::StringRepresentationEncodingType encoding);
    // Reads kSize bytes, as a file stores them.
    explicit Key(const unsigned char* bytes);
    Key(const Key& other) = default;
    const Key& operator=(const Key& other);
    ~Key() = default;

    WString toString(Types::StringRepresentationEncodingType encoding) const;
    const unsigned char* bytes() const { return bytes_; }

    static constexpr int kSize = 16;

  private:
    unsigned char bytes_[kSize];
};

VELMAR_SDK_API bool operator==(const Key& a, const Key& b);
VELMAR_SDK_API bool operator<(const Key& a, const Key& b);
inline bool operator!=(const Key& a, const Key& b) {
    return !(a == b);
}

}  // namespace Velmar::SDK::KLV
