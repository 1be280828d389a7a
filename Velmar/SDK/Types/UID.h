#pragma once

#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/Types/BaseType.h"
#include "Velmar/SDK/Types/StringRepresentationEncodingType.h"

namespace Velmar::SDK::Types {

// An identifier of fixed size, read from and written to its dotted hexadecimal text form.
class VELMAR_SDK_API UID : public SimpleDataType {
  public:
    ~UID() override;
    virtual unsigned char& operator[](int index);  // std::out_of_range outside 0 .. size()-1
    virtual unsigned char operator[](int index) const;
    virtual unsigned short size() const;
    // Lowercase digits, so that a key made from a label's text equals it byte for byte.
    virtual WString toString(StringRepresentationEncodingType encoding) const;
    // The bytes as stored in a file, size() of them.
    const unsigned char* bytes() const { return bytes_.data(); }

  protected:
    // Refuses any text that is not exactly byteCount dotted bytes, naming className.
    UID(const XMLCh* text, StringRepresentationEncodingType encoding, std::size_t byteCount,
        const char* className);
    // Copies byteCount bytes as they stand, such as a label read from a file.
    UID(const unsigned char* bytes, std::size_t byteCount, const char* className);
};

VELMAR_SDK_API bool operator==(const UID& a, const UID& b);
VELMAR_SDK_API bool operator<(const UID& a, const UID& b);
inline bool operator!=(const UID& a, const UID& b) {
    return !(a == b);
}

#define VELMAR_SDK_UID_CLASS(ClassName, bytes)                                                 \
    class VELMAR_SDK_API ClassName : public ValueClass<ClassName, UID> {                       \
        VELMAR_SDK_CLASS_ALLOCATION                                                            \
        ClassName(const XMLCh* text, StringRepresentationEncodingType encoding)                \
            : ValueClass(text, encoding, bytes, #ClassName) {}                                 \
        /* Reads bytes bytes, as a file stores them. */                                        \
        explicit ClassName(const unsigned char* data) : ValueClass(data, bytes, #ClassName) {} \
    };

VELMAR_SDK_UID_CLASS(UniversalLabel, 16)
VELMAR_SDK_UID_CLASS(AUID, 16)
VELMAR_SDK_UID_CLASS(UUID, 16)
VELMAR_SDK_UID_CLASS(UMID32, 32)
VELMAR_SDK_UID_CLASS(UMID64, 64)

#undef VELMAR_SDK_UID_CLASS

}  // namespace Velmar::SDK::Types
