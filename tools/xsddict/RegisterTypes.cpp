// Mapping the registers' types to the dictionary's data types and reference kinds.
#include "RegisterTypes.h"

#include <map>

namespace xsddict {

namespace {

Mapped none(const std::string& reason) {
    Mapped m;
    m.reason = reason;
    return m;
}

Mapped simple(const std::string& type) {
    Mapped m;
    m.kind = Mapped::Simple;
    m.type = type;
    return m;
}

}  // namespace

Mapped mapType(const Registers& registers, const std::string& ul, int depth) {
    const auto found = registers.types.find(ul);
    if (found == registers.types.end()) {
        return none("its type " + ul + " is not in the types register");
    }
    if (depth > 16) {
        return none("its type renames itself in a circle");
    }
    const Registers::Type& t = found->second;
    const std::string& s = t.symbol;
    static const std::map<std::string, std::string> kAliases = {{"PositionType", "Position"},
                                                                {"LengthType", "Length"},
                                                                {"UMID", "UMID32"},
                                                                {"PackageIDType", "UMID32"},
                                                                {"TimeStamp", "Timestamp"},
                                                                {"AUID", "AUID"},
                                                                {"Rational", "Rational"},
                                                                {"VersionType", "VersionType"},
                                                                {"DateStruct", "DateStruct"},
                                                                {"TimeStruct", "TimeStruct"},
                                                                {"UUID", "UUID"},
                                                                {"RGBALayout", "RGBALayout"},
                                                                {"Boolean", "Boolean"},
                                                                {"Character", "UTF16"},
                                                                {"UTF16String", "UTF16String"},
                                                                {"ISO7", "ISO7String"},
                                                                {"UTF8String", "UTF8String"}};
    if (const auto alias = kAliases.find(s); alias != kAliases.end()) {
        return simple(alias->second);
    }
    const std::string& kind = t.kind;
    if (kind == "Integer") {
        const bool isFloat = s.find("Float") != std::string::npos;
        const bool isSigned = t.qualifiers.find("isSigned") != std::string::npos;
        if (isFloat) {
            return t.size == "4"   ? simple("Float32")
                   : t.size == "8" ? simple("Float64")
                                   : none("its type " + s + " is a " + t.size +
                                          "-byte float, which has no data type");
        }
        if (t.size == "1" || t.size == "2" || t.size == "4" || t.size == "8") {
            const int bits = std::stoi(t.size) * 8;
            return simple((isSigned ? "Int" : "UInt") + std::to_string(bits));
        }
        return none("its type " + s + " is a " + t.size + "-byte integer, which has no data type");
    }
    if (kind == "Rename") {
        return mapType(registers, t.baseType, depth + 1);
    }
    if (kind == "Record")
        return simple("Record");
    if (kind == "FixedArray")
        return simple("FixedArray");
    if (kind == "Stream")
        return simple("Stream");
    if (kind == "Indirect")
        return simple("Indirect");
    if (kind == "Opaque")
        return simple("Opaque");
    if (kind == "Enumeration") {
        const auto base = registers.types.find(t.baseType);
        return simple(base != registers.types.end() && base->second.symbol == "AUID"
                          ? "ExtendibleEnumeration"
                          : "Enumeration");
    }
    if (kind == "Character") {
        return none("its type " + s + " is an 8-bit character, which has no data type");
    }
    if (kind == "String") {
        return none("its type " + s + " is a string of no known character set");
    }
    if (kind == "StrongReference" || kind == "WeakReference") {
        Mapped m;
        m.kind = Mapped::Reference;
        m.base = kind == "StrongReference" ? "StrongRefHolder" : "WeakRefHolder";
        m.target = t.baseType;
        return m;
    }
    if (kind == "VariableArray" || kind == "Set") {
        const bool array = kind == "VariableArray";
        Mapped item = mapType(registers, t.baseType, depth + 1);
        if (item.kind == Mapped::Reference) {
            item.kind = Mapped::References;
            item.base = (item.base == "StrongRefHolder" ? "StrongRef" : "WeakRef") +
                        std::string(array ? "Array" : "Batch");
            return item;
        }
        if (item.kind != Mapped::Simple) {
            return none("its type " + s + " is a collection of " +
                        (item.kind == Mapped::None
                             ? "items that cannot be expressed (" + item.reason + ")"
                             : "collections, which cannot be expressed"));
        }
        Mapped m;
        m.kind = Mapped::Values;
        m.base = array ? "Array" : "Batch";
        m.type = item.type;
        const auto itemType = registers.types.find(t.baseType);
        m.itemName = itemType != registers.types.end() ? itemType->second.symbol : "Item";
        return m;
    }
    return none("its type " + s + " is of kind " + kind + ", which has no data type");
}

}  // namespace xsddict
