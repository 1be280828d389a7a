// What a load passes over silently, told to the caller's receiver with where it stands.
#include <algorithm>
#include <map>

#include "Velmar/SDK/MetaMetadata/Loading/LoadDiagnostics.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/XMLUtils/DomText.h"

namespace Velmar::SDK::MetaMetadata::Loading {

SourcePosition XSDDictionaryLoaderImpl::sourcePosition(const xercesc::DOMNode* node) const {
    const XMLUtils::SourcePositions::Position found = positions_.find(node);
    SourcePosition position;
    if (found.file != nullptr) {
        position.file = String(found.file->c_str());
        position.line = found.line;
    }
    return position;
}

void XSDDictionaryLoaderImpl::diagnose(LoadDiagnostic::Kind kind,
                                       const xercesc::DOMElement* declaration, const WString& name,
                                       const WString& message, const WString& set,
                                       const xercesc::DOMElement* other, const WString& otherName) {
    if (!diagnosed_.emplace(kind, declaration).second) {
        return;
    }
    LoadDiagnostic diagnostic{
        kind, name, sourcePosition(declaration), set, otherName, sourcePosition(other), message};
    diagnostics_->report(diagnostic);
}

void XSDDictionaryLoaderImpl::diagnoseSkippedMember(const xercesc::DOMElement* member,
                                                    const WString& setName) {
    const WString ref = refAttribute(member);
    if (ref.empty()) {
        const WString name = toWString(XMLUtils::attributeValue(member, u"name"));
        diagnose(LoadDiagnostic::Kind::MemberWithoutRef, member, name,
                 u"Member " + name + u" of set " + setName +
                     u" is declared in place, not by ref, and is skipped",
                 setName);
    } else {
        diagnose(LoadDiagnostic::Kind::MemberNamingNoElement, member, ref,
                 u"Member " + ref + u" of set " + setName +
                     u" names no registered element and is skipped",
                 setName);
    }
}

void XSDDictionaryLoaderImpl::diagnoseLocalTag(const xercesc::DOMElement* declaration,
                                               const Types::LocalTag& tag,
                                               const Types::UniversalLabel& label,
                                               const Dictionary& dictionary) {
    const WString name = nameAttribute(declaration);
    const Types::UniversalLabel* owner = dictionary.universalLabel(tag);
    const Types::LocalTag* held = dictionary.localTag(label);
    if (owner != nullptr && *owner != label) {
        const auto found = tagDeclarations_.find(tag);
        const xercesc::DOMElement* first =
            found != tagDeclarations_.end() ? found->second : nullptr;
        const WString firstName =
            first != nullptr ? nameAttribute(first) : owner->toString(Types::Dotted);
        diagnose(LoadDiagnostic::Kind::LocalTagGivenTwice, declaration, name,
                 u"Element " + name + u" has the local tag " + tag.toString(Types::Dotted) +
                     u" of element " + firstName + u"; the tag stays " + firstName + u"'s",
                 WString(), first, first != nullptr ? firstName : WString());
    } else if (held != nullptr && *held != tag) {
        const auto found = labelDeclarations_.find(label);
        const xercesc::DOMElement* first =
            found != labelDeclarations_.end() ? found->second : nullptr;
        diagnose(LoadDiagnostic::Kind::LocalTagGivenTwice, declaration, name,
                 u"Element " + name + u" gives the label " + label.toString(Types::Dotted) +
                     u" the local tag " + tag.toString(Types::Dotted) + u", but it has " +
                     held->toString(Types::Dotted) + u" already, which stays",
                 WString(), first, first != nullptr ? nameAttribute(first) : WString());
    } else {
        tagDeclarations_.emplace(tag, declaration);
    }
}

namespace {
// The earlier declaration of the same key, or null for the first (or the same) declaration.
template <class Map, class Key>
const xercesc::DOMElement* earlierDeclaration(Map& declarations, const Key& key,
                                              const xercesc::DOMElement* declaration) {
    const auto inserted = declarations.emplace(key, declaration);
    return inserted.second || inserted.first->second == declaration ? nullptr
                                                                    : inserted.first->second;
}
}  // namespace

void XSDDictionaryLoaderImpl::diagnoseLabel(const xercesc::DOMElement* declaration,
                                            const Types::UniversalLabel& label) {
    const xercesc::DOMElement* first = earlierDeclaration(labelDeclarations_, label, declaration);
    if (first == nullptr) {
        return;
    }
    const WString name = nameAttribute(declaration);
    const WString firstName = nameAttribute(first);
    diagnose(LoadDiagnostic::Kind::LabelGivenTwice, declaration, name,
             u"Element " + name + u" has the label " + label.toString(Types::Dotted) +
                 u" of element " + firstName + u"; lookups by label give " + firstName,
             WString(), first, firstName);
}

void XSDDictionaryLoaderImpl::diagnoseSetKey(const xercesc::DOMElement* declaration,
                                             const KLV::Key& key) {
    const xercesc::DOMElement* first = earlierDeclaration(setKeyDeclarations_, key, declaration);
    if (first == nullptr) {
        return;
    }
    const WString name = nameAttribute(declaration);
    const WString firstName = nameAttribute(first);
    diagnose(LoadDiagnostic::Kind::SetKeyGivenTwice, declaration, name,
             u"Set " + name + u" has the key " + key.toString(Types::Dotted) + u" of set " +
                 firstName + u"; the dictionary keeps " + name + u", in " + firstName + u"'s place",
             WString(), first, firstName);
}

void XSDDictionaryLoaderImpl::diagnoseSubstitutionCycles() {
    // Each declaration names at most one group, so every cycle is found by following names
    // from each declaration once; what a finished walk passed is not walked again.
    readSubstitutionGroups();
    enum class State { OnPath, Done };
    std::map<WString, State> states;
    for (const xercesc::DOMElement* member : substitutionMembers_) {
        Templates::vector<WString> path;
        WString name = nameAttribute(member);
        while (states.find(name) == states.end()) {
            const auto next = substitutionGroupOf_.find(name);
            if (next == substitutionGroupOf_.end()) {
                break;
            }
            states[name] = State::OnPath;
            path.push_back(name);
            name = next->second;
        }
        const auto seen = states.find(name);
        if (seen != states.end() && seen->second == State::OnPath) {
            const auto start = std::find(path.begin(), path.end(), name);
            WString chain;
            for (auto link = start; link != path.end(); ++link) {
                chain += *link + u" -> ";
            }
            chain += name;
            const WString& next = start + 1 != path.end() ? *(start + 1) : name;
            diagnose(LoadDiagnostic::Kind::SubstitutionGroupCycle,
                     substitutionDeclarationOf_.at(name), name,
                     u"Substitution groups form a cycle: " + chain + u"; " + name +
                         u" is reachable from itself",
                     WString(), substitutionDeclarationOf_.at(next), next);
        }
        for (const WString& passed : path) {
            states[passed] = State::Done;
        }
    }
}

void XSDDictionaryLoaderImpl::diagnoseAbstractTargets(const xercesc::DOMElement* declaration,
                                                      const NameList& targetNames) {
    Templates::vector<WString> abstract;
    const xercesc::DOMElement* first = nullptr;
    for (const WString& target : targetNames) {
        if (setName2KeyMap_.find(target) == setName2KeyMap_.end()) {
            continue;
        }
        const xercesc::DOMElement* set = topLevelElement(target);
        const WString flag =
            set != nullptr ? toWString(XMLUtils::attributeValue(set, u"abstract")) : WString();
        if (flag != u"true" && flag != u"1") {
            return;
        }
        if (std::find(abstract.begin(), abstract.end(), target) == abstract.end()) {
            abstract.push_back(target);
            first = first != nullptr ? first : set;
        }
    }
    if (abstract.empty()) {
        return;
    }
    const WString name = nameAttribute(declaration);
    WString list;
    for (const WString& target : abstract) {
        list += (list.empty() ? u"" : u", ") + target;
    }
    diagnose(LoadDiagnostic::Kind::AbstractTargetsOnly, declaration, name,
             u"Every set that reference " + name + u" may point to is abstract (" + list +
                 u"): no set in a file can be its target",
             WString(), first, abstract.front());
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
