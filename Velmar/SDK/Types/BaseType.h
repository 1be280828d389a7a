#pragma once

#include <cstddef>

#include "Velmar/SDK/DataIO/DataSink.h"
#include "Velmar/SDK/Platform/ClassAllocation.h"
#include "Velmar/SDK/Templates/auto_ptr.h"
#include "Velmar/SDK/Templates/vector.h"
#include "Velmar/SDK/Types/Visitors.h"

namespace Velmar::SDK::Types {

class VELMAR_SDK_API BaseType : public Visitors::Visitable {
  public:
    ~BaseType() override;
    virtual void serialize(DataIO::DataSink& sink) const = 0;
};

// A single value. It keeps its serialised bytes, which is what rawBuffer, serializedSize and
// serialize give, and which identifier classes index directly.
class VELMAR_SDK_API SimpleDataType : public BaseType {
  public:
    ~SimpleDataType() override;
    void serialize(DataIO::DataSink& sink) const override;
    virtual const unsigned char* rawBuffer() const;
    virtual unsigned short serializedSize() const;
    virtual Templates::auto_ptr<SimpleDataType> clone() const = 0;

    std::size_t byteCount() const { return bytes_.size(); }

  protected:
    SimpleDataType() = default;
    SimpleDataType(const SimpleDataType&) = default;
    SimpleDataType& operator=(const SimpleDataType&) = default;

    void setBytes(const unsigned char* data, std::size_t size) { bytes_.assign(data, data + size); }
    template <class T>
    void setBigEndian(T value) {
        bytes_.resize(sizeof(T));
        auto bits = static_cast<unsigned long long>(value);
        for (std::size_t i = sizeof(T); i-- > 0; bits >>= 8) {
            bytes_[i] = static_cast<unsigned char>(bits & 0xFF);
        }
    }
    Templates::vector<unsigned char> bytes_;
};

// The same class holding the same value (collections: the same size hint and equal items,
// empty where the other's is empty).
VELMAR_SDK_API bool operator==(const BaseType& a, const BaseType& b);
inline bool operator!=(const BaseType& a, const BaseType& b) {
    return !(a == b);
}

// Gives a concrete class its double dispatch and its clone, so that every class in the tree is
// visited as itself (a Length as a Length, not as the Int64 it derives from).
template <class Derived, class Base>
class VELMAR_SDK_API ValueClass : public Base {
  public:
    using Base::Base;
    void accept(Visitors::NonConstVisitor& visitor) override {
        visitor.visit(static_cast<Derived&>(*this));
    }
    void accept(Visitors::Visitor& visitor) const override {
        visitor.visit(static_cast<const Derived&>(*this));
    }
    Templates::auto_ptr<SimpleDataType> clone() const override {
        return Templates::auto_ptr<SimpleDataType>(new Derived(static_cast<const Derived&>(*this)));
    }
};

}  // namespace Velmar::SDK::Types
