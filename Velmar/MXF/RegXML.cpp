// The header metadata as a RegXML document, written as the strong-reference tree is walked.
#include "Velmar/MXF/RegXML.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <ostream>

#include "KLV.h"
#include "ValueDecoding.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Types/Identifiers.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "XmlWriter.h"

namespace Velmar::MXF {

namespace {

namespace MM = SDK::MetaMetadata;
namespace Id = SDK::Types::Identifiers;
using MM::TypeKind;

// How a value's text is made from the reader's form of it.
enum class Form { Plain, Uuid, Auid, Umid, Timestamp, Rational };

std::string utf8(const XMLCh* text) {
    if (text == nullptr) {
        return {};
    }
    const SDK::String converted = SDK::Utils::toUtf8(text);
    return std::string(converted.data(), converted.size());
}

std::string hexDigits(const std::string& text) {
    std::string digits;
    for (const char c : text) {
        if (std::isxdigit(static_cast<unsigned char>(c))) {
            digits += c;
        }
    }
    return digits;
}

// "urn:smpte:ul:" and four groups of 8 digits, from dotted bytes.
std::string ulUrn(const std::string& dotted) {
    const std::string digits = hexDigits(dotted);
    std::string urn = "urn:smpte:ul:";
    for (std::size_t i = 0; i < digits.size(); i += 8) {
        urn += (i ? "." : "") + digits.substr(i, 8);
    }
    return urn;
}

std::string uuidUrn(const std::string& digits) {
    if (digits.size() != 32) {
        return digits;
    }
    return "urn:uuid:" + digits.substr(0, 8) + "-" + digits.substr(8, 4) + "-" +
           digits.substr(12, 4) + "-" + digits.substr(16, 4) + "-" + digits.substr(20);
}

std::string umidUrn(const std::string& digits) {
    std::string urn = "urn:smpte:umid:";
    for (std::size_t i = 0; i < digits.size(); i += 8) {
        urn += (i ? "." : "") + digits.substr(i, 8);
    }
    return urn;
}

// An AUID is a label when it starts as one, else a UUID in the order stored.
std::string auidText(const std::string& dotted) {
    const std::string digits = hexDigits(dotted);
    return digits.rfind("060e2b34", 0) == 0 ? ulUrn(dotted) : uuidUrn(digits);
}

Form formOf(const MM::TypeDefinition* type, Id::Identifier identifier) {
    if (type != nullptr) {
        const std::string_view symbol = type->symbol;
        if (symbol == "UUID" || type->kind == TypeKind::StrongReference) {
            return Form::Uuid;
        }
        if (symbol == "AUID" || type->kind == TypeKind::ExtendibleEnumeration ||
            type->kind == TypeKind::WeakReference) {
            return Form::Auid;
        }
        if (symbol == "PackageIDType") {
            return Form::Umid;
        }
        if (symbol == "TimeStamp") {
            return Form::Timestamp;
        }
        if (symbol == "Rational") {
            return Form::Rational;
        }
        return Form::Plain;
    }
    switch (identifier) {
        case Id::UUID:
        case Id::StrongRef:
            return Form::Uuid;
        case Id::AUID:
        case Id::UniversalLabel:
        case Id::WeakRef:
        case Id::ExtendibleEnumeration:
            return Form::Auid;
        case Id::UMID32:
        case Id::UMID64:
            return Form::Umid;
        case Id::Timestamp:
            return Form::Timestamp;
        case Id::Rational:
            return Form::Rational;
        default:
            return Form::Plain;
    }
}

std::string valueText(const Value& value, Form form) {
    switch (value.kind()) {
        case Value::Kind::Boolean:
            return value.asBoolean() ? "true" : "false";
        case Value::Kind::Signed:
            return std::to_string(value.asSigned());
        case Value::Kind::Unsigned:
            return std::to_string(value.asUnsigned());
        case Value::Kind::Float:
            return Value::shortestText(
                value.asFloat());  // widened to 64 bits, as RegXML writes floats
        case Value::Kind::Label:
            return ulUrn(value.asText());
        case Value::Kind::List:
            if (value.asList().size() == 2) {  // a rational
                return valueText(value.asList()[0], Form::Plain) + "/" +
                       valueText(value.asList()[1], Form::Plain);
            }
            return {};
        case Value::Kind::Record:
            return {};
        case Value::Kind::Text:
            break;
    }
    const std::string& text = value.asText();
    switch (form) {
        case Form::Uuid:
            return uuidUrn(hexDigits(text));
        case Form::Auid:
            // A weak reference to a package holds its UMID.
            return text.size() == 64   ? umidUrn(text)
                   : text.size() == 36 ? uuidUrn(hexDigits(text))
                                       : auidText(text);
        case Form::Umid:
            return umidUrn(text);
        case Form::Timestamp:
            return text + "Z";
        case Form::Plain:
        case Form::Rational:
            break;
    }
    return text;
}

class DocumentWriter {
  public:
    DocumentWriter(std::ostream& out, const HeaderMetadata& header,
                   const MM::Dictionary& dictionary)
        : xml_(out), header_(header), types_(dictionary.typeDefinitions()) {}

    void write(std::size_t root) {
        const std::size_t end = subtreeEnd(root);
        declareNamespaces(root, end);
        xml_.declaration();
        std::vector<Frame> path;
        openSet(root, path, true);
        while (!path.empty()) {
            step(path);
        }
    }

  private:
    // One open set: the item it is at, and within a strong-reference item the targets left.
    struct Frame {
        std::size_t set = 0;
        std::size_t item = 0;
        std::size_t cursor = 0;  // where its next child may stand in tree order
        std::vector<std::vector<std::uint8_t>> references;
        std::size_t reference = 0;
        bool inReferences = false;
    };

    std::size_t subtreeEnd(std::size_t root) const {
        std::size_t end = root + 1;
        while (end < header_.sets.size() && header_.sets[end].depth > header_.sets[root].depth) {
            ++end;
        }
        return end;
    }

    // A namespace the dictionary leaves empty is the file format's: no prefix may stand for none.
    const std::string& prefixFor(std::string uri) {
        if (uri.empty()) {
            uri = "urn:SMPTE:MXF:file_format";
        }
        auto found = prefixes_.find(uri);
        if (found == prefixes_.end()) {
            found = prefixes_.emplace(uri, "r" + std::to_string(prefixes_.size())).first;
            order_.push_back(&*found);
        }
        return found->second;
    }

    // Every namespace the document may use, so that each is declared once, on the root.
    void declareNamespaces(std::size_t begin, std::size_t end) {
        bool listed = false;
        for (std::size_t i = begin; i < end; ++i) {
            const LocalSet& set = header_.sets[i];
            if (set.definition != nullptr) {
                prefixFor(utf8(set.definition->getProperty(u"XMLNamespaceURI")));
            }
            for (const Item& item : set.items) {
                if (item.element != nullptr) {
                    prefixFor(utf8(item.element->getProperty(u"XMLNamespaceURI")));
                }
                listed = listed || (item.value && item.value->kind() == Value::Kind::List);
            }
        }
        for (const MM::TypeDefinition& type : types_.types()) {
            prefixFor(std::string(type.namespaceURI));
        }
        if (types_.empty() && listed) {
            prefixFor(typesNamespace());  // for the items of collections
        }
    }

    std::string qualified(const std::string& uri, const std::string& name) {
        return prefixFor(uri) + ":" + name;
    }

    std::string setName(const LocalSet& set) {
        Bytes16 key = set.key;
        const std::string_view registered = types_.registeredSymbol(key);
        const std::string name = registered.empty()
                                     ? utf8(set.definition->getProperty(u"XMLTagName"))
                                     : std::string(registered);
        return qualified(utf8(set.definition->getProperty(u"XMLNamespaceURI")), name);
    }

    std::string itemName(const Item& item) {
        const std::string_view registered =
            types_.registeredSymbol(bytesOf(item.element->universalLabel().bytes()));
        const std::string name = registered.empty() ? utf8(item.element->getProperty(u"XMLTagName"))
                                                    : std::string(registered);
        return qualified(utf8(item.element->getProperty(u"XMLNamespaceURI")), name);
    }

    static MM::LabelBytes bytesOf(const unsigned char* bytes) {
        MM::LabelBytes label;
        std::copy(bytes, bytes + 16, label.begin());
        return label;
    }

    static bool isStrongReference(const Item& item) {
        const Id::Identifier type = item.element->dataType();
        if (type == Id::StrongRef) {
            return true;
        }
        MM::Visitors::GetMetaElementVisitor<MM::MetaCollectionElement> collection;
        item.element->accept(collection);
        return collection.result() != nullptr &&
               collection.result()->dataSubType() == Id::StrongRef;
    }

    void darkItem(const Item& item, const char* why) {
        std::string text =
            std::string(why) + " " +
            (item.label ? dottedHex(item.label->data(), 16) : "tag " + tagText(item.tag));
        text += ": " + plainHex(item.bytes.data(), item.bytes.size());
        xml_.comment(" " + text + " ");
    }

    static std::string tagText(std::uint16_t tag) {
        const std::uint8_t bytes[2] = {static_cast<std::uint8_t>(tag >> 8),
                                       static_cast<std::uint8_t>(tag & 0xff)};
        return dottedHex(bytes, 2);
    }

    void openSet(std::size_t index, std::vector<Frame>& path, bool root) {
        const LocalSet& set = header_.sets[index];
        XmlWriter::Attributes attributes;
        if (root) {
            for (const auto* entry : order_) {
                attributes.emplace_back("xmlns:" + entry->second, entry->first);
            }
            attributes.emplace_back("xmlns:b", kRegXMLBaselineNamespace);
        }
        for (const Item& item : set.items) {
            if (item.element != nullptr && item.value &&
                types_.uniqueIdentifier(bytesOf(item.element->universalLabel().bytes()))) {
                const MM::TypeDefinition* type = item.type ? types_.resolve(*item.type) : nullptr;
                attributes.emplace_back(
                    "b:uid", valueText(*item.value, formOf(type, item.element->dataType())));
                break;
            }
        }
        xml_.open(setName(set), attributes);
        Frame frame;
        frame.set = index;
        frame.cursor = index + 1;
        path.push_back(std::move(frame));
    }

    void step(std::vector<Frame>& path) {
        Frame& frame = path.back();
        const LocalSet& set = header_.sets[frame.set];
        if (frame.inReferences) {
            if (frame.reference == frame.references.size()) {
                frame.inReferences = false;
                xml_.close();
                return;
            }
            const std::vector<std::uint8_t>& target = frame.references[frame.reference++];
            const std::size_t at = frame.cursor;
            const auto& sets = header_.sets;
            if (at < sets.size() && sets[at].depth == set.depth + 1 && sets[at].instanceUID &&
                std::equal(target.begin(), target.end(), sets[at].instanceUID->begin()) &&
                sets[at].parent == set.instanceUID) {
                if (sets[at].definition != nullptr) {
                    openSet(at, path, false);  // frame is invalid from here
                } else {
                    xml_.comment(" a set of key " + dottedHex(sets[at].key.data(), 16) +
                                 " the dictionary does not know, with " +
                                 std::to_string(sets[at].items.size()) + " items ");
                    skipPast(frame, at);
                }
                return;
            }
            Bytes16 id{};
            std::copy(target.begin(), target.end(), id.begin());
            xml_.comment(" a strong reference to " + uuidUrn(hexDigits(uuidText(id))) +
                         ", which is not a set placed here ");
            return;
        }
        if (frame.item == set.items.size()) {
            xml_.close();
            const std::size_t end = frame.cursor;
            path.pop_back();
            if (!path.empty()) {
                skipPast(path.back(), end - 1);
            }
            return;
        }
        const Item& item = set.items[frame.item++];
        if (item.element == nullptr) {
            darkItem(item, "an item the dictionary does not know,");
            return;
        }
        if (isStrongReference(item)) {
            frame.references = strongReferences(*item.element, item.bytes);
            if (frame.references.empty() && !item.bytes.empty() && !item.value) {
                darkItem(item, "an item with no decoded value,");
                return;
            }
            frame.reference = 0;
            frame.inReferences = true;
            xml_.open(itemName(item));
            return;
        }
        if (!item.value) {
            darkItem(item, "an item with no decoded value,");  // opaque, or a finding on it
            return;
        }
        writeValue(itemName(item), item.type, item.element->dataType(), *item.value, {});
    }

    // The parent's next child stands after this one's subtree: the sets of it not written
    // (not reached from it in order) are passed over once.
    void skipPast(Frame& parent, std::size_t child) {
        const auto& sets = header_.sets;
        std::size_t at = std::max(parent.cursor, child + 1);
        const std::size_t depth = sets[parent.set].depth;
        while (at < sets.size() && sets[at].depth > depth + 1) {
            ++at;
        }
        parent.cursor = at;
    }

    // A value as an element: a leaf with its text, or children for records and arrays.
    void writeValue(const std::string& name, const MM::TypeDefinition* type,
                    Id::Identifier identifier, const Value& value, XmlWriter::Attributes attributes,
                    int depth = 0) {
        const MM::TypeDefinition* resolved = type ? types_.resolve(*type) : nullptr;
        const Form form = formOf(resolved, identifier);
        if (depth > 32) {
            xml_.comment(" a value nested too deep ");
            return;
        }
        if (value.kind() == Value::Kind::Record && resolved != nullptr &&
            resolved->kind == TypeKind::Indirect && value.asRecord().size() == 2) {
            const Value& actual = value.asRecord()[0].second;
            const auto label = MM::labelFromText(actual.asText());
            const MM::TypeDefinition* actualType = label ? types_.type(*label) : nullptr;
            attributes.emplace_back("b:actualType", actual.labelSymbol());
            writeValue(name, actualType, Id::Unknown, value.asRecord()[1].second, attributes,
                       depth + 1);
            return;
        }
        if (value.kind() == Value::Kind::Record) {
            xml_.open(name, attributes);
            const std::string uri =
                resolved ? std::string(resolved->namespaceURI) : typesNamespace();
            for (std::size_t i = 0; i < value.asRecord().size(); ++i) {
                const auto& [symbol, member] = value.asRecord()[i];
                const MM::TypeDefinition* memberType = resolved && i < resolved->members.size()
                                                           ? types_.type(resolved->members[i].type)
                                                           : nullptr;
                writeValue(qualified(uri, symbol), memberType, Id::Unknown, member, {}, depth + 1);
            }
            xml_.close();
            return;
        }
        if (value.kind() == Value::Kind::List && form != Form::Rational) {
            const MM::TypeDefinition* itemType =
                resolved && resolved->base ? types_.type(*resolved->base) : nullptr;
            const std::string itemName =
                itemType
                    ? qualified(std::string(itemType->namespaceURI), std::string(itemType->symbol))
                    : qualified(typesNamespace(), collectionItemName(identifier));
            if (value.asList().empty()) {
                xml_.leaf(name, attributes, XmlText());
                return;
            }
            xml_.open(name, attributes);
            for (const Value& item : value.asList()) {
                writeValue(itemName, itemType, Id::Unknown, item, {}, depth + 1);
            }
            xml_.close();
            return;
        }
        XmlText text = xmlText(valueText(value, form));
        if (text.escaped) {
            attributes.emplace_back("b:escape", "true");
        }
        xml_.leaf(name, attributes, text);
    }

    std::string typesNamespace() const { return "http://www.smpte-ra.org/reg/2003/2012"; }

    // Without registered types, an item of a collection is named by its data type.
    std::string collectionItemName(Id::Identifier) const { return "Item"; }

    XmlWriter xml_;
    const HeaderMetadata& header_;
    const MM::TypeDefinitions& types_;
    std::map<std::string, std::string> prefixes_;
    std::vector<const std::pair<const std::string, std::string>*> order_;
};

}  // namespace

void writeRegXML(std::ostream& out, const HeaderMetadata& header, const MM::Dictionary& dictionary,
                 const RegXMLOptions& options) {
    std::size_t root = header.sets.size();
    for (std::size_t i = 0; i < header.sets.size() && root == header.sets.size(); ++i) {
        const LocalSet& set = header.sets[i];
        if (options.root ? set.instanceUID == options.root
                         : set.depth == 0 && isPrefaceKey(set.key)) {
            root = i;
        }
    }
    if (root == header.sets.size()) {
        throw FileRefused(options.root ? "no-root" : "no-preface", 0,
                          options.root ? "the header metadata has no set of InstanceUID " +
                                             uuidText(*options.root)
                                       : std::string("the header metadata has no Preface"),
                          __FILE__, __LINE__);
    }
    if (header.sets[root].definition == nullptr) {
        throw FileRefused("no-root", header.sets[root].offset,
                          "the root set's key " + dottedHex(header.sets[root].key.data(), 16) +
                              " is not in the dictionary",
                          __FILE__, __LINE__);
    }
    DocumentWriter(out, header, dictionary).write(root);
}

}  // namespace Velmar::MXF
