// Writes a Dictionary in its compiled form (the layout is in CompiledFormat.h).
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "Velmar/SDK/Exceptions/InvalidCompiledDictionary.h"
#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledDictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledFormat.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Templates/unordered_map.h"
#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/Numbers.h"
#include "Velmar/SDK/Types/Strings.h"
#include "Velmar/SDK/Types/UID.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::SDK::MetaMetadata::Loading {

namespace {

using namespace Compiled;
using Bytes = Templates::vector<unsigned char>;

[[noreturn]] void cannotCompile(const std::string& why) {
    VELMAR_SDK_THROW(Exceptions::InvalidCompiledDictionary,
                     ("Cannot compile the dictionary: " + why).c_str());
}

class Output {
  public:
    void u8(std::uint8_t value) { bytes_.push_back(value); }
    void u16(std::uint16_t value) { little(value, 2); }
    void u32(std::uint32_t value) { little(value, 4); }
    void u64(std::uint64_t value) { little(value, 8); }
    void raw(const unsigned char* data, std::size_t size) {
        bytes_.insert(bytes_.end(), data, data + size);
    }
    // Counts are written as 32 bits; a dictionary never comes near that.
    void count(std::size_t value) {
        if (value > UINT32_MAX) {
            cannotCompile("more than 2^32 - 1 of something");
        }
        u32(static_cast<std::uint32_t>(value));
    }
    Bytes& bytes() { return bytes_; }

  private:
    void little(std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i, value >>= 8) {
            bytes_.push_back(static_cast<unsigned char>(value & 0xff));
        }
    }
    Bytes bytes_;
};

// Each distinct text once; the content names them by index.
class StringTable {
  public:
    explicit StringTable(const WString& note) { add(note); }
    std::uint32_t add(const WString& text) {
        auto [at, added] = indexes_.emplace(text, static_cast<std::uint32_t>(order_.size()));
        if (added) {
            order_.push_back(&at->first);
        }
        return at->second;
    }
    void write(Output& out) const {
        std::size_t units = 0;
        for (const WString* text : order_) {
            units += text->size() + 1;
        }
        out.count(order_.size());
        out.count(units);
        for (const WString* text : order_) {
            for (XMLCh unit : *text) {
                out.u16(unit);
            }
            out.u16(0);
        }
    }

  private:
    Templates::unordered_map<WString, std::uint32_t> indexes_;
    Templates::vector<const WString*> order_;  // keys of the map, which stay put
};

class ContentWriter;

// A default value, by its own class.
class ValueWriter : public Types::Visitors::Visitor {
  public:
    ValueWriter(Output& out, StringTable& strings, bool inCollection)
        : out_(out), strings_(strings), inCollection_(inCollection) {}

    void visit(const Types::Boolean& v) override {
        code(ValueCode::Boolean);
        out_.u8(v.value() ? 1 : 0);
    }
    void visit(const Types::Int8& v) override { number(ValueCode::Int8, v.value()); }
    void visit(const Types::Int16& v) override { number(ValueCode::Int16, v.value()); }
    void visit(const Types::Int32& v) override { number(ValueCode::Int32, v.value()); }
    void visit(const Types::Int64& v) override { number(ValueCode::Int64, v.value()); }
    void visit(const Types::UInt8& v) override { number(ValueCode::UInt8, v.value()); }
    void visit(const Types::UInt16& v) override { number(ValueCode::UInt16, v.value()); }
    void visit(const Types::UInt32& v) override { number(ValueCode::UInt32, v.value()); }
    void visit(const Types::UInt64& v) override { number(ValueCode::UInt64, v.value()); }
    void visit(const Types::Length& v) override { number(ValueCode::Length, v.value()); }
    void visit(const Types::Position& v) override { number(ValueCode::Position, v.value()); }
    void visit(const Types::Rational& v) override {
        code(ValueCode::Rational);
        out_.u32(static_cast<std::uint32_t>(v.numerator()));
        out_.u32(static_cast<std::uint32_t>(v.denominator()));
    }
    void visit(const Types::UTF16& v) override {
        code(ValueCode::UTF16);
        out_.u16(v.value());
    }
    void visit(const Types::UTF16String& v) override {
        code(ValueCode::UTF16String);
        out_.u32(strings_.add(v.value()));
    }
    void visit(const Types::UTF8String& v) override {
        code(ValueCode::UTF8String);
        out_.u32(strings_.add(Utils::stringToWstring(v.value().c_str())));
    }
    void visit(const Types::ISO7String& v) override { bytes(ValueCode::ISO7String, v.value()); }
    void visit(const Types::ISO8String& v) override { bytes(ValueCode::ISO8String, v.value()); }
    void visit(const Types::UniversalLabel& v) override { uid(ValueCode::UniversalLabel, v); }
    void visit(const Types::AUID& v) override { uid(ValueCode::AUID, v); }
    void visit(const Types::UUID& v) override { uid(ValueCode::UUID, v); }
    void visit(const Types::UMID32& v) override { uid(ValueCode::UMID32, v); }
    void visit(const Types::UMID64& v) override { uid(ValueCode::UMID64, v); }
    void visit(const Types::LocalTag& v) override {
        code(ValueCode::LocalTag);
        out_.u16(v.value());
    }
    void visit(const Types::Array& v) override { collection(ValueCode::Array, v); }
    void visit(const Types::Batch& v) override { collection(ValueCode::Batch, v); }

  private:
    void code(ValueCode c) { out_.u8(static_cast<std::uint8_t>(c)); }
    template <class T>
    void number(ValueCode c, T value) {
        code(c);
        out_.u64(static_cast<std::uint64_t>(value));
    }
    void bytes(ValueCode c, const String& text) {
        code(c);
        out_.count(text.size());
        out_.raw(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }
    void uid(ValueCode c, const Types::UID& v) {
        code(c);
        out_.raw(v.bytes(), v.size());
    }
    void collection(ValueCode c, const Types::Collection& v) {
        if (inCollection_) {
            cannotCompile("a collection inside a collection");
        }
        code(c);
        out_.u32(static_cast<std::uint32_t>(v.itemSize()));
        out_.count(v.size());
        ValueWriter items(out_, strings_, true);
        for (std::size_t i = 0; i < v.size(); ++i) {
            if (const Types::SimpleDataType* item = v.item(i)) {
                item->accept(items);
            } else {
                code(ValueCode::None);
            }
        }
    }

    Output& out_;
    StringTable& strings_;
    bool inCollection_;
};

// An element by its kind.
class ElementWriter : public Visitors::MetaElementVisitor {
  public:
    explicit ElementWriter(Output& out) : out_(out) {}
    void visit(const MetaElement&) override {}
    void visit(const MetaCollectionElement&) override {}
    void visit(const MetaReferenceHolder&) override {}
    void visit(const MetaSimpleElement& e) override { head(ElementKind::Simple, e); }
    void visit(const MetaCollection& e) override {
        head(ElementKind::Collection, e);
        limits(e);
    }
    void visit(const MetaReferenceElement& e) override {
        head(ElementKind::Reference, e);
        targets(e);
    }
    void visit(const MetaReferenceCollection& e) override {
        head(ElementKind::ReferenceCollection, e);
        limits(e);
        targets(e);
    }
    bool written() const { return written_; }

  private:
    void head(ElementKind kind, const MetaElement& e) {
        out_.u8(static_cast<std::uint8_t>(kind));
        out_.raw(e.universalLabel().bytes(), 16);
        out_.u8(identifier(e.dataType()));
        written_ = true;
    }
    void limits(const MetaCollectionElement& e) {
        out_.u8(identifier(e.dataSubType()));
        out_.u64(e.sizeLimits().minimum);
        out_.u64(e.sizeLimits().maximum);
    }
    void targets(const MetaReferenceHolder& e) {
        out_.count(e.targetSets().size());
        for (const KLV::Key& key : e.targetSets()) {
            out_.raw(key.bytes(), KLV::Key::kSize);
        }
    }
    static std::uint8_t identifier(Types::Identifiers::Identifier id) {
        if (id < 0 || id >= Types::Identifiers::kIdentifierCount) {
            cannotCompile("an element of data type " + std::to_string(static_cast<int>(id)));
        }
        return static_cast<std::uint8_t>(id);
    }

    Output& out_;
    bool written_ = false;
};

void writeProperties(const PropertyMap& properties, Output& out, StringTable& strings) {
    out.count(properties.propertyCount());
    for (std::size_t i = 0; i < properties.propertyCount(); ++i) {
        out.u32(strings.add(properties.propertyName(i)));
        out.u32(strings.add(properties.propertyValue(i)));
    }
}

void writeText(Output& out, std::string_view text) {
    out.count(text.size());
    out.raw(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

void writeRegisteredTypes(const TypeDefinitions& types, Output& out) {
    if (types.empty()) {
        return;
    }
    out.u8(1);
    out.count(types.types().size());
    for (const TypeDefinition& type : types.types()) {
        out.raw(type.label.data(), 16);
        out.u8(static_cast<std::uint8_t>(type.kind));
        out.u8(static_cast<std::uint8_t>((type.isSigned ? kTypeSigned : 0) |
                                         (type.base ? kTypeHasBase : 0)));
        out.u32(type.size);
        if (type.base) {
            out.raw(type.base->data(), 16);
        }
        writeText(out, type.symbol);
        writeText(out, type.name);
        writeText(out, type.namespaceURI);
        out.count(type.members.size());
        for (const TypeMember& member : type.members) {
            writeText(out, member.symbol);
            writeText(out, member.name);
            out.raw(member.type.data(), 16);
        }
        out.count(type.items.size());
        for (const TypeItem& item : type.items) {
            writeText(out, item.symbol);
            writeText(out, item.name);
            writeText(out, item.text);
        }
    }
    out.count(types.elementTypes().size());
    for (const auto& elementType : types.elementTypes()) {
        out.raw(elementType.element.data(), 16);
        out.raw(elementType.type.data(), 16);
        out.u8(elementType.uniqueIdentifier ? 1 : 0);
    }
    out.count(types.registeredSymbols().size());
    for (const auto& symbol : types.registeredSymbols()) {
        out.raw(symbol.label.data(), 16);
        writeText(out, symbol.symbol);
    }
    out.count(types.labels().size());
    for (const LabelDefinition& label : types.labels()) {
        out.raw(label.label.data(), 16);
        writeText(out, label.symbol);
        writeText(out, label.name);
    }
}

}  // namespace

Templates::vector<unsigned char> compileDictionary(const Dictionary& dictionary, const char* note) {
    StringTable strings(Utils::stringToWstring(note != nullptr ? note : ""));
    Output body;

    Templates::unordered_map<const MetaElement*, std::uint32_t> elementIndex;
    Templates::unordered_map<const MetaAttribute*, std::uint32_t> attributeIndex;
    Templates::vector<const MetaAttribute*> attributes;
    for (const MetaElement& element : dictionary.metaElements()) {
        elementIndex.emplace(&element, static_cast<std::uint32_t>(elementIndex.size()));
    }
    for (const MetaMetadataSet& set : dictionary.metaMetadataSets()) {
        for (const MetaAttribute& attribute : set.attributes()) {
            if (attributeIndex.emplace(&attribute, static_cast<std::uint32_t>(attributes.size()))
                    .second) {
                attributes.push_back(&attribute);
            }
        }
    }
    const auto tags = dictionary.localTags();
    const auto& conflicts = dictionary.localTagConflicts();

    body.count(dictionary.metaElementCount());
    body.count(attributes.size());
    body.count(dictionary.metaMetadataSetCount());
    body.count(tags.size());
    body.count(conflicts.size());

    for (const MetaElement& element : dictionary.metaElements()) {
        ElementWriter writer(body);
        element.accept(writer);
        if (!writer.written()) {
            cannotCompile("an element of a kind this format does not know");
        }
        writeProperties(element, body, strings);
    }
    for (const auto* list : {&tags, &conflicts}) {
        for (const auto& mapping : *list) {
            body.u16(mapping.tag.value());
            body.raw(mapping.label.bytes(), 16);
        }
    }
    for (const MetaAttribute* attribute : attributes) {
        const auto element = elementIndex.find(&attribute->metaElement());
        if (element == elementIndex.end()) {
            cannotCompile("an attribute of an element the dictionary does not hold");
        }
        body.u32(element->second);
        body.u8(static_cast<std::uint8_t>(attribute->requiredStatus()));
        // The loader gives an attribute its element's tag as the dictionary held it then.
        const Types::LocalTag* tag = attribute->localTag();
        if (tag != nullptr &&
            dictionary.localTag(attribute->metaElement().universalLabel()) != tag) {
            cannotCompile("an attribute whose local tag is not its element's");
        }
        body.u8(tag != nullptr ? 1 : 0);
        if (const Types::BaseType* value = attribute->defaultValue()) {
            ValueWriter writer(body, strings, false);
            value->accept(writer);
        } else {
            body.u8(static_cast<std::uint8_t>(ValueCode::None));
        }
        writeProperties(*attribute, body, strings);
    }
    for (const MetaMetadataSet& set : dictionary.metaMetadataSets()) {
        body.raw(set.key().bytes(), KLV::Key::kSize);
        writeProperties(set, body, strings);
        body.count(set.attributeCount());
        for (const MetaAttribute& attribute : set.attributes()) {
            body.u32(attributeIndex.at(&attribute));
        }
    }
    writeRegisteredTypes(dictionary.typeDefinitions(), body);

    Output content;
    strings.write(content);
    content.raw(body.bytes().data(), body.bytes().size());
    const Bytes& payload = content.bytes();

    Output file;
    file.raw(kSignature, sizeof kSignature);
    file.u32(kCompiledDictionaryFormatVersion);
    file.u32(0);
    file.u64(payload.size());
    file.u64(checksum(payload.data(), payload.size()));
    file.raw(payload.data(), payload.size());
    return std::move(file.bytes());
}

void writeCompiledDictionary(const Dictionary& dictionary, const char* path, const char* note) {
    if (path == nullptr) {
        VELMAR_SDK_THROW(Exceptions::ParseError, "Null compiled dictionary path");
    }
    const Bytes bytes = compileDictionary(dictionary, note);
    const std::string target(path);
    const std::string scratch = target + ".partial";
    std::FILE* file = std::fopen(scratch.c_str(), "wb");
    bool written =
        file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    int error = errno;
    if (file != nullptr) {
        written = std::fflush(file) == 0 && fsync(fileno(file)) == 0 && written;
        error = written ? 0 : errno;
        written = std::fclose(file) == 0 && written;
    }
    if (written && std::rename(scratch.c_str(), target.c_str()) != 0) {
        error = errno;
        written = false;
    }
    if (!written) {
        std::remove(scratch.c_str());
        VELMAR_SDK_THROW(
            Exceptions::ParseError,
            Utils::bytesToWstring(
                ("Cannot write " + target + ": " + std::strerror(error != 0 ? error : EIO)).c_str())
                .c_str());
    }
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
