#include "Velmar/SDK/KLV/Key.h"

#include <algorithm>
#include <cstring>

#include "Velmar/SDK/Exceptions/InvalidTextRepresentation.h"
#include "Velmar/SDK/Types/DottedHex.h"

namespace Velmar::SDK::KLV {

Key::Key(const XMLCh* text, Types::StringRepresentationEncodingType) {
    Types::readDottedHex(text, bytes_, kSize, "Key");
}

Key::Key(const unsigned char* bytes) {
    if (bytes == nullptr) {
        VELMAR_SDK_THROW(Exceptions::InvalidTextRepresentation,
                         "Key cannot be made from a null pointer");
    }
    std::memcpy(bytes_, bytes, kSize);
}

const Key& Key::operator=(const Key& other) {
    std::memcpy(bytes_, other.bytes_, kSize);
    return *this;
}

WString Key::toString(Types::StringRepresentationEncodingType) const {
    return Types::writeDottedHex(bytes_, kSize);
}

bool operator==(const Key& a, const Key& b) {
    return std::memcmp(a.bytes(), b.bytes(), Key::kSize) == 0;
}
bool operator<(const Key& a, const Key& b) {
    return std::memcmp(a.bytes(), b.bytes(), Key::kSize) < 0;
}

}  // namespace Velmar::SDK::KLV
