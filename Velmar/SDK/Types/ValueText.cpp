#include "Velmar/SDK/Types/ValueText.h"

#include <string>

#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/LocalTag.h"
#include "Velmar/SDK/Types/Numbers.h"
#include "Velmar/SDK/Types/Strings.h"
#include "Velmar/SDK/Types/UID.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::SDK::Types {

namespace {

WString decimal(long long value) {
    return Utils::stringToWstring(std::to_string(value).c_str());
}
WString decimal(unsigned long long value) {
    return Utils::stringToWstring(std::to_string(value).c_str());
}

class TextVisitor : public Visitors::Visitor {
  public:
    const char* name = "";
    WString text;

    void visit(const Boolean& v) override { set("Boolean", v.value() ? u"true" : u"false"); }
    void visit(const Int8& v) override { set("Int8", decimal(static_cast<long long>(v.value()))); }
    void visit(const Int16& v) override {
        set("Int16", decimal(static_cast<long long>(v.value())));
    }
    void visit(const Int32& v) override {
        set("Int32", decimal(static_cast<long long>(v.value())));
    }
    void visit(const Int64& v) override { set("Int64", decimal(v.value())); }
    void visit(const UInt8& v) override {
        set("UInt8", decimal(static_cast<unsigned long long>(v.value())));
    }
    void visit(const UInt16& v) override {
        set("UInt16", decimal(static_cast<unsigned long long>(v.value())));
    }
    void visit(const UInt32& v) override {
        set("UInt32", decimal(static_cast<unsigned long long>(v.value())));
    }
    void visit(const UInt64& v) override { set("UInt64", decimal(v.value())); }
    void visit(const Length& v) override { set("Length", decimal(v.value())); }
    void visit(const Position& v) override { set("Position", decimal(v.value())); }
    void visit(const Rational& v) override {
        set("Rational", decimal(static_cast<long long>(v.numerator())) + u"/" +
                            decimal(static_cast<long long>(v.denominator())));
    }
    void visit(const UTF16& v) override { set("UTF16", WString(1, v.value())); }
    void visit(const UTF16String& v) override { set("UTF16String", v.value()); }
    void visit(const UTF8String& v) override {
        set("UTF8String", Utils::stringToWstring(v.value().c_str()));
    }
    void visit(const ISO7String& v) override { set("ISO7String", latin1(v.value())); }
    void visit(const ISO8String& v) override { set("ISO8String", latin1(v.value())); }
    void visit(const UniversalLabel& v) override { set("UniversalLabel", v.toString(Dotted)); }
    void visit(const AUID& v) override { set("AUID", v.toString(Dotted)); }
    void visit(const UUID& v) override { set("UUID", v.toString(Dotted)); }
    void visit(const UMID32& v) override { set("UMID32", v.toString(Dotted)); }
    void visit(const UMID64& v) override { set("UMID64", v.toString(Dotted)); }
    void visit(const LocalTag& v) override { set("LocalTag", v.toString(Dotted)); }
    void visit(const Array& v) override { set("Array", items(v)); }
    void visit(const Batch& v) override { set("Batch", items(v)); }

  private:
    void set(const char* typeName, WString valueText) {
        name = typeName;
        text = std::move(valueText);
    }
    static WString latin1(const String& bytes) {
        WString out;
        for (char c : bytes) {
            out += static_cast<XMLCh>(static_cast<unsigned char>(c));
        }
        return out;
    }
    static WString items(const Collection& collection) {
        WString out = u"{";
        for (std::size_t i = 0; i < collection.size(); ++i) {
            if (i != 0) {
                out += u',';
            }
            if (const SimpleDataType* item = collection.item(i)) {
                out += valueText(*item);
            }
        }
        return out + u"}";
    }
};

}  // namespace

const char* valueTypeName(const BaseType& value) {
    TextVisitor visitor;
    value.accept(visitor);
    return visitor.name;
}

WString valueText(const BaseType& value) {
    TextVisitor visitor;
    value.accept(visitor);
    return visitor.text;
}

}  // namespace Velmar::SDK::Types
