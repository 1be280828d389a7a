#include "Dump.h"

#include <cstdio>
#include <ostream>
#include <string>

#include "Json.h"
#include "Summary.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/Numbers.h"
#include "Velmar/SDK/Types/Strings.h"
#include "Velmar/SDK/Types/ValueText.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

namespace SDK = Velmar::SDK;
namespace MM = Velmar::SDK::MetaMetadata;
namespace Types = Velmar::SDK::Types;

namespace {

std::string json(const SDK::WString& text) {
    return jsonString(text);
}

std::string typeName(Types::Identifiers::Identifier identifier) {
    const char* name = Types::Identifiers::identifierToString(identifier);
    return name == nullptr ? "null" : std::string("\"") + name + "\"";
}

std::string properties(const MM::PropertyMap& map) {
    std::string out = "{";
    for (std::size_t i = 0; i < map.propertyCount(); ++i) {
        out += (i ? ", " : " ") + json(map.propertyName(i)) + ": " + json(map.propertyValue(i));
    }
    return out + (map.propertyCount() ? " }" : "}");
}

std::string localTag(const Types::LocalTag* tag) {
    return tag == nullptr ? "null" : json(tag->toString(Types::Dotted));
}

// A default value: {"type": NAME, "value": V}, V as exact numbers, booleans, strings, a
// [numerator, denominator] pair, or a list of such objects (null for an empty item).
class ValueJson : public Types::Visitors::Visitor {
  public:
    std::string out;

    void visit(const Types::Boolean& v) override { set("Boolean", v.value() ? "true" : "false"); }
    void visit(const Types::Int8& v) override { number(v); }
    void visit(const Types::Int16& v) override { number(v); }
    void visit(const Types::Int32& v) override { number(v); }
    void visit(const Types::Int64& v) override { number(v); }
    void visit(const Types::UInt8& v) override { number(v); }
    void visit(const Types::UInt16& v) override { number(v); }
    void visit(const Types::UInt32& v) override { number(v); }
    void visit(const Types::UInt64& v) override { number(v); }
    void visit(const Types::Length& v) override { number(v); }
    void visit(const Types::Position& v) override { number(v); }
    void visit(const Types::Rational& v) override {
        set("Rational",
            "[" + std::to_string(v.numerator()) + ", " + std::to_string(v.denominator()) + "]");
    }
    void visit(const Types::UTF16& v) override { text(v); }
    void visit(const Types::UTF16String& v) override { text(v); }
    void visit(const Types::UTF8String& v) override { text(v); }
    void visit(const Types::ISO7String& v) override { text(v); }
    void visit(const Types::ISO8String& v) override { text(v); }
    void visit(const Types::UniversalLabel& v) override { text(v); }
    void visit(const Types::AUID& v) override { text(v); }
    void visit(const Types::UUID& v) override { text(v); }
    void visit(const Types::UMID32& v) override { text(v); }
    void visit(const Types::UMID64& v) override { text(v); }
    void visit(const Types::LocalTag& v) override { text(v); }
    void visit(const Types::Array& v) override { items(v); }
    void visit(const Types::Batch& v) override { items(v); }

  private:
    void set(const char* name, const std::string& value) {
        out = std::string("{\"type\": \"") + name + "\", \"value\": " + value + "}";
    }
    template <class T>
    void number(const T& value) {
        // Through the value's own width, so that narrow types print as numbers, not characters.
        if constexpr (std::is_signed_v<decltype(value.value())>) {
            set(Types::valueTypeName(value), std::to_string(static_cast<long long>(value.value())));
        } else {
            set(Types::valueTypeName(value),
                std::to_string(static_cast<unsigned long long>(value.value())));
        }
    }
    void text(const Types::BaseType& value) {
        set(Types::valueTypeName(value), json(Types::valueText(value)));
    }
    void items(const Types::Collection& collection) {
        std::string list = "[";
        for (std::size_t i = 0; i < collection.size(); ++i) {
            list += i ? ", " : "";
            const Types::SimpleDataType* item = collection.item(i);
            if (item == nullptr) {
                list += "null";
                continue;
            }
            ValueJson itemJson;
            item->accept(itemJson);
            list += itemJson.out;
        }
        set(Types::valueTypeName(collection), list + "]");
    }
};

std::string defaultValue(const Types::BaseType* value) {
    if (value == nullptr) {
        return "null";
    }
    ValueJson writer;
    value->accept(writer);
    return writer.out;
}

void writeElement(const MM::Dictionary& dictionary, const MM::MetaElement& element,
                  std::ostream& out) {
    const ElementFacts facts = elementFacts(element);
    out << "    {\n"
        << "      \"ul\": " << json(element.universalLabel().toString(Types::Dotted)) << ",\n"
        << "      \"kind\": \"" << kindName(element) << "\",\n"
        << "      \"dataType\": " << typeName(element.dataType()) << ",\n"
        << "      \"dataSubType\": " << typeName(facts.dataSubType) << ",\n"
        << "      \"localTag\": " << localTag(dictionary.localTag(element.universalLabel()))
        << ",\n"
        << "      \"targets\": [";
    if (facts.targets != nullptr) {
        for (std::size_t i = 0; i < facts.targets->size(); ++i) {
            out << (i ? ", " : "") << json((*facts.targets)[i].toString(Types::Dotted));
        }
    }
    out << "],\n"
        << "      \"properties\": " << properties(element) << "\n"
        << "    }";
}

void writeSet(const MM::MetaMetadataSet& set, std::ostream& out) {
    const auto& status = MM::AttributeRequiredStatus::instance();
    out << "    {\n"
        << "      \"key\": " << json(set.key().toString(Types::Dotted)) << ",\n"
        << "      \"properties\": " << properties(set) << ",\n"
        << "      \"attributes\": [";
    for (std::size_t i = 0; i < set.attributeCount(); ++i) {
        const MM::MetaAttribute& attribute = set.attribute(i);
        out << (i ? ",\n" : "\n") << "        {\n"
            << "          \"element\": "
            << json(attribute.metaElement().universalLabel().toString(Types::Dotted)) << ",\n"
            << "          \"status\": "
            << jsonString(status.statusToString(attribute.requiredStatus())) << ",\n"
            << "          \"localTag\": " << localTag(attribute.localTag()) << ",\n"
            << "          \"default\": " << defaultValue(attribute.defaultValue()) << ",\n"
            << "          \"properties\": " << properties(attribute) << "\n"
            << "        }";
    }
    out << (set.attributeCount() ? "\n      ]\n" : "]\n") << "    }";
}

}  // namespace

void writeDump(const std::string& schema, const MM::Dictionary& dictionary, std::ostream& out) {
    out << "{\n  \"schema\": " << jsonPath(schema) << ",\n  \"elements\": [";
    for (std::size_t i = 0; i < dictionary.metaElementCount(); ++i) {
        out << (i ? ",\n" : "\n");
        writeElement(dictionary, dictionary.metaElementAt(i), out);
    }
    out << (dictionary.metaElementCount() ? "\n  ],\n" : "],\n") << "  \"sets\": [";
    for (std::size_t i = 0; i < dictionary.metaMetadataSetCount(); ++i) {
        out << (i ? ",\n" : "\n");
        writeSet(dictionary.metaMetadataSetAt(i), out);
    }
    out << (dictionary.metaMetadataSetCount() ? "\n  ]\n" : "]\n") << "}\n";
}

}  // namespace xsddict
