#include "Show.h"

#include <iomanip>
#include <ostream>
#include <sstream>

#include "Summary.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Types/ValueText.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

namespace SDK = Velmar::SDK;
namespace MM = Velmar::SDK::MetaMetadata;
namespace Types = Velmar::SDK::Types;

namespace {

std::string text(const XMLCh* value) {
    return SDK::Utils::toUtf8(value).c_str();
}
std::string text(const SDK::WString& value) {
    return text(value.c_str());
}

// The readable name of an element or set: its tag name, else its "name", else its label.
std::string title(const MM::PropertyMap& map, const SDK::WString& identifier) {
    if (map.hasProperty(u"XMLTagName"))
        return text(map.getProperty(u"XMLTagName"));
    if (map.hasProperty(u"name"))
        return text(map.getProperty(u"name"));
    return text(identifier);
}

void row(std::ostream& out, const char* label, const std::string& value) {
    out << "  " << std::left << std::setw(14) << label << value << "\n";
}

void properties(std::ostream& out, const MM::PropertyMap& map, const char* indent) {
    for (std::size_t i = 0; i < map.propertyCount(); ++i) {
        out << indent << std::left << std::setw(28) << text(map.propertyName(i))
            << text(map.propertyValue(i)) << "\n";
    }
}

std::string typeName(Types::Identifiers::Identifier identifier) {
    const char* name = Types::Identifiers::identifierToString(identifier);
    return name == nullptr ? "(unknown)" : name;
}

// "LayoutType (Enumeration of UInt8: FullFrame 0, ...)", "ProductVersionType (Record: Major
// UInt16, ...)", "PositionType (Rename of Int64)".
std::string registeredType(const MM::TypeDefinitions& types, const MM::TypeDefinition& type) {
    std::string description = std::string(type.symbol) + " (" + MM::typeKindName(type.kind);
    if (type.base) {
        const MM::TypeDefinition* base = types.type(*type.base);
        description +=
            " of " + (base != nullptr ? std::string(base->symbol) : MM::labelUrn(*type.base));
    }
    std::string parts;
    for (const MM::TypeMember& member : type.members) {
        const MM::TypeDefinition* memberType = types.type(member.type);
        parts += (parts.empty() ? "" : ", ") + std::string(member.symbol) + " " +
                 (memberType != nullptr ? std::string(memberType->symbol) : "?");
    }
    for (const MM::TypeItem& item : type.items) {
        const MM::LabelDefinition* label = item.label ? types.label(*item.label) : nullptr;
        parts += (parts.empty() ? "" : ", ") +
                 (!item.symbol.empty() ? std::string(item.symbol) + " " + std::string(item.text)
                  : label != nullptr   ? std::string(label->symbol)
                                       : std::string(item.text));
    }
    return description + (parts.empty() ? "" : ": " + parts) + ")";
}

void showElement(const MM::Dictionary& dictionary, const MM::MetaElement& element,
                 std::ostream& out) {
    const ElementFacts facts = elementFacts(element);
    const SDK::WString label = element.universalLabel().toString(Types::Dotted);
    out << title(element, label) << "  (element)\n";
    row(out, "UL", text(label));
    row(out, "kind", kindName(element));
    row(out, "data type",
        typeName(element.dataType()) + (facts.dataSubType != Types::Identifiers::Unknown
                                            ? " of " + typeName(facts.dataSubType)
                                            : ""));
    const Types::LocalTag* tag = dictionary.localTag(element.universalLabel());
    row(out, "local tag", tag != nullptr ? text(tag->toString(Types::Dotted)) : "(none)");
    if (const MM::TypeDefinition* type = dictionary.typeOf(element)) {
        row(out, "type", registeredType(dictionary.typeDefinitions(), *type));
    }
    if (facts.targets != nullptr) {
        std::string targets;
        for (const auto& key : *facts.targets) {
            const SDK::WString keyText = key.toString(Types::Dotted);
            const MM::MetaMetadataSet* set = dictionary.metaMetadataSet(key);
            targets += "\n                " + (set != nullptr ? title(*set, keyText) + "  " : "") +
                       text(keyText);
        }
        row(out, "targets", facts.targets->empty() ? "(none)" : targets.substr(17));
    }
    out << "  properties\n";
    properties(out, element, "    ");
}

void showSet(const MM::MetaMetadataSet& set, std::ostream& out) {
    const auto& status = MM::AttributeRequiredStatus::instance();
    const SDK::WString key = set.key().toString(Types::Dotted);
    out << title(set, key) << "  (set)\n";
    row(out, "key", text(key));
    out << "  properties\n";
    properties(out, set, "    ");
    out << "  attributes\n";
    for (std::size_t i = 0; i < set.attributeCount(); ++i) {
        const MM::MetaAttribute& attribute = set.attribute(i);
        const MM::MetaElement& element = attribute.metaElement();
        std::ostringstream line;
        line << "    " << std::right << std::setw(3) << i << "  " << std::left << std::setw(28)
             << title(element, element.universalLabel().toString(Types::Dotted)) << std::setw(7)
             << (attribute.localTag() != nullptr
                     ? text(attribute.localTag()->toString(Types::Dotted))
                     : "-")
             << std::setw(13) << text(status.statusToString(attribute.requiredStatus()));
        if (attribute.defaultValue() != nullptr) {
            line << "default " << text(Types::valueText(*attribute.defaultValue()));
        }
        std::string shown = line.str();
        shown.erase(shown.find_last_not_of(' ') + 1);
        out << shown << "\n";
    }
}

bool matches(const MM::PropertyMap& map, const SDK::WString& what) {
    return (map.hasProperty(u"XMLTagName") && what == map.getProperty(u"XMLTagName")) ||
           (map.hasProperty(u"name") && what == map.getProperty(u"name"));
}

}  // namespace

bool show(const MM::Dictionary& dictionary, const std::string& what, std::ostream& out) {
    const SDK::WString wanted = SDK::Utils::stringToWstring(what.c_str());
    if (const MM::MetaElement* element = dictionary.metaElementByTagName(wanted.c_str())) {
        showElement(dictionary, *element, out);
        return true;
    }
    for (std::size_t i = 0; i < dictionary.metaMetadataSetCount(); ++i) {
        if (matches(dictionary.metaMetadataSetAt(i), wanted)) {
            showSet(dictionary.metaMetadataSetAt(i), out);
            return true;
        }
    }
    for (std::size_t i = 0; i < dictionary.metaElementCount(); ++i) {
        if (matches(dictionary.metaElementAt(i), wanted)) {
            showElement(dictionary, dictionary.metaElementAt(i), out);
            return true;
        }
    }
    try {
        if (wanted.size() == 5) {
            const MM::MetaElement* element =
                dictionary.metaElementByLocalTag(Types::LocalTag(wanted.c_str(), Types::Dotted));
            if (element != nullptr) {
                showElement(dictionary, *element, out);
                return true;
            }
        } else if (wanted.size() == 47) {
            const Types::UniversalLabel label(wanted.c_str(), Types::Dotted);
            if (const MM::MetaElement* element = dictionary.metaElement(label)) {
                showElement(dictionary, *element, out);
                return true;
            }
            if (const MM::MetaMetadataSet* set =
                    dictionary.metaMetadataSet(SDK::KLV::Key(wanted.c_str(), Types::Dotted))) {
                showSet(*set, out);
                return true;
            }
        }
    } catch (const SDK::Exceptions::BaseException&) {
        // Not a label or tag text: nothing by that name.
    }
    return false;
}

}  // namespace xsddict
