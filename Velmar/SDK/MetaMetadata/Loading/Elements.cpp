// Element discovery, descriptive properties, set keys and meta-element construction.
#include "Velmar/SDK/Exceptions/InvalidMetaElementDeclaration.h"
#include "Velmar/SDK/Exceptions/InvalidULDesignator.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Types/Factories/BaseTypeFactory.h"
#include "Velmar/SDK/XMLUtils/DomPrefetch.h"
#include "Velmar/SDK/XMLUtils/DomText.h"

namespace Velmar::SDK::MetaMetadata::Loading {

namespace {

namespace Id = Types::Identifiers;

constexpr int kDesignatorLength = 47;  // 16 bytes, two digits each, 15 separators

// Raised at the caller's line.
[[noreturn]] void refuse(const XMLCh* message, const WString& name, int line = __builtin_LINE()) {
    WString text(message);
    text += name;
    throw Exceptions::InvalidMetaElementDeclaration(text.c_str(), __FILE__, line);
}

bool isReference(Id::Identifier identifier) {
    return identifier == Id::StrongRef || identifier == Id::WeakRef;
}

bool isCollection(Id::Identifier identifier) {
    return identifier == Id::Array || identifier == Id::Batch;
}

}  // namespace

void XSDDictionaryLoaderImpl::collectMetaElementDeclarations(ElementList& declarations) {
    selectElements(u"/xs:schema/*[./xs:annotation/xs:appinfo/@source='RP210']", rootElement(),
                   declarations);
}

void XSDDictionaryLoaderImpl::collectSetKeys(const ElementList& declarations) {
    setName2KeyMap_.reserve(declarations.size());
    XMLUtils::forEachPrefetched(declarations, [&](const xercesc::DOMElement* declaration) {
        Templates::auto_ptr<KLV::Key> key = declarationKey(declaration);
        if (!key) {
            return;
        }
        KLV::Key*& entry = setName2KeyMap_[nameAttribute(declaration)];
        delete entry;
        entry = key.release();
    });
}

Templates::auto_ptr<Types::UniversalLabel> XSDDictionaryLoaderImpl::declarationUniversalLabel(
    const xercesc::DOMElement* declaration) {
    FirstResult designator = appinfo(declaration, u"UL Designator");
    if (!designator.isNode()) {
        return nullptr;
    }
    WString text = toWString(XMLUtils::nodeValue(designator.getNodeValue()));
    checkULDesignator(text);
    return Templates::auto_ptr<Types::UniversalLabel>(
        new Types::UniversalLabel(text.c_str(), Types::Dotted));
}

void XSDDictionaryLoaderImpl::checkULDesignator(WString designator) {
    if (designator.size() != kDesignatorLength) {
        VELMAR_SDK_THROW(Exceptions::InvalidULDesignator, designator.c_str());
    }
}

Templates::auto_ptr<KLV::Key> XSDDictionaryLoaderImpl::declarationKey(
    const xercesc::DOMElement* declaration) {
    Templates::auto_ptr<Types::UniversalLabel> label = declarationUniversalLabel(declaration);
    if (!label) {
        return nullptr;
    }
    return Templates::auto_ptr<KLV::Key>(new KLV::Key(label->bytes()));
}

WString XSDDictionaryLoaderImpl::nameAttribute(const xercesc::DOMElement* declaration) const {
    return declaredName(declaration, u"name");
}

WString XSDDictionaryLoaderImpl::namespaceURIAnnotation(const xercesc::DOMNode* node) {
    return appinfoText(node, u"XMLNamespaceURI");
}

void XSDDictionaryLoaderImpl::addDescriptiveProperties(const xercesc::DOMElement* declaration,
                                                       PropertyMap& target) {
    auto add = [&](const XMLCh* property, FirstResult result) {
        if (result.isNode()) {
            target.addProperty(property,
                               toWString(XMLUtils::nodeValue(result.getNodeValue())).c_str());
        }
    };
    add(u"name", appinfo(declaration, u"Name In Specification"));
    if (loadMetaElementDocumentation_) {
        add(u"Documentation", selectFirst(u"./xs:annotation/xs:documentation/text()", declaration));
    }
    if (loadMetaElementLengthDescription_) {
        add(u"LengthDescription", appinfo(declaration, u"Length"));
    }
    add(u"XMLTagName", selectFirst(u"./@name", declaration, Prefixes::None));

    const WString uri = namespaceURIAnnotation(declaration);
    if (uri.empty()) {
        checkFailed("!namespaceURI.empty ()", WString(u"Couldn't retrieve node's NamespaceURI: ") +
                                                  target.getProperty(u"name"));
    }
    target.addProperty(u"XMLNamespaceURI", uri.c_str());
    const auto prefix = namespace2PrefixMap_.find(uri);
    if (prefix == namespace2PrefixMap_.end()) {
        checkFailed("it != namespace2PrefixMap_.end ()",
                    WString(u"No default prefix defined for namespace: ") + uri);
    }
    target.addProperty(u"XMLDefaultPrefix", prefix->second.c_str());
}

void XSDDictionaryLoaderImpl::addMetaElementProperties(const xercesc::DOMElement* declaration,
                                                       MetaElement& element) {
    addDescriptiveProperties(declaration, element);
    Visitors::GetNonConstMetaElementVisitor<MetaCollection> valueCollection;
    element.accept(valueCollection);
    if (valueCollection.result() == nullptr) {
        return;
    }
    xercesc::DOMNode* item = requiredNode(
        selectFirst(u"./xs:complexType/xs:complexContent/*[@base]/xs:sequence/xs:element/@name",
                    declaration),
        "item element name in the content model of value collection", nameAttribute(declaration));
    const WString itemName = toWString(XMLUtils::nodeValue(item));
    if (itemName.empty()) {
        VELMAR_SDK_THROW(Exceptions::InvalidMetaElementDeclaration, "Empty name attribute");
    }
    element.addProperty(u"XMLChildTagName", itemName.c_str());
}

void XSDDictionaryLoaderImpl::loadMetaElements(Dictionary& dictionary,
                                               const ElementList& declarations) {
    for (std::size_t i = 0; i < declarations.size(); ++i) {
        const xercesc::DOMElement* declaration = declarations[i];
        if (i + 2 < declarations.size()) {
            XMLUtils::prefetchDeclaration(declarations[i + 1], declarations[i + 2]);
        }
        Templates::auto_ptr<MetaElement> element = createMetaElement(dictionary, declaration);
        name2MetaElementMap_[nameAttribute(declaration)] = element.get();
        // Copied before the element moves into the call.
        const Types::UniversalLabel label = element->universalLabel();
        if (diagnosing()) {
            diagnoseLabel(declaration, label);
        }
        static_cast<MetaElementRegistry&>(dictionary).addMetaElement(label, std::move(element));
    }
}

Templates::auto_ptr<MetaElement> XSDDictionaryLoaderImpl::createMetaElement(
    Dictionary& dictionary, const xercesc::DOMElement* declaration) {
    Templates::auto_ptr<Types::UniversalLabel> label = declarationUniversalLabel(declaration);
    if (!label) {
        refuse(u"MetaElement Declaration with no UL Designator in ", nameAttribute(declaration));
    }
    Id::Identifier dataType = Id::Unknown;
    Id::Identifier dataSubType = Id::Unknown;
    determineDataTypes(declaration, dataType, dataSubType);
    if (dataType == Id::Unknown) {
        refuse(u"MetaElement Declaration with unknown data type: ", nameAttribute(declaration));
    }

    const auto& factory = Types::Factories::BaseTypeFactory::instance();
    Templates::auto_ptr<MetaElement> element;
    if (isReference(dataType) || isReference(dataSubType)) {
        NameList targetNames;
        collectReferenceTargetNames(declaration, targetNames);
        KeyVector targetKeys;
        referenceTargetKeys(targetNames, targetKeys);
        if (targetKeys.empty() && diagnosing()) {
            const WString name = nameAttribute(declaration);
            diagnose(LoadDiagnostic::Kind::ReferenceToNoSet, declaration, name,
                     u"The targets of reference " + name + u" name no set");
        } else if (diagnosing()) {
            diagnoseAbstractTargets(declaration, targetNames);
        }
        if (!isCollection(dataType)) {
            factory.validateSimpleType(dataType);
            element.reset(new MetaReferenceElement(*label, targetKeys, dataType));
        } else {
            factory.validateCollectionType(dataType);
            factory.validateSimpleType(dataSubType);
            element.reset(new MetaReferenceCollection(*label,
                                                      MetaCollectionElement::CollectionSizeLimits(),
                                                      targetKeys, dataType, dataSubType));
        }
    } else if (isCollection(dataType)) {
        factory.validateCollectionType(dataType);
        if (dataSubType == Id::Unknown) {
            refuse(u"MetaElement Declaration of type collection with unknown sub data type: ",
                   nameAttribute(declaration));
        }
        factory.validateSimpleType(dataSubType);
        element.reset(new MetaCollection(*label, MetaCollectionElement::CollectionSizeLimits(),
                                         dataType, dataSubType));
    } else {
        factory.validateSimpleType(dataType);
        element.reset(new MetaSimpleElement(*label, dataType));
    }

    Templates::auto_ptr<Types::LocalTag> localTag = declarationLocalTag(declaration);
    if (localTag) {
        if (diagnosing()) {
            diagnoseLocalTag(declaration, *localTag, *label, dictionary);
        }
        dictionary.addLocalTag(*localTag, *label);
    }
    addMetaElementProperties(declaration, *element);
    metaElement2LocalTagMap_.emplace(element.get(), dictionary.localTag(*label));
    return element;
}

void XSDDictionaryLoaderImpl::determineDataTypes(const xercesc::DOMElement* declaration,
                                                 Id::Identifier& dataType,
                                                 Id::Identifier& dataSubType) {
    const WString typeName = localPart(toWString(XMLUtils::attributeValue(declaration, u"type")));
    dataType = Id::stringToIdentifier(typeName.c_str());
    if (dataType != Id::Unknown) {
        return;
    }
    // Only an anonymous type is looked into: a named type that is no data type stays unknown.
    const WString baseName = typeName.empty() ? contentBaseType(declaration) : WString();
    const Id::Identifier baseType = Id::stringToIdentifier(baseName.c_str());
    if (isCollection(baseType)) {
        dataType = baseType;
        dataSubType = collectionSubDataType(declaration);
    } else if (baseType == Id::Unknown) {
        referenceDataTypes(baseName, dataType, dataSubType);
    } else {
        dataType = baseType;
    }
}

WString XSDDictionaryLoaderImpl::contentBaseType(const xercesc::DOMElement* declaration) {
    // The extension of a complex type's content, or else the restriction of a simple type.
    FirstResult extension = selectFirst(u"./*/*/*/@base", declaration, Prefixes::None);
    xercesc::DOMNode* base =
        extension.isNode() ? extension.getNodeValue()
                           : requiredNode(selectFirst(u"./*/*/@base", declaration, Prefixes::None),
                                          "base type in the anonymous type of element",
                                          nameAttribute(declaration));
    return localPart(toWString(XMLUtils::nodeValue(base)));
}

void XSDDictionaryLoaderImpl::referenceDataTypes(WString baseName, Id::Identifier& dataType,
                                                 Id::Identifier& dataSubType) {
    struct Kind {
        const XMLCh* base;
        Id::Identifier dataType;
        Id::Identifier dataSubType;
    };
    static constexpr Kind kKinds[] = {
        {u"StrongRefBatch", Id::Batch, Id::StrongRef},
        {u"WeakRefBatch", Id::Batch, Id::WeakRef},
        {u"StrongRefArray", Id::Array, Id::StrongRef},
        {u"WeakRefArray", Id::Array, Id::WeakRef},
        {u"WeakRefHolder", Id::WeakRef, Id::Unknown},
        {u"StrongRefHolder", Id::StrongRef, Id::Unknown},
    };
    for (const Kind& kind : kKinds) {
        if (baseName == kind.base) {
            dataType = kind.dataType;
            dataSubType = kind.dataSubType;
            return;
        }
    }
}

Id::Identifier XSDDictionaryLoaderImpl::collectionSubDataType(
    const xercesc::DOMElement* declaration) {
    FirstResult itemType =
        selectFirst(u"./xs:complexType/xs:complexContent/*[@base]/*/xs:element/@type", declaration);
    return itemType.isNode()
               ? Id::stringToIdentifier(
                     localPart(toWString(XMLUtils::nodeValue(itemType.getNodeValue()))).c_str())
               : Id::Unknown;
}

Templates::auto_ptr<Types::LocalTag> XSDDictionaryLoaderImpl::declarationLocalTag(
    const xercesc::DOMElement* declaration) {
    FirstResult tag = appinfo(declaration, u"Local Tag");
    if (!tag.isNode()) {
        return nullptr;
    }
    return Templates::auto_ptr<Types::LocalTag>(new Types::LocalTag(
        toWString(XMLUtils::nodeValue(tag.getNodeValue())).c_str(), Types::Dotted));
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
