// One member declaration of a set turned into a MetaAttribute: its element, required status,
// local tag, default value and properties.
#include <string>

#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/DomText.h"

namespace Velmar::SDK::MetaMetadata::Loading {

Templates::auto_ptr<MetaAttribute> XSDDictionaryLoaderImpl::createMetaAttribute(
    const xercesc::DOMElement* member, std::uint32_t position) {
    const auto known = name2MetaElementMap_.find(localPart(refAttribute(member)));
    if (known == name2MetaElementMap_.end()) {
        return nullptr;  // a local declaration, or a reference to no registered element
    }
    const MetaElement& element = *known->second;
    const AttributeRequiredStatus::Status status = requiredStatus(member);
    const WString defaultText = distinguishedValueText(member);
    const auto tag = metaElement2LocalTagMap_.find(&element);
    const Types::LocalTag* localTag = tag != metaElement2LocalTagMap_.end() ? tag->second : nullptr;

    Visitors::GetMetaElementVisitor<MetaCollectionElement> collection;
    element.accept(collection);
    Templates::auto_ptr<const Types::BaseType> defaultValue;
    if (!defaultText.empty()) {
        defaultValue = collection.result() != nullptr
                           ? parseCollectionDefaultValue(defaultText, *collection.result())
                           : parseDefaultValue(defaultText, element);
    }

    Templates::auto_ptr<MetaAttribute> attribute(
        new MetaAttribute(collection.result() != nullptr ? *collection.result() : element, status,
                          std::move(defaultValue), localTag));
    attribute->addProperty(u"SchemaIndex",
                           Utils::stringToWstring(std::to_string(position).c_str()).c_str());
    attribute->addProperty(u"RequiresSemanticsValidation",
                           requiresSemanticsValidationText(member).c_str());
    const WString uri = namespaceURIAnnotation(member);
    if (!uri.empty()) {
        attribute->addProperty(u"XMLNamespaceURI", uri.c_str());
    }
    return attribute;
}

WString XSDDictionaryLoaderImpl::refAttribute(const xercesc::DOMElement* declaration) const {
    return declaredName(declaration, u"ref");
}

AttributeRequiredStatus::Status XSDDictionaryLoaderImpl::requiredStatus(
    const xercesc::DOMElement* member) {
    const FirstResult use = appinfo(member, u"use");
    if (!use.isNode()) {
        // The text that names the member and its type is only made for the failure.
        const FirstResult owner = selectFirst(u"ancestor::xs:complexType[last()]/@name", member);
        const WString where = u"on member " + refAttribute(member) + u" of " +
                              (owner.isNode() ? toWString(XMLUtils::nodeValue(owner.getNodeValue()))
                                              : WString(u"an anonymous type"));
        requiredNode(use, "\"use\" annotation", where);
    }
    return AttributeRequiredStatus::instance().stringToStatus(use.getNodeValue()->getNodeValue());
}

WString XSDDictionaryLoaderImpl::distinguishedValueText(const xercesc::DOMElement* member) {
    return appinfoText(member, u"Distinguished Value");
}

WString XSDDictionaryLoaderImpl::requiresSemanticsValidationText(
    const xercesc::DOMElement* member) {
    return appinfoText(member, u"RequiresSemanticsValidation");
}

Templates::auto_ptr<Types::BaseType> XSDDictionaryLoaderImpl::parseDefaultValue(
    WString text, const MetaElement& element) {
    return parseValue(element.dataType(), Types::Identifiers::Unknown, std::move(text));
}

Templates::auto_ptr<Types::BaseType> XSDDictionaryLoaderImpl::parseCollectionDefaultValue(
    WString text, const MetaCollectionElement& element) {
    return parseValue(element.dataType(), element.dataSubType(), std::move(text));
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
