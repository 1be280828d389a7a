#pragma once

#include "Velmar/SDK/Platform/Export.h"

namespace Velmar::SDK::Types {

class Boolean;
class Int8;
class Int16;
class Int32;
class Int64;
class UInt8;
class UInt16;
class UInt32;
class UInt64;
class Length;
class Position;
class Rational;
class UTF16;
class UTF16String;
class UTF8String;
class ISO7String;
class ISO8String;
class UniversalLabel;
class AUID;
class UUID;
class UMID32;
class UMID64;
class LocalTag;
class Array;
class Batch;

namespace Visitors {

// One visit per concrete value class; accept calls the one for the object's own class.
class VELMAR_SDK_API Visitor {
  public:
    virtual ~Visitor();
    virtual void visit(const Boolean&) = 0;
    virtual void visit(const Int8&) = 0;
    virtual void visit(const Int16&) = 0;
    virtual void visit(const Int32&) = 0;
    virtual void visit(const Int64&) = 0;
    virtual void visit(const UInt8&) = 0;
    virtual void visit(const UInt16&) = 0;
    virtual void visit(const UInt32&) = 0;
    virtual void visit(const UInt64&) = 0;
    virtual void visit(const Length&) = 0;
    virtual void visit(const Position&) = 0;
    virtual void visit(const Rational&) = 0;
    virtual void visit(const UTF16&) = 0;
    virtual void visit(const UTF16String&) = 0;
    virtual void visit(const UTF8String&) = 0;
    virtual void visit(const ISO7String&) = 0;
    virtual void visit(const ISO8String&) = 0;
    virtual void visit(const UniversalLabel&) = 0;
    virtual void visit(const AUID&) = 0;
    virtual void visit(const UUID&) = 0;
    virtual void visit(const UMID32&) = 0;
    virtual void visit(const UMID64&) = 0;
    virtual void visit(const LocalTag&) = 0;
    virtual void visit(const Array&) = 0;
    virtual void visit(const Batch&) = 0;
};

class VELMAR_SDK_API NonConstVisitor {
  public:
    virtual ~NonConstVisitor();
    virtual void visit(Boolean&) = 0;
    virtual void visit(Int8&) = 0;
    virtual void visit(Int16&) = 0;
    virtual void visit(Int32&) = 0;
    virtual void visit(Int64&) = 0;
    virtual void visit(UInt8&) = 0;
    virtual void visit(UInt16&) = 0;
    virtual void visit(UInt32&) = 0;
    virtual void visit(UInt64&) = 0;
    virtual void visit(Length&) = 0;
    virtual void visit(Position&) = 0;
    virtual void visit(Rational&) = 0;
    virtual void visit(UTF16&) = 0;
    virtual void visit(UTF16String&) = 0;
    virtual void visit(UTF8String&) = 0;
    virtual void visit(ISO7String&) = 0;
    virtual void visit(ISO8String&) = 0;
    virtual void visit(UniversalLabel&) = 0;
    virtual void visit(AUID&) = 0;
    virtual void visit(UUID&) = 0;
    virtual void visit(UMID32&) = 0;
    virtual void visit(UMID64&) = 0;
    virtual void visit(LocalTag&) = 0;
    virtual void visit(Array&) = 0;
    virtual void visit(Batch&) = 0;
};

// Root of the value classes: what a visitor can be handed.
class VELMAR_SDK_API Visitable {
  public:
    virtual ~Visitable();
    virtual void accept(NonConstVisitor& visitor) = 0;
    virtual void accept(Visitor& visitor) const = 0;
};

}  // namespace Visitors
}  // namespace Velmar::SDK::Types
