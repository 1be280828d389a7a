#pragma once

#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/Types/BaseType.h"

namespace Velmar::SDK::Types {

// One UTF-16 code unit.
class VELMAR_SDK_API UTF16 : public ValueClass<UTF16, SimpleDataType> {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit UTF16(unsigned short value);
    XMLCh value() const { return value_; }

  private:
    XMLCh value_;
};

class VELMAR_SDK_API UTF16String : public ValueClass<UTF16String, SimpleDataType> {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit UTF16String(const XMLCh* text);
    const WString& value() const { return value_; }

  private:
    WString value_;
};

// Takes 16-bit text and keeps it as UTF-8.
class VELMAR_SDK_API UTF8String : public ValueClass<UTF8String, SimpleDataType> {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit UTF8String(const XMLCh* text);
    const String& value() const { return value_; }

  private:
    String value_;
};

// 8-bit strings keep their bytes as given.
class VELMAR_SDK_API ISO7String : public ValueClass<ISO7String, SimpleDataType> {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit ISO7String(const char* text);
    const String& value() const { return value_; }

  private:
    String value_;
};

class VELMAR_SDK_API ISO8String : public ValueClass<ISO8String, SimpleDataType> {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit ISO8String(const char* text);
    const String& value() const { return value_; }

  private:
    String value_;
};

}  // namespace Velmar::SDK::Types
