// The header metadata as a RegXML document, written as the strong-reference tree is walked.
#include "Velmar/MXF/RegXML/RegXMLWriting.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <ostream>

#include "../KLV/Labels.h"
#include "../Values/BigEndian.h"
#include "../Values/Decoding.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Types/Identifiers.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "XmlWriter.h"

namespace Velmar::MXF::RegXML {

using namespace Model;
using namespace Values;
using namespace KLV;

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

// The 16 bytes of a label or identifier from the reader's text of it (dotted, or a UUID's
// 8-4-4-4-12); none for any other text.
std::optional<Bytes16> bytesOfText(const std::string& text) {
    const std::string digits = hexDigits(text);
    if (digits.size() != 32 || (text.size() != 47 && text.size() != 36)) {
        return std::nullopt;
    }
    Bytes16 bytes{};
    for (std::size_t i = 0; i < 16; ++i) {
        bytes[i] = static_cast<std::uint8_t>(std::stoul(digits.substr(2 * i, 2), nullptr, 16));
    }
    return bytes;
}

std::string valueText(const Value& value, Form form) {
    switch (value.kind()) {
        case Value::Kind::Boolean:
            return RegXMLText::boolean(value.asBoolean());
        case Value::Kind::Signed:
            return RegXMLText::integer(value.asSigned());
        case Value::Kind::Unsigned:
            return RegXMLText::integer(value.asUnsigned());
        case Value::Kind::Float:
            return RegXMLText::real(value.asFloat());  // widened to 64 bits
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
        case Form::Auid: {
            // A weak reference to a package holds its UMID.
            if (text.size() == 64) {
                return umidUrn(text);
            }
            const std::optional<Bytes16> bytes = bytesOfText(text);
            return bytes ? RegXMLText::auid(bytes->data()) : auidText(text);
        }
        case Form::Umid:
            return umidUrn(text);
        case Form::Timestamp:
            // Milliseconds only where the stored unit is not 0.
            return (text.size() > 4 && text.compare(text.size() - 4, 4, ".000") == 0
                        ? text.substr(0, text.size() - 4)
                        : text) +
                   "Z";
        case Form::Plain:
        case Form::Rational:
            break;
    }
    // A NUL ends a string: nothing after it is written.
    return text.substr(0, text.find('\0'));
}

class DocumentWriter {
  public:
    DocumentWriter(std::ostream& out, const HeaderMetadata& header,
                   const MM::Dictionary& dictionary)
        : xml_(out), header_(header), types_(dictionary.typeDefinitions()) {
        // Looked up by set and tag once, so that a file of many such items costs no product.
        for (const Finding& finding : header.findings) {
            if (finding.rule == "bad-size" && finding.setOffset && finding.tag) {
                badSizes_.emplace(std::make_pair(*finding.setOffset, *finding.tag),
                                  finding.message);
            }
        }
    }

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

    // What the dictionary does not define is never dropped silently: its key and bytes.
    void darkItem(const Item& item) {
        xml_.comment(
            "Unknown property\nKey: " +
            (item.label ? RegXMLText::auid(item.label->data()) : "tag " + tagText(item.tag)) +
            "\nData: " + plainHex(item.bytes.data(), item.bytes.size()));
    }

    // Every set by InstanceUID (the first of one), made when first needed.
    void indexSets() {
        if (!setsIndexed_) {
            setsIndexed_ = true;
            for (std::size_t i = 0; i < header_.sets.size(); ++i) {
                if (header_.sets[i].instanceUID) {
                    setsByInstance_.emplace(*header_.sets[i].instanceUID, i);
                }
            }
        }
    }

    void openSet(std::size_t index, std::vector<Frame>& path, bool root) {
        ++written_;
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
        if (set.instanceUID) {
            onPath_.emplace(*set.instanceUID, index);
        }
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
                    xml_.comment(
                        "Unknown group\nKey: " + RegXMLText::auid(sets[at].key.data()) +
                        "\nInstance UID: " + RegXMLText::uuid(sets[at].instanceUID->data()));
                    skipPast(frame, at);
                }
                return;
            }
            // A set that holds this one: written up to its InstanceUID, and said to be circular.
            const auto above = onPath_.find(bytes16(target.data()));
            if (above != onPath_.end()) {
                const LocalSet& ancestor = header_.sets[above->second];
                {
                    xml_.open(setName(ancestor));
                    for (const Item& item : ancestor.items) {
                        if (item.element != nullptr && item.value && item.label &&
                            isInstanceUIDLabel(*item.label)) {
                            writeValue(itemName(item), item.type, item.element->dataType(),
                                       *item.value, {});
                            break;
                        }
                    }
                    xml_.close();
                    xml_.comment("Circular Strong Reference to Set UID " +
                                 RegXMLText::uuid(target.data()));
                    return;
                }
            }
            // A set the reader placed at another reference is written here too, as long as
            // what is written stays within a bound of the file's sets: references that fan out
            // again and again would otherwise write a document of no bound.
            indexSets();
            const auto elsewhere = setsByInstance_.find(bytes16(target.data()));
            if (elsewhere != setsByInstance_.end() &&
                header_.sets[elsewhere->second].definition != nullptr &&
                written_ < 4 * header_.sets.size() + 1024) {
                openSet(elsewhere->second, path, false);  // frame is invalid from here
                return;
            }
            xml_.comment(
                "Strong Reference target " + RegXMLText::uuid(target.data()) +
                (elsewhere != setsByInstance_.end() ? " is written elsewhere" : " is not found"));
            return;
        }
        if (frame.item == set.items.size()) {
            xml_.close();
            const std::size_t end = frame.cursor;
            if (set.instanceUID) {
                const auto on = onPath_.find(*set.instanceUID);
                if (on != onPath_.end() && on->second == frame.set) {
                    onPath_.erase(on);
                }
            }
            path.pop_back();
            if (!path.empty()) {
                skipPast(path.back(), end - 1);
            }
            return;
        }
        const Item& item = set.items[frame.item++];
        if (item.element == nullptr) {
            darkItem(item);
            skipOwned(frame, item);
            return;
        }
        if (holdsStrongReferences(*item.element)) {
            frame.references = strongReferences(*item.element, item.bytes);
            if (frame.references.empty() && !item.bytes.empty() && !item.value) {
                xml_.leaf(itemName(item), {},
                          xmlText(plainHex(item.bytes.data(), item.bytes.size())));
                return;
            }
            frame.reference = 0;
            frame.inReferences = true;
            xml_.open(itemName(item));
            return;
        }
        const std::string_view symbol =
            types_.registeredSymbol(bytesOf(item.element->universalLabel().bytes()));
        const std::string elementSymbol =
            symbol.empty() ? utf8(item.element->getProperty(u"XMLTagName")) : std::string(symbol);
        if (elementSymbol == "PrimaryPackage" && item.bytes.size() == 16) {
            primaryPackage(item);
            return;
        }
        if (elementSymbol == "ByteOrder" && item.bytes.size() == 2) {
            const bool big = item.bytes[0] == 0x4d && item.bytes[1] == 0x4d;
            const bool little = item.bytes[0] == 0x49 && item.bytes[1] == 0x49;
            if (big || little) {
                xml_.leaf(itemName(item), {}, xmlText(big ? "BigEndian" : "LittleEndian"));
                if (little) {
                    xml_.comment(" a little-endian byte order: the file does not conform ");
                }
                return;
            }
        }
        if (!item.value && bytesArray(item)) {
            return;
        }
        if (!item.value && indirectLittleEndian(item)) {
            return;
        }
        if (!item.value && wrongLengthInteger(item)) {
            return;
        }
        if (!item.value) {
            // Opaque data and what has no text form: its bytes in hexadecimal; where the reader
            // found the value wrong (its size), what it found beside it.
            xml_.leaf(itemName(item), {}, xmlText(plainHex(item.bytes.data(), item.bytes.size())));
            const auto wrong = badSizes_.find({set.offset, item.tag});
            if (wrong != badSizes_.end()) {
                xml_.comment("Incorrect field length: " + wrong->second);
            }
            return;
        }
        // Typed AUID by the register, these hold UUIDs as stored.
        const bool uuid = elementSymbol == "GenerationID" ||
                          elementSymbol == "LinkedGenerationID" ||
                          elementSymbol == "ApplicationProductID";
        writeValue(itemName(item), item.type, item.element->dataType(), *item.value, {}, 0,
                   uuid ? std::optional<Form>(Form::Uuid) : std::nullopt);
    }

    // An integer of the wrong length: the value of the bytes there are, and what is wrong;
    // none at all is NaN.
    bool wrongLengthInteger(const Item& item) {
        const MM::TypeDefinition* type = item.type ? types_.resolve(*item.type) : nullptr;
        const std::vector<std::uint8_t>& b = item.bytes;
        if (type == nullptr || type->kind != TypeKind::Integer || b.size() == type->size ||
            b.size() > 8) {
            return false;
        }
        if (b.empty()) {
            xml_.leaf(itemName(item), {}, xmlText("NaN"));
            xml_.comment("No data");
            return true;
        }
        const std::uint64_t u = bigEndian(b.data(), b.size());
        const unsigned shift = static_cast<unsigned>(64 - 8 * b.size());
        xml_.leaf(itemName(item), {},
                  xmlText(type->isSigned
                              ? RegXMLText::integer(static_cast<std::int64_t>(u << shift) >> shift)
                              : RegXMLText::integer(u)));
        xml_.comment("Incorrect field length: expected " + std::to_string(type->size) +
                     " and parsed " + std::to_string(b.size()) + ".");
        return true;
    }

    // A variable array or set of integers the reader leaves as bytes (UInt8Array): one element
    // an item, counted by its header, each the integer at the start of its item.
    bool bytesArray(const Item& item) {
        const MM::TypeDefinition* type = item.type ? types_.resolve(*item.type) : nullptr;
        if (type == nullptr ||
            (type->kind != TypeKind::VariableArray && type->kind != TypeKind::Set) || !type->base) {
            return false;
        }
        const MM::TypeDefinition* element = types_.type(*type->base);
        const MM::TypeDefinition* integer = element ? types_.resolve(*element) : nullptr;
        const std::vector<std::uint8_t>& b = item.bytes;
        if (integer == nullptr || integer->kind != TypeKind::Integer || integer->size == 0 ||
            integer->size > 8 || b.size() < 8) {
            return false;
        }
        const std::uint64_t count = bigEndian(b.data(), 4);
        const std::uint64_t size = bigEndian(b.data() + 4, 4);
        if (size < integer->size || (b.size() - 8) % size != 0 || (b.size() - 8) / size != count) {
            return false;
        }
        const std::string name =
            qualified(std::string(element->namespaceURI), std::string(element->symbol));
        if (count == 0) {
            xml_.leaf(itemName(item), {}, XmlText());
            return true;
        }
        xml_.open(itemName(item));
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::uint8_t* at = b.data() + 8 + i * size;
            const std::uint64_t u = bigEndian(at, integer->size);
            const unsigned shift = static_cast<unsigned>(64 - 8 * integer->size);
            xml_.leaf(name, {},
                      xmlText(integer->isSigned
                                  ? std::to_string(static_cast<std::int64_t>(u << shift) >> shift)
                                  : std::to_string(u)));
        }
        xml_.close();
        return true;
    }

    // An indirect value stored little-endian: its type's identifier with its halves swapped and
    // the first half's fields (4, 2 and 2 bytes) reversed; the value a UTF-16 string or an
    // integer in that byte order. What else it holds stays hexadecimal.
    bool indirectLittleEndian(const Item& item) {
        const MM::TypeDefinition* type = item.type ? types_.resolve(*item.type) : nullptr;
        const std::vector<std::uint8_t>& b = item.bytes;
        if (type == nullptr || type->kind != TypeKind::Indirect || b.size() < 17 || b[0] != 0x4c) {
            return false;
        }
        MM::LabelBytes label{};
        std::copy(b.begin() + 9, b.begin() + 17, label.begin());
        const std::uint8_t reversed[8] = {b[4], b[3], b[2], b[1], b[6], b[5], b[8], b[7]};
        std::copy(reversed, reversed + 8, label.begin() + 8);
        const MM::TypeDefinition* actual = types_.type(label);
        const MM::TypeDefinition* resolved = actual ? types_.resolve(*actual) : nullptr;
        if (resolved == nullptr) {
            return false;
        }
        const std::uint8_t* value = b.data() + 17;
        const std::size_t size = b.size() - 17;
        std::string text;
        if (resolved->kind == TypeKind::String && size % 2 == 0) {
            std::vector<std::uint8_t> big(size);
            for (std::size_t i = 0; i + 1 < size; i += 2) {
                big[i] = value[i + 1];
                big[i + 1] = value[i];
            }
            bool replaced = false;
            text = decodeText(big.data(), big.size(), TextEncoding::UTF16BE, replaced);
            text = text.substr(0, text.find('\0'));
        } else if (resolved->kind == TypeKind::Integer && resolved->size == size && size <= 8) {
            std::uint64_t u = 0;
            for (std::size_t i = size; i-- > 0;) {
                u = u << 8 | value[i];
            }
            const unsigned shift = static_cast<unsigned>(64 - 8 * size);
            text = resolved->isSigned
                       ? std::to_string(static_cast<std::int64_t>(u << shift) >> shift)
                       : std::to_string(u);
        } else {
            return false;
        }
        XmlText xml = xmlText(text);
        XmlWriter::Attributes attributes = {{"b:actualType", std::string(actual->symbol)}};
        if (xml.escaped) {
            attributes.emplace_back("b:escape", "true");
        }
        xml_.leaf(itemName(item), attributes, xml);
        return true;
    }

    // The Preface's PrimaryPackage holds the package's InstanceUID; RegXML writes the
    // package's unique identifier, its PackageID.
    void primaryPackage(const Item& item) {
        const Bytes16 target = bytes16(item.bytes.data());
        if (!indexed_) {  // once for all sets: many such items cost no product
            indexed_ = true;
            for (const LocalSet& set : header_.sets) {
                for (const Item& candidate : set.items) {
                    if (set.instanceUID && candidate.element != nullptr && candidate.value &&
                        types_.uniqueIdentifier(
                            bytesOf(candidate.element->universalLabel().bytes()))) {
                        packageIDs_.emplace(
                            *set.instanceUID,
                            umidUrn(plainHex(candidate.bytes.data(), candidate.bytes.size())));
                        break;
                    }
                }
            }
        }
        const auto found = packageIDs_.find(target);
        if (found != packageIDs_.end()) {
            xml_.leaf(itemName(item), {}, xmlText(found->second));
            return;
        }
        xml_.leaf(itemName(item), {}, XmlText());
        xml_.comment(" Target Primary Package with Instance UID " +
                     RegXMLText::uuid(target.data()) + " not found ");
    }

    // An item the file's metadictionary types as strong references owns the sets placed next
    // in tree order; unwritten here, their subtrees are passed over.
    void skipOwned(Frame& frame, const Item& item) {
        if (!item.fileDefinition || !item.value) {
            return;
        }
        std::vector<std::string> targets;
        if (item.value->kind() == Value::Kind::Text) {
            targets.push_back(item.value->asText());
        } else if (item.value->kind() == Value::Kind::List) {
            for (const Value& v : item.value->asList()) {
                if (v.kind() == Value::Kind::Text) {
                    targets.push_back(v.asText());
                }
            }
        }
        const auto& sets = header_.sets;
        const LocalSet& set = sets[frame.set];
        for (const std::string& target : targets) {
            const std::size_t at = frame.cursor;
            if (at < sets.size() && sets[at].depth == set.depth + 1 && sets[at].instanceUID &&
                uuidText(*sets[at].instanceUID) == target && sets[at].parent == set.instanceUID) {
                skipPast(frame, at);
            }
        }
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
                    int depth = 0, std::optional<Form> forced = std::nullopt) {
        const MM::TypeDefinition* resolved = type ? types_.resolve(*type) : nullptr;
        const Form form = forced ? *forced : formOf(resolved, identifier);
        if (resolved != nullptr && resolved->kind == TypeKind::Enumeration &&
            (value.kind() == Value::Kind::Signed || value.kind() == Value::Kind::Unsigned)) {
            xml_.leaf(name, attributes, xmlText("UNDEFINED"));
            xml_.comment(" Undefined value " + value.toJson() + " ");
            return;
        }
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
    std::map<std::pair<std::uint64_t, std::uint16_t>, std::string> badSizes_;  // by set and tag
    std::map<Bytes16, std::size_t> onPath_;  // the open sets by InstanceUID (the first of one)
    bool setsIndexed_ = false;
    std::map<Bytes16, std::size_t> setsByInstance_;  // every set by InstanceUID, when first needed
    std::size_t written_ = 0;                        // sets written, a set written twice twice
    // Each set's unique identifier as written, by InstanceUID, made when first asked for.
    bool indexed_ = false;
    std::map<Bytes16, std::string> packageIDs_;
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

}  // namespace Velmar::MXF::RegXML
