#pragma once

#include "Velmar/SDK/Types/BaseType.h"

namespace Velmar::SDK::Types {

// A number held as given and serialised big-endian in its own width.
template <class Derived, class T>
class VELMAR_SDK_API NumberValue : public ValueClass<Derived, SimpleDataType> {
  public:
    using value_type = T;
    explicit NumberValue(T value) : value_(value) { this->setBigEndian(value); }
    T value() const { return value_; }

  private:
    T value_;
};

class VELMAR_SDK_API Int8 : public NumberValue<Int8, signed char> {
    VELMAR_SDK_CLASS_ALLOCATION
    using NumberValue::NumberValue;
};
class VELMAR_SDK_API Int16 : public NumberValue<Int16, short> {
    VELMAR_SDK_CLASS_ALLOCATION
    using NumberValue::NumberValue;
};
class VELMAR_SDK_API Int32 : public NumberValue<Int32, int> {
    VELMAR_SDK_CLASS_ALLOCATION
    using NumberValue::NumberValue;
};
class VELMAR_SDK_API Int64 : public NumberValue<Int64, long long> {
    VELMAR_SDK_CLASS_ALLOCATION
    using NumberValue::NumberValue;
};
class VELMAR_SDK_API UInt8 : public NumberValue<UInt8, unsigned char> {
    VELMAR_SDK_CLASS_ALLOCATION
    using NumberValue::NumberValue;
};
class VELMAR_SDK_API UInt16 : public NumberValue<UInt16, unsigned short> {
    VELMAR_SDK_CLASS_ALLOCATION
    using NumberValue::NumberValue;
};
class VELMAR_SDK_API UInt32 : public NumberValue<UInt32, unsigned int> {
    VELMAR_SDK_CLASS_ALLOCATION
    using NumberValue::NumberValue;
};
class VELMAR_SDK_API UInt64 : public NumberValue<UInt64, unsigned long long> {
    VELMAR_SDK_CLASS_ALLOCATION
    using NumberValue::NumberValue;
};

// Lengths and positions are 64-bit signed numbers with a meaning of their own.
class VELMAR_SDK_API Length : public ValueClass<Length, Int64> {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit Length(const long long& value) : ValueClass(value) {}
};
class VELMAR_SDK_API Position : public ValueClass<Position, Int64> {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit Position(const long long& value) : ValueClass(value) {}
};

class VELMAR_SDK_API Boolean : public ValueClass<Boolean, SimpleDataType> {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit Boolean(bool value);
    bool value() const { return value_; }

  private:
    bool value_;
};

// Not reduced: 60/2 stays 60/2.
class VELMAR_SDK_API Rational : public ValueClass<Rational, SimpleDataType> {
    VELMAR_SDK_CLASS_ALLOCATION
    Rational(int numerator, int denominator);
    int numerator() const { return numerator_; }
    int denominator() const { return denominator_; }

  private:
    int numerator_;
    int denominator_;
};

}  // namespace Velmar::SDK::Types
