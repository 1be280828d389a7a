// The registered types and labels a dictionary may carry beside its declarations.
//
// Where they live: one top-level annotation of the schema,
//
//   <xs:annotation><xs:appinfo source="Registered Types">
//     <rt:Types xmlns:rt="urn:velmar:xsddictionary:registered-types">
//       <rt:Type ul="urn:smpte:ul:..." symbol="LayoutType" name="..." namespace="..."
//                kind="Enumeration" base="urn:smpte:ul:..." [size="1"] [signed="true"]>
//         <rt:Item symbol="FullFrame" name="..." value="0"/>   (enumerations)
//         <rt:Member symbol="Major" name="..." type="urn:smpte:ul:..."/>   (records)
//       </rt:Type>
//       <rt:Element ul="(element)" type="(type)" [symbol="(the register's, where the
//                   declaration had to take another name)"] [unique="true" where a group
//                   gives it as its unique identifier]/>
//       <rt:Set ul="(set key)" symbol="(the register's symbol)"/>
//       <rt:Label ul="..." symbol="..." name="..."/>
//     </rt:Types>
//   </xs:appinfo></xs:annotation>
//
// Why there: an appinfo may hold any markup and means nothing to a schema processor, and a
// top-level annotation is no declaration, so every pass that finds declarations sees exactly
// what it saw before, and a dictionary without the block loads as it always did. One block
// rather than an appinfo per element declaration keeps the types (which are no declarations
// of this convention at all) and the labels together, read by one pass that the others never
// wait on, and leaves every element's properties as they were.
#include <string>

#include <xercesc/dom/DOMElement.hpp>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/MetaMetadata/TypeDefinitions.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/DomText.h"

namespace Velmar::SDK::MetaMetadata::Loading {

namespace {

constexpr const XMLCh* kRegisteredTypesNamespace = u"urn:velmar:xsddictionary:registered-types";

bool isEntry(const xercesc::DOMElement* element, const XMLCh* localName) {
    return xercesc::XMLString::equals(element->getNamespaceURI(), kRegisteredTypesNamespace) &&
           xercesc::XMLString::equals(element->getLocalName(), localName);
}

}  // namespace

void XSDDictionaryLoaderImpl::loadRegisteredTypes(Dictionary& dictionary) {
    ElementList blocks;
    selectElements(u"/xs:schema/xs:annotation/xs:appinfo[@source='Registered Types']/*",
                   rootElement(), blocks);
    TypeDefinitions::Builder builder;
    bool found = false;
    for (const xercesc::DOMElement* block : blocks) {
        if (block == nullptr || !isEntry(block, u"Types")) {
            continue;
        }
        found = true;
        ElementList entries;
        selectElements(u"./*", block, entries);
        builder.reserve(entries.size(), entries.size(), entries.size());
        for (const xercesc::DOMElement* entry : entries) {
            if (entry != nullptr) {
                addRegisteredEntry(entry, builder);
            }
        }
    }
    if (found) {
        dictionary.setTypeDefinitions(builder.build());
    }
}

// The entry's attribute as UTF-8; a required one that is absent is refused.
std::string XSDDictionaryLoaderImpl::entryText(const xercesc::DOMElement* entry,
                                               const XMLCh* attribute, bool required) {
    const XMLCh* value = XMLUtils::attributeValue(entry, attribute);
    if (required && (value == nullptr || *value == 0)) {
        refuseEntry(entry, u"it has no " + WString(attribute));
    }
    return Utils::toUtf8(value).c_str();
}

LabelBytes XSDDictionaryLoaderImpl::entryLabel(const xercesc::DOMElement* entry,
                                               const XMLCh* attribute) {
    const std::string text = entryText(entry, attribute, true);
    const std::optional<LabelBytes> label = labelFromText(text);
    if (!label) {
        refuseEntry(entry, u"its " + WString(attribute) + u" \"" +
                               Utils::bytesToWstring(text.c_str()) + u"\" is not a label");
    }
    return *label;
}

void XSDDictionaryLoaderImpl::refuseEntry(const xercesc::DOMElement* entry, const WString& why) {
    WString message = u"Registered type entry rt:" + toWString(entry->getLocalName());
    const WString symbol = toWString(XMLUtils::attributeValue(entry, u"symbol"));
    if (!symbol.empty()) {
        message += u" \"" + symbol + u"\"";
    }
    const SourcePosition position = sourcePosition(entry);
    if (position.known()) {
        message += u" in " + Utils::bytesToWstring(position.file.c_str()) + u" at line " +
                   Utils::stringToWstring(std::to_string(position.line).c_str());
    }
    message += u": " + why;
    throw Exceptions::ParseError(message.c_str(), __FILE__, __LINE__);
}

void XSDDictionaryLoaderImpl::addRegisteredEntry(const xercesc::DOMElement* entry,
                                                 TypeDefinitions::Builder& builder) {
    if (isEntry(entry, u"Label")) {
        builder.addLabel(entryLabel(entry, u"ul"), entryText(entry, u"symbol", true),
                         entryText(entry, u"name", false));
    } else if (isEntry(entry, u"Element")) {
        const LabelBytes element = entryLabel(entry, u"ul");
        const std::string unique = entryText(entry, u"unique", false);
        if (!unique.empty() && unique != "true" && unique != "false") {
            refuseEntry(entry, u"its unique \"" + Utils::bytesToWstring(unique.c_str()) +
                                   u"\" is neither true nor false");
        }
        builder.addElementType(element, entryLabel(entry, u"type"), unique == "true");
        const std::string symbol = entryText(entry, u"symbol", false);
        if (!symbol.empty()) {
            builder.addRegisteredSymbol(element, symbol);
        }
    } else if (isEntry(entry, u"Set")) {
        builder.addRegisteredSymbol(entryLabel(entry, u"ul"), entryText(entry, u"symbol", true));
    } else if (isEntry(entry, u"Type")) {
        addRegisteredType(entry, builder);
    }
    // Other entries are for later versions of the block: passed over.
}

void XSDDictionaryLoaderImpl::addRegisteredType(const xercesc::DOMElement* entry,
                                                TypeDefinitions::Builder& builder) {
    const std::string symbol = entryText(entry, u"symbol", true);
    const std::string name = entryText(entry, u"name", false);
    const std::string namespaceURI = entryText(entry, u"namespace", false);
    const std::string kindText = entryText(entry, u"kind", true);
    TypeDefinitions::Builder::Type type;
    type.label = entryLabel(entry, u"ul");
    type.symbol = symbol;
    type.name = name;
    type.namespaceURI = namespaceURI;
    const std::optional<TypeKind> kind = typeKindFromName(kindText);
    if (!kind) {
        refuseEntry(entry, u"its kind \"" + Utils::bytesToWstring(kindText.c_str()) +
                               u"\" is none of the types register's");
    }
    type.kind = *kind;
    const std::string size = entryText(entry, u"size", false);
    if (!size.empty()) {
        const bool digits =
            size.size() <= 9 && size.find_first_not_of("0123456789") == std::string::npos;
        if (!digits) {
            refuseEntry(entry, u"its size \"" + Utils::bytesToWstring(size.c_str()) +
                                   u"\" is not a count below 10^9");
        }
        type.size = static_cast<std::uint32_t>(std::stoul(size));
    }
    const std::string isSigned = entryText(entry, u"signed", false);
    if (!isSigned.empty() && isSigned != "true" && isSigned != "false") {
        refuseEntry(entry, u"its signed \"" + Utils::bytesToWstring(isSigned.c_str()) +
                               u"\" is neither true nor false");
    }
    type.isSigned = isSigned == "true";
    if (!entryText(entry, u"base", false).empty()) {
        type.base = entryLabel(entry, u"base");
    }
    builder.addType(type);
    ElementList parts;
    selectElements(u"./*", entry, parts);
    for (const xercesc::DOMElement* part : parts) {
        if (part == nullptr) {
            continue;
        }
        if (isEntry(part, u"Member")) {
            builder.addMember(entryText(part, u"symbol", true), entryText(part, u"name", false),
                              entryLabel(part, u"type"));
        } else if (isEntry(part, u"Item")) {
            builder.addItem(entryText(part, u"symbol", false), entryText(part, u"name", false),
                            entryText(part, u"value", true));
        }
    }
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
