// Set discovery through the reference declarations, and the set pass along each base chain.
#include <algorithm>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/XMLUtils/DomPrefetch.h"
#include "Velmar/SDK/XMLUtils/DomText.h"

namespace Velmar::SDK::MetaMetadata::Loading {

void XSDDictionaryLoaderImpl::collectRefDeclarations(ElementList& declarations) {
    selectElements(u"./xs:element[@type='Ref']", rootElement(), declarations);
    selectElements(u"./xs:element[@type='ff:Ref']", rootElement(), declarations);
}

void XSDDictionaryLoaderImpl::collectSetDeclarations(ElementList& declarations) {
    ElementList references;
    collectRefDeclarations(references);
    XMLUtils::forEachPrefetched(references, [&](const xercesc::DOMElement* reference) {
        const WString setName = localPart(declaredName(reference, u"substitutionGroup"));
        if (const xercesc::DOMElement* set = topLevelElement(setName)) {
            declarations.push_back(const_cast<xercesc::DOMElement*>(set));
        }
    });
}

void XSDDictionaryLoaderImpl::loadMetaMetadataSets(Dictionary& dictionary,
                                                   ElementList declarations) {
    const std::size_t count = declarations.size();
    for (std::size_t i = 0; i < count; ++i) {
        Templates::auto_ptr<MetaMetadataSet> set = createMetaMetadataSet(declarations[i]);
        if (set) {
            if (diagnosing()) {
                diagnoseSetKey(declarations[i], set->key());
            }
            dictionary.addMetaMetadataSet(set->key(), *set);
        }
    }
}

Templates::auto_ptr<MetaMetadataSet> XSDDictionaryLoaderImpl::createMetaMetadataSet(
    const xercesc::DOMElement* declaration) {
    Templates::auto_ptr<KLV::Key> key = declarationKey(declaration);
    if (!key) {
        if (diagnosing()) {
            const WString name = nameAttribute(declaration);
            diagnose(LoadDiagnostic::Kind::SetWithoutULDesignator, declaration, name,
                     u"Set " + name + u" has no \"UL Designator\" and is skipped");
        }
        return nullptr;
    }
    Templates::auto_ptr<MetaMetadataSet> set(new MetaMetadataSet(*key));
    ElementList members;
    collectAttributeDeclarations(members, typeAttribute(declaration), nameAttribute(declaration));
    for (std::size_t position = 0; position < members.size(); ++position) {
        const auto at = static_cast<std::uint32_t>(position);
        auto made = attributeOfMember_.find(members[position]);
        if (made == attributeOfMember_.end() || made->second.first != at) {
            MetaAttributePtr attribute(createMetaAttribute(members[position], at));
            made = attributeOfMember_
                       .insert_or_assign(members[position], std::make_pair(at, attribute))
                       .first;
        }
        if (made->second.second) {
            set->addMetaAttribute(made->second.second);
        } else if (diagnosing()) {
            diagnoseSkippedMember(members[position], nameAttribute(declaration));
        }
    }
    addDescriptiveProperties(declaration, *set);
    return set;
}

WString XSDDictionaryLoaderImpl::typeAttribute(const xercesc::DOMElement* declaration) const {
    return declaredName(declaration, u"type");
}

void XSDDictionaryLoaderImpl::collectAttributeDeclarations(ElementList& members, WString typeName,
                                                           const WString& setName) {
    // Walks down to the deepest base first, so that every base's members come before those of
    // the types derived from it. XML Schema forbids circular derivation, but a file may have one.
    Templates::vector<WString> chain;
    Templates::vector<const xercesc::DOMElement*> levels;
    WString name = localPart(std::move(typeName));
    WString usedAs =
        setName.empty() ? WString(u"the type of a set") : u"the type of set " + setName;
    for (;;) {
        if (std::find(chain.begin(), chain.end(), name) != chain.end()) {
            WString message = u"Circular base type chain: ";
            for (const WString& link : chain) {
                message += link + u" -> ";
            }
            message += name;
            VELMAR_SDK_THROW(Exceptions::ParseError, message.c_str());
        }
        const xercesc::DOMElement* complexType = findComplexType(name, usedAs);
        chain.push_back(name);
        levels.push_back(complexType);
        const WString base = baseTypeName(complexType);
        if (base.empty()) {
            break;
        }
        usedAs = u"the base of " + name;
        name = localPart(base);
    }
    for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
        collectMemberDeclarations(*level, members);
    }
}

xercesc::DOMElement* XSDDictionaryLoaderImpl::findComplexType(const WString& name,
                                                              const WString& usedAs) {
    const WString where = u"named \"" + name + u"\" (" + usedAs + u")";
    return static_cast<xercesc::DOMElement*>(
        requiredNode(FirstResult(topLevelComplexType(name)), "top-level complexType", where));
}

WString XSDDictionaryLoaderImpl::baseTypeName(const xercesc::DOMElement* complexType) {
    const FirstResult base = selectFirst(u"./*/*/@base", complexType);
    return base.isNode()
               ? declaredName(
                     complexType, u"base",
                     static_cast<xercesc::DOMAttr*>(base.getNodeValue())->getOwnerElement())
               : WString();
}

void XSDDictionaryLoaderImpl::collectMemberDeclarations(const xercesc::DOMElement* complexType,
                                                        ElementList& members) {
    auto known = membersOfType_.find(complexType);
    if (known == membersOfType_.end()) {
        // Elements before attributes, each in document order, wherever they are nested.
        ElementList own;
        selectElements(u".//xs:element", complexType, own);
        selectElements(u".//xs:attribute", complexType, own);
        known = membersOfType_.emplace(complexType, std::move(own)).first;
    }
    members.insert(members.end(), known->second.begin(), known->second.end());
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
