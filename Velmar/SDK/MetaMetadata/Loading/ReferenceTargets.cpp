// The sets a reference may point to: the choice of its anonymous type, widened breadth-first
// through substitution groups, then turned into set keys.
#include <string>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/DomPrefetch.h"
#include "Velmar/SDK/XMLUtils/DomText.h"

namespace Velmar::SDK::MetaMetadata::Loading {

namespace {
constexpr std::size_t kMaxTargetNames = 100000;
}

void XSDDictionaryLoaderImpl::collectReferenceTargetNames(const xercesc::DOMElement* declaration,
                                                          NameList& names) {
    XMLUtils::NodeList refs;
    selectNodes(u"./*/*/*/xs:choice/xs:element/@ref", declaration, refs);
    for (const xercesc::DOMNode* ref : refs) {
        names.push_back(localPart(toWString(XMLUtils::nodeValue(ref))));
    }
    addSubstitutionGroupMembers(names);
}

void XSDDictionaryLoaderImpl::readSubstitutionGroups() {
    if (substitutionGroupsRead_) {
        return;
    }
    ElementList members;
    selectElements(
        u"/xs:schema/xs:element[(@substitutionGroup) and (@type!='Ref') and (@type!='ff:Ref')]",
        rootElement(), members);
    XMLUtils::forEachPrefetched(members, [&](const xercesc::DOMElement* member) {
        const WString group = localPart(declaredName(member, u"substitutionGroup"));
        const WString name = nameAttribute(member);
        substitutionGroups_[group].push_back(name);
        if (diagnosing()) {
            substitutionGroupOf_.emplace(name, group);
            substitutionDeclarationOf_.emplace(name, member);
        }
    });
    memberDeclarationCount_ = members.size();
    if (diagnosing()) {
        substitutionMembers_ = std::move(members);
    }
    substitutionGroupsRead_ = true;
}

void XSDDictionaryLoaderImpl::addSubstitutionGroupMembers(NameList& names) {
    readSubstitutionGroups();

    // A name is listed some levels below the choice. In groups without cycles no name lies
    // deeper than there are members, so a deeper one can only come from a cycle and is not
    // expanded: the walk ends, and acyclic schemas give what an unguarded walk gives.
    // Repeated names make the list grow with every level, so its length is bounded too: far
    // above any real dictionary, and a clear refusal instead of a walk that exhausts memory.
    Templates::vector<std::size_t> levels(names.size(), 0);
    for (std::size_t position = 0; position < names.size(); ++position) {
        if (names.size() > kMaxTargetNames) {
            WString message =
                u"Substitution groups below \"" + names.front() + u"\" reach more than ";
            message += Utils::stringToWstring(std::to_string(kMaxTargetNames).c_str());
            message += u" target names; do groups name each other, or names repeat?";
            VELMAR_SDK_THROW(Exceptions::ParseError, message.c_str());
        }
        if (levels[position] > memberDeclarationCount_) {
            continue;
        }
        const auto group = substitutionGroups_.find(names[position]);
        if (group == substitutionGroups_.end()) {
            continue;
        }
        const std::size_t level = levels[position] + 1;
        for (const WString& member : group->second) {
            names.push_back(member);
            levels.push_back(level);
        }
    }
}

void XSDDictionaryLoaderImpl::referenceTargetKeys(const NameList& names, KeyVector& keys) const {
    for (const WString& name : names) {
        const auto key = setName2KeyMap_.find(name);
        if (key != setName2KeyMap_.end()) {
            keys.push_back(*key->second);
        }
    }
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
