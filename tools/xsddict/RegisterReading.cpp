// Reading the register snapshots into plain records.
#include <functional>
#include <stdexcept>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include "Registers.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/XMLFileReader.h"

namespace xsddict {

namespace SDK = Velmar::SDK;

namespace {

std::string text(const XMLCh* value) {
    return SDK::Utils::toUtf8(value).c_str();
}

const xercesc::DOMElement* child(const xercesc::DOMElement* parent, const char* localName) {
    const SDK::WString wanted = SDK::Utils::stringToWstring(localName);
    for (auto* e = parent->getFirstElementChild(); e != nullptr; e = e->getNextElementSibling()) {
        if (wanted == e->getLocalName()) {
            return e;
        }
    }
    return nullptr;
}

std::string childText(const xercesc::DOMElement* parent, const char* localName) {
    const xercesc::DOMElement* e = child(parent, localName);
    return e == nullptr ? std::string() : text(e->getTextContent());
}

void forEachChild(const xercesc::DOMElement* parent, const char* localName,
                  const std::function<void(const xercesc::DOMElement*)>& visit) {
    const SDK::WString wanted = SDK::Utils::stringToWstring(localName);
    for (auto* e = parent != nullptr ? parent->getFirstElementChild() : nullptr; e != nullptr;
         e = e->getNextElementSibling()) {
        if (wanted == e->getLocalName()) {
            visit(e);
        }
    }
}

// Calls back for every LEAF entry of a register file.
void readEntries(SDK::XMLUtils::XMLFileReader& reader, const std::string& path,
                 const std::function<void(const xercesc::DOMElement*)>& visit) {
    const xercesc::DOMDocument* document = nullptr;
    try {
        document = &reader.read(path.c_str());
    } catch (const SDK::Exceptions::BaseException& e) {
        throw std::runtime_error(SDK::Utils::wstringToBytes(e.message()).c_str());
    }
    const xercesc::DOMElement* root = document->getDocumentElement();
    if (root == nullptr || child(root, "Entries") == nullptr) {
        throw std::runtime_error(path + ": not a register (no Entries)");
    }
    forEachChild(child(root, "Entries"), "Entry", [&](const xercesc::DOMElement* entry) {
        if (childText(entry, "Kind") == "LEAF") {
            visit(entry);
        }
    });
}

}  // namespace

Registers readRegisters(const std::string& folder) {
    SDK::XMLUtils::XMLFileReader reader;
    Registers registers;
    readEntries(reader, folder + "/Elements.xml", [&](const xercesc::DOMElement* e) {
        registers.elements.push_back({childText(e, "UL"), childText(e, "Symbol"),
                                      childText(e, "Name"), childText(e, "NamespaceName"),
                                      childText(e, "Definition"), childText(e, "Type"),
                                      childText(e, "ValueLength")});
    });
    readEntries(reader, folder + "/Groups.xml", [&](const xercesc::DOMElement* e) {
        Registers::Group group{childText(e, "UL"),
                               childText(e, "Symbol"),
                               childText(e, "Name"),
                               childText(e, "NamespaceName"),
                               childText(e, "Definition"),
                               childText(e, "Parent"),
                               childText(e, "KLVSyntax"),
                               childText(e, "IsConcrete") != "false",
                               {}};
        forEachChild(child(e, "Contents"), "Record", [&](const xercesc::DOMElement* record) {
            group.records.push_back({childText(record, "UL"), childText(record, "LocalTag"),
                                     childText(record, "Value"),
                                     childText(record, "IsOptional") != "false",
                                     childText(record, "IsUniqueID") == "true"});
        });
        registers.groups.push_back(std::move(group));
    });
    readEntries(reader, folder + "/Types.xml", [&](const xercesc::DOMElement* e) {
        Registers::Type type{
            childText(e, "UL"),       childText(e, "Symbol"),        childText(e, "TypeKind"),
            childText(e, "TypeSize"), childText(e, "BaseType"),      childText(e, "TypeQualifiers"),
            childText(e, "Name"),     childText(e, "NamespaceName"), {}};
        // Records give each member's type, enumerations each item's value.
        forEachChild(child(e, "Facets"), "Facet", [&](const xercesc::DOMElement* facet) {
            const std::string typeOrValue = child(facet, "Type") != nullptr
                                                ? childText(facet, "Type")
                                                : childText(facet, "Value");
            type.facets.push_back(
                {childText(facet, "Symbol"), childText(facet, "Name"), typeOrValue});
        });
        registers.types.emplace(type.ul, type);
    });
    readEntries(reader, folder + "/Labels.xml", [&](const xercesc::DOMElement* e) {
        registers.labels.push_back(
            {childText(e, "UL"), childText(e, "Symbol"), childText(e, "Name")});
    });
    return registers;
}

}  // namespace xsddict
