// A RegXML document back into header metadata: the inverse of the writer, set by set and item
// by item, keeping what the file had wherever the document leaves it as it was.
#include "Velmar/MXF/RegXML/RegXMLReading.h"

#include <xercesc/dom/DOMComment.hpp>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNode.hpp>

#include <algorithm>
#include <map>
#include <set>

#include "../KLV/Labels.h"
#include "../Values/BigEndian.h"
#include "../Values/Decoding.h"
#include "../Values/TextParsing.h"
#include "Velmar/MXF/RegXML/RegXMLWriting.h"
#include "Velmar/MXF/Values/Encoding.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/MXF/Writing/HeaderMetadataEditing.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/XMLFileReader.h"

namespace Velmar::MXF::RegXML {

using namespace Model;
using namespace Values;
using namespace KLV;
using namespace Writing;

namespace {

namespace MM = SDK::MetaMetadata;
using MM::TypeKind;
using xercesc::DOMElement;
using xercesc::DOMNode;
using Bytes = std::vector<std::uint8_t>;

std::string utf8(const XMLCh* text) {
    return text == nullptr ? std::string() : SDK::Utils::toUtf8(text).c_str();
}

std::string localName(const DOMNode* node) {
    const XMLCh* local = node->getLocalName();
    return utf8(local != nullptr ? local : node->getNodeName());
}

std::vector<const DOMElement*> childElements(const DOMNode* node) {
    std::vector<const DOMElement*> children;
    for (const DOMNode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        if (child->getNodeType() == DOMNode::ELEMENT_NODE) {
            children.push_back(static_cast<const DOMElement*>(child));
        }
    }
    return children;
}

std::string textOf(const DOMNode* node) {
    std::string text;
    for (const DOMNode* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        const auto type = child->getNodeType();
        if (type == DOMNode::TEXT_NODE || type == DOMNode::CDATA_SECTION_NODE) {
            text += utf8(child->getNodeValue());
        }
    }
    return text;
}

std::string baselineAttribute(const DOMElement* element, const XMLCh* name) {
    const std::u16string ns(
        kRegXMLBaselineNamespace,
        kRegXMLBaselineNamespace + std::char_traits<char>::length(kRegXMLBaselineNamespace));
    return utf8(element->getAttributeNS(ns.c_str(), name));
}

// A leaf's text as the value it stands for: escapes undone where the element says so.
std::string leafText(const DOMElement* element) {
    const std::string text = textOf(element);
    return baselineAttribute(element, u"escape") == "true" ? RegXMLText::unescape(text) : text;
}

// The comment right after a node, where the writer leaves what a text could not say.
std::string commentAfter(const DOMNode* node) {
    for (const DOMNode* next = node->getNextSibling(); next != nullptr;
         next = next->getNextSibling()) {
        if (next->getNodeType() == DOMNode::COMMENT_NODE) {
            return utf8(next->getNodeValue());
        }
        if (next->getNodeType() == DOMNode::ELEMENT_NODE) {
            break;
        }
    }
    return {};
}

// The UUID a text gives after a marker ("Instance UID: urn:uuid:…").
std::optional<Bytes16> uuidIn(const std::string& text, const std::string& after) {
    const std::size_t at = text.find(after);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t start = at + after.size();
    return uuidOfText(
        std::string_view(text).substr(start, text.compare(start, 9, "urn:uuid:") == 0 ? 45 : 36));
}

// Keys of one kind of set, whatever their version byte and their coding byte (a file's "7f"
// keeps it).
bool sameSetKey(const Bytes16& a, const Bytes16& b) {
    for (std::size_t i = 0; i < 16; ++i) {
        if (i != 5 && i != 7 && a[i] != b[i]) {
            return false;
        }
    }
    return true;
}

class DocumentReader {
  public:
    DocumentReader(const HeaderMetadata& original, const MM::Dictionary& dictionary)
        : original_(original), dictionary_(dictionary), types_(dictionary.typeDefinitions()) {
        for (const MM::MetaMetadataSet& set : dictionary.metaMetadataSets()) {
            setsBySymbol_[utf8(set.getProperty(u"XMLTagName"))].push_back(&set);
            const std::string_view registered = types_.registeredSymbol(bytes16(set.key().bytes()));
            if (!registered.empty()) {
                setsBySymbol_[std::string(registered)].push_back(&set);
            }
        }
        for (const MM::TypeDefinition& type : types_.types()) {
            typesBySymbol_.emplace(std::string(type.symbol), &type);
        }
        for (std::size_t i = 0; i < original.sets.size(); ++i) {
            if (original.sets[i].instanceUID) {
                originalByUID_.emplace(*original.sets[i].instanceUID, i);
            }
        }
    }

    // The sets of the document's tree, in tree order from its root.
    std::vector<LocalSet> read(const DOMElement* root) {
        std::vector<LocalSet> sets;
        readSet(root, 0, std::nullopt, sets, "/" + localName(root));
        // The primary package is written as its PackageID; stored, it is its InstanceUID.
        for (LocalSet& set : sets) {
            for (Item& item : set.items) {
                if (item.bytes.empty() && item.value && item.element != nullptr &&
                    elementSymbol(*item.element, types_) == "PrimaryPackage") {
                    const auto found = packages_.find(item.value->asText());
                    if (found == packages_.end()) {
                        refuse("PrimaryPackage names no package of the document: " +
                               item.value->asText());
                    }
                    item.bytes.assign(found->second.begin(), found->second.end());
                    item.value = decodeItemValue(item, item.bytes, types_);
                }
            }
        }
        return sets;
    }

  private:
    [[noreturn]] static void refuse(const std::string& message) {
        throw EditRefused(message, __FILE__, __LINE__);
    }

    const MM::MetaMetadataSet* setDefinition(const DOMElement* element, const std::string& path) {
        const auto found = setsBySymbol_.find(localName(element));
        if (found == setsBySymbol_.end()) {
            refuse(path + ": the dictionary has no set " + localName(element));
        }
        const std::string uri = utf8(element->getNamespaceURI());
        for (const MM::MetaMetadataSet* set : found->second) {
            if (utf8(set->getProperty(u"XMLNamespaceURI")) == uri) {
                return set;
            }
        }
        return found->second.front();
    }

    const MM::MetaElement* attribute(const MM::MetaMetadataSet& set, const std::string& symbol) {
        for (const MM::MetaAttribute& attribute : set.attributes()) {
            if (elementSymbol(attribute.metaElement(), types_) == symbol) {
                return &attribute.metaElement();
            }
        }
        return nullptr;
    }

    // Reads a set element and the sets below it into `out`, unless a set of its InstanceUID
    // is there already (a set written again where a second reference, or a circular one,
    // leads to it). Returns its InstanceUID.
    Bytes16 readSet(const DOMElement* element, std::size_t depth,
                    const std::optional<Bytes16>& parent, std::vector<LocalSet>& out,
                    const std::string& path) {
        if (depth > 64) {
            refuse(path + ": sets nest deeper than any header metadata does");
        }
        const MM::MetaMetadataSet* definition = setDefinition(element, path);
        LocalSet set;
        set.definition = definition;
        set.key = bytes16(definition->key().bytes());
        set.key[5] = 0x53;
        set.depth = depth;
        set.parent = parent;
        std::vector<LocalSet> below;
        std::vector<std::size_t> children;  // in `below`, the roots of the sets it holds
        std::vector<std::pair<std::size_t, const DOMElement*>> pending;  // values to read
        for (const DOMElement* child : childElements(element)) {
            const std::string symbol = localName(child);
            const std::string here = path + "/" + symbol;
            const MM::MetaElement* meta = attribute(*definition, symbol);
            if (meta == nullptr) {
                refuse(here + ": " + symbol + " is not an item of " + localName(element));
            }
            Item item;
            item.element = meta;
            item.label = bytes16(meta->universalLabel().bytes());
            item.type = dictionary_.typeOf(*meta);
            if (holdsStrongReferences(*meta)) {
                std::vector<Bytes16> references;
                for (const DOMNode* node = child->getFirstChild(); node != nullptr;
                     node = node->getNextSibling()) {
                    if (node->getNodeType() == DOMNode::ELEMENT_NODE) {
                        const std::size_t first = below.size();
                        const auto target =
                            readSet(static_cast<const DOMElement*>(node), depth + 1, std::nullopt,
                                    below, here + "/" + localName(node));
                        if (below.size() > first) {
                            children.push_back(first);
                        }
                        references.push_back(target);
                    } else if (node->getNodeType() == DOMNode::COMMENT_NODE) {
                        // A set the writer could not write (an unknown group), or a target the
                        // file lacked: the reference stays, and the set as the file had it.
                        const std::string comment = utf8(node->getNodeValue());
                        auto uid = uuidIn(comment, "Instance UID: ");
                        if (!uid) {
                            uid = uuidIn(comment, "Strong Reference target ");
                        }
                        if (uid) {
                            references.push_back(*uid);
                            keepOriginalSubtree(*uid, depth + 1, below, children);
                        }
                    }
                }
                if (meta->dataType() == SDK::Types::Identifiers::StrongRef &&
                    references.size() != 1) {
                    refuse(here + ": holds one set, not " + std::to_string(references.size()));
                }
                item.bytes = strongReferenceBytes(*meta, references);
            } else if (symbol == "PrimaryPackage") {
                // Resolved once every package is read: the bytes are the package's InstanceUID.
                item.value = Value::text(leafText(child));
                set.items.push_back(std::move(item));
                continue;
            } else if (item.label && isInstanceUIDLabel(*item.label)) {
                item.bytes = bytesOf(child, item, nullptr, here);
                if (item.bytes.size() == 16) {
                    set.instanceUID = bytes16(item.bytes.data());
                    onPath_.insert(*set.instanceUID);
                }
            } else {
                // Once the set's InstanceUID is known, so that what the file had can be kept.
                pending.emplace_back(set.items.size(), child);
            }
            item.value = decodeItemValue(item, item.bytes, types_);
            set.items.push_back(std::move(item));
        }
        if (!set.instanceUID) {
            refuse(path + ": a set has an InstanceID, which references to it hold");
        }
        const LocalSet* had = originalSet(set);
        for (const auto& [index, child] : pending) {
            Item& item = set.items[index];
            item.bytes = bytesOf(child, item, had ? originalItem(*had, item) : nullptr,
                                 path + "/" + localName(child));
            item.value = decodeItemValue(item, item.bytes, types_);
        }
        const Bytes16 uid = *set.instanceUID;
        onPath_.erase(uid);
        if (read_.count(uid) > 0 || onPath_.count(uid) > 0) {
            return uid;  // written again where a second reference, or a circular one, leads
        }
        read_.insert(uid);
        keepWhatTheFileHad(set);
        // The sets the file's own definitions hold (their items left as comments) stay too.
        for (const Item& item : set.items) {
            if (item.element == nullptr && item.fileDefinition && item.value) {
                for (const Bytes16& target : fileDefinedReferences(item)) {
                    keepOriginalSubtree(target, depth + 1, below, children);
                }
            }
        }
        below = inTreeOrder(set, std::move(below), children);
        for (LocalSet& child : below) {
            if (child.depth == depth + 1) {
                child.parent = uid;
            }
        }
        // A package's unique identifier, for the primary package that names it.
        for (const Item& item : set.items) {
            if (item.element != nullptr && item.bytes.size() == 32 &&
                elementSymbol(*item.element, types_) == "PackageID") {
                packages_.emplace(RegXMLText::umid(item.bytes.data(), 32), uid);
            }
        }
        out.push_back(std::move(set));
        out.insert(out.end(), std::make_move_iterator(below.begin()),
                   std::make_move_iterator(below.end()));
        return uid;
    }

    static std::vector<Bytes16> fileDefinedReferences(const Item& item) {
        std::vector<Bytes16> targets;
        const auto add = [&](const Value& v) {
            if (v.kind() == Value::Kind::Text) {
                if (const auto uid = uuidIn(v.asText(), "")) {
                    targets.push_back(*uid);
                }
            }
        };
        if (item.value->kind() == Value::Kind::List) {
            for (const Value& v : item.value->asList()) {
                add(v);
            }
        } else {
            add(*item.value);
        }
        return targets;
    }

    // The sets below a set in the order the reader places them: by its items' references in
    // order, each subtree whole.
    std::vector<LocalSet> inTreeOrder(const LocalSet& set, std::vector<LocalSet> below,
                                      const std::vector<std::size_t>& roots) {
        std::map<Bytes16, std::pair<std::size_t, std::size_t>> subtrees;  // by root InstanceUID
        for (std::size_t r = 0; r < roots.size(); ++r) {
            const std::size_t begin = roots[r];
            std::size_t end = begin + 1;
            while (end < below.size() && below[end].depth > below[begin].depth) {
                ++end;
            }
            if (below[begin].instanceUID) {
                subtrees.emplace(*below[begin].instanceUID, std::make_pair(begin, end));
            }
        }
        std::vector<LocalSet> ordered;
        std::vector<bool> placed(below.size(), false);
        const auto place = [&](const Bytes16& uid) {
            const auto found = subtrees.find(uid);
            if (found == subtrees.end() || placed[found->second.first]) {
                return;
            }
            for (std::size_t i = found->second.first; i < found->second.second; ++i) {
                placed[i] = true;
                ordered.push_back(std::move(below[i]));
            }
        };
        for (const Item& item : set.items) {
            if (item.element != nullptr) {
                for (const auto& reference : strongReferences(*item.element, item.bytes)) {
                    place(bytes16(reference.data()));
                }
            } else if (item.fileDefinition && item.value) {
                for (const Bytes16& uid : fileDefinedReferences(item)) {
                    place(uid);
                }
            }
        }
        for (std::size_t i = 0; i < below.size(); ++i) {
            if (!placed[i]) {
                ordered.push_back(std::move(below[i]));
            }
        }
        return ordered;
    }

    // The subtree of an original set the document names only in a comment.
    void keepOriginalSubtree(const Bytes16& uid, std::size_t depth, std::vector<LocalSet>& below,
                             std::vector<std::size_t>& children) {
        const auto found = originalByUID_.find(uid);
        // Once only: a document naming one subtree again and again must not cost more each time.
        if (found == originalByUID_.end() || !read_.insert(uid).second) {
            return;
        }
        const std::size_t root = found->second;
        const std::size_t rootDepth = original_.sets[root].depth;
        children.push_back(below.size());
        for (std::size_t i = root;
             i < original_.sets.size() && (i == root || original_.sets[i].depth > rootDepth); ++i) {
            LocalSet copy = original_.sets[i];
            copy.depth = copy.depth - rootDepth + depth;
            below.push_back(std::move(copy));
        }
    }

    // A set the file had keeps its key as stored, its place, its items' tags, the bytes of
    // what is unchanged, and the items the document could only leave as comments.
    const LocalSet* originalSet(const LocalSet& set) const {
        const auto found = originalByUID_.find(*set.instanceUID);
        if (found == originalByUID_.end() ||
            !sameSetKey(original_.sets[found->second].key, set.key)) {
            return nullptr;  // new, or another kind of set under the same InstanceUID
        }
        return &original_.sets[found->second];
    }

    // The item of an original set of an item's label (its version byte aside), by an index of
    // the set's items made once: a set of many items costs no product.
    const Item* originalItem(const LocalSet& had, const Item& item) {
        if (!item.label) {
            return nullptr;
        }
        if (indexed_ != &had) {
            indexed_ = &had;
            itemsByLabel_.clear();
            for (const Item& old : had.items) {
                if (old.label) {
                    Bytes16 key = *old.label;
                    key[7] = 0;
                    itemsByLabel_.emplace(key, &old);
                }
            }
        }
        Bytes16 key = *item.label;
        key[7] = 0;
        const auto found = itemsByLabel_.find(key);
        return found != itemsByLabel_.end() ? found->second : nullptr;
    }

    void keepWhatTheFileHad(LocalSet& set) {
        const LocalSet* found = originalSet(set);
        if (found == nullptr) {
            return;
        }
        const LocalSet& had = *found;
        set.key = had.key;
        set.lengthSize = had.lengthSize;
        set.offset = had.offset;
        set.fileDefinition = had.fileDefinition;
        for (Item& item : set.items) {
            const Item* old = originalItem(had, item);
            if (old == nullptr) {
                continue;
            }
            item.tag = old->tag;
            item.label = old->label;  // the version byte as the file had it
            item.offset = old->offset;
            const bool same =
                old->bytes == item.bytes ||
                (old->value && item.value && old->value->toJson() == item.value->toJson());
            if (same) {
                item.bytes = old->bytes;
                item.value = old->value;
            }
        }
        for (std::size_t i = 0; i < had.items.size(); ++i) {
            if (had.items[i].element == nullptr) {
                const std::size_t at = std::min(i, set.items.size());
                set.items.insert(set.items.begin() + static_cast<std::ptrdiff_t>(at), had.items[i]);
            }
        }
    }

    // An item's stored bytes from its element: a value by its type, or hexadecimal where the
    // type has no value form.
    static bool isHexLeaf(const DOMElement* element, const std::string& text) {
        return childElements(element).empty() && !text.empty() && text.size() % 2 == 0 &&
               std::all_of(text.begin(), text.end(),
                           [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); });
    }

    // What the reader left as bytes (no value of its type) the writer could only write in
    // hexadecimal, or in a form that loses bytes: hexadecimal is read as the bytes, anything
    // else leaves the bytes the file had.
    Bytes bytesOf(const DOMElement* element, const Item& item, const Item* had,
                  const std::string& path) {
        const std::string symbol = elementSymbol(*item.element, types_);
        const MM::TypeDefinition* resolved = item.type ? types_.resolve(*item.type) : nullptr;
        const std::string text = leafText(element);
        if (symbol == "ByteOrder" && (text == "BigEndian" || text == "LittleEndian")) {
            return text[0] == 'B' ? Bytes{0x4d, 0x4d} : Bytes{0x49, 0x49};
        }
        if (resolved == nullptr || resolved->kind == TypeKind::Opaque ||
            resolved->kind == TypeKind::Stream) {
            return hex(text, path);
        }
        if (had != nullptr && !had->value) {
            return isHexLeaf(element, text) ? hex(text, path) : had->bytes;
        }
        try {
            const Value value = valueOf(element, *item.type, path, isUuidAsStored(symbol), 0);
            return encodeItemValue(item, value, types_);
        } catch (const TextMisfit& m) {
            if (isHexLeaf(element, text) && resolved->kind != TypeKind::Integer &&
                resolved->kind != TypeKind::String && resolved->kind != TypeKind::Float) {
                return hex(text, path);
            }
            throw ValueRefused(path + ": " + m.why, __FILE__, __LINE__);
        } catch (const ValueRefused&) {
            if (isHexLeaf(element, text) && resolved->kind != TypeKind::Integer &&
                resolved->kind != TypeKind::String && resolved->kind != TypeKind::Float) {
                return hex(text, path);
            }
            throw;
        }
    }

    static Bytes hex(const std::string& text, const std::string& path) {
        auto bytes = hexOf(text);
        if (!bytes) {
            throw ValueRefused(path + ": \"" + text.substr(0, 64) + "\" is no hexadecimal bytes",
                               __FILE__, __LINE__);
        }
        return std::move(*bytes);
    }

    // A value from an element, by its type: records and lists from child elements, leaves
    // from their text.
    Value valueOf(const DOMElement* element, const MM::TypeDefinition& type,
                  const std::string& path, bool uuidAsStored, int depth) {
        if (depth > 32) {
            throw TextMisfit{"values nested deeper than any registered type"};
        }
        const std::string actual = baselineAttribute(element, u"actualType");
        const MM::TypeDefinition* resolved = types_.resolve(type);
        if (resolved != nullptr && resolved->kind == TypeKind::Indirect) {
            const auto found = typesBySymbol_.find(actual);
            if (found == typesBySymbol_.end()) {
                throw TextMisfit{
                    "an indirect value names no type of the dictionary (actualType \"" + actual +
                    "\")"};
            }
            return Value::record(
                {{"actualType", Value::text(dottedHex(found->second->label.data(), 16))},
                 {"value", valueOf(element, *found->second, path, false, depth + 1)}});
        }
        const auto children = childElements(element);
        const std::string_view symbol = resolved != nullptr ? resolved->symbol : "";
        const bool special = symbol == "AUID" || symbol == "PackageIDType" ||
                             symbol == "Rational" || symbol == "TimeStamp" ||
                             symbol == "VersionType" || symbol == "UUID";
        if (resolved != nullptr && !special) {
            if (resolved->kind == TypeKind::Record) {
                std::vector<Value::Member> members;
                for (const DOMElement* child : children) {
                    const std::string name = localName(child);
                    const MM::TypeDefinition* memberType = nullptr;
                    for (const MM::TypeMember& member : resolved->members) {
                        if (member.symbol == name) {
                            memberType = types_.type(member.type);
                        }
                    }
                    if (memberType == nullptr) {
                        throw TextMisfit{name + " is not a member of " +
                                         std::string(resolved->symbol)};
                    }
                    members.emplace_back(
                        name, valueOf(child, *memberType, path + "/" + name, false, depth + 1));
                }
                return Value::record(std::move(members));
            }
            if (resolved->kind == TypeKind::VariableArray || resolved->kind == TypeKind::Set ||
                resolved->kind == TypeKind::FixedArray) {
                const MM::TypeDefinition* base =
                    resolved->base ? types_.type(*resolved->base) : nullptr;
                std::vector<Value> items;
                // An array of names is stored as NUL-ended texts, each an element.
                for (const DOMElement* child : children) {
                    if (base == nullptr) {
                        throw TextMisfit{std::string(resolved->symbol) +
                                         " has an item type the dictionary lacks"};
                    }
                    items.push_back(valueOf(child, *base, path, false, depth + 1));
                }
                return Value::list(std::move(items));
            }
            if (resolved->kind == TypeKind::Enumeration) {
                const std::string text = leafText(element);
                if (text == "UNDEFINED") {
                    const std::string comment = commentAfter(element);
                    const std::size_t at = comment.find("Undefined value ");
                    if (at != std::string::npos) {
                        std::string number;
                        for (std::size_t i = at + 16;
                             i < comment.size() &&
                             (std::isdigit(static_cast<unsigned char>(comment[i])) ||
                              comment[i] == '-');
                             ++i) {
                            number += comment[i];
                        }
                        return valueOfText(type, number, types_, uuidAsStored);
                    }
                }
            }
        }
        return valueOfText(type, leafText(element), types_, uuidAsStored);
    }

    const HeaderMetadata& original_;
    const MM::Dictionary& dictionary_;
    const MM::TypeDefinitions& types_;
    std::map<std::string, std::vector<const MM::MetaMetadataSet*>> setsBySymbol_;
    std::map<std::string, const MM::TypeDefinition*> typesBySymbol_;
    std::map<Bytes16, std::size_t> originalByUID_;
    std::set<Bytes16> onPath_;           // the sets being read, from the root
    std::set<Bytes16> read_;             // the sets read whole
    const LocalSet* indexed_ = nullptr;  // the original set whose items are indexed
    std::map<Bytes16, const Item*> itemsByLabel_;
    std::map<std::string, Bytes16> packages_;  // InstanceUID by PackageID's URN
};

}  // namespace

void applyRegXML(HeaderMetadata& header, const char* documentPath,
                 const MM::Dictionary& dictionary) {
    SDK::XMLUtils::XMLFileReader reader;
    const xercesc::DOMDocument& document = reader.read(documentPath);
    const DOMElement* root = document.getDocumentElement();
    if (root == nullptr) {
        throw EditRefused(std::string(documentPath) + " has no root element", __FILE__, __LINE__);
    }
    DocumentReader documentReader(header, dictionary);
    std::vector<LocalSet> sets = documentReader.read(root);
    // The set it replaces: the one of its InstanceUID, else the Preface.
    std::size_t replaced = header.sets.size();
    for (std::size_t i = 0; i < header.sets.size(); ++i) {
        if (header.sets[i].instanceUID == sets.front().instanceUID) {
            replaced = i;
            break;
        }
    }
    if (replaced == header.sets.size()) {
        for (std::size_t i = 0; i < header.sets.size(); ++i) {
            if (header.sets[i].depth == 0 && isPrefaceKey(header.sets[i].key)) {
                replaced = i;
                break;
            }
        }
    }
    if (replaced == header.sets.size()) {
        if (!isPrefaceKey(sets.front().key)) {
            throw EditRefused("the document's root is no set of the file and no Preface", __FILE__,
                              __LINE__);
        }
        replaced = 0;
        header.sets.insert(header.sets.begin(), LocalSet());  // a file of no Preface gets one
    }
    std::size_t end = replaced + 1;
    while (end < header.sets.size() && header.sets[end].depth > header.sets[replaced].depth) {
        ++end;
    }
    const std::size_t depth = header.sets[replaced].depth;
    const auto parent = header.sets[replaced].parent;
    for (LocalSet& set : sets) {
        set.depth += depth;
    }
    sets.front().parent = parent;
    header.sets.erase(header.sets.begin() + static_cast<std::ptrdiff_t>(replaced),
                      header.sets.begin() + static_cast<std::ptrdiff_t>(end));
    header.sets.insert(header.sets.begin() + static_cast<std::ptrdiff_t>(replaced),
                       std::make_move_iterator(sets.begin()), std::make_move_iterator(sets.end()));
}

}  // namespace Velmar::MXF::RegXML
