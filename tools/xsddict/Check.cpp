#include "Check.h"

#include <algorithm>

#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

namespace SDK = Velmar::SDK;
namespace MM = Velmar::SDK::MetaMetadata;
namespace Types = Velmar::SDK::Types;
using MM::Loading::XSDDictionaryLoaderImpl;

namespace {

std::string text(const SDK::WString& value) {
    return SDK::Utils::toUtf8(value.c_str()).c_str();
}
std::string text(const XMLCh* value) {
    return SDK::Utils::toUtf8(value).c_str();
}

std::string labelText(const Types::UniversalLabel& label) {
    return text(label.toString(Types::Dotted));
}

// An element as an author knows it: its tag name, or its label when it has none.
std::string elementName(const MM::Dictionary& dictionary, const Types::UniversalLabel& label) {
    const MM::MetaElement* element = dictionary.metaElement(label);
    return element != nullptr && element->hasProperty(u"XMLTagName")
               ? text(element->getProperty(u"XMLTagName"))
               : labelText(label);
}

class Findings {
  public:
    void add(const std::string& finding) {
        if (std::find(lines_.begin(), lines_.end(), finding) == lines_.end()) {
            lines_.push_back(finding);
        }
    }
    std::vector<std::string> lines() && { return std::move(lines_); }

  private:
    std::vector<std::string> lines_;
};

void checkElements(const MM::Dictionary& dictionary, Findings& findings) {
    for (const MM::MetaElement* duplicate : dictionary.duplicateMetaElements()) {
        findings.add("label given twice: " + labelText(duplicate->universalLabel()) + " is " +
                     elementName(dictionary, duplicate->universalLabel()) + " and again " +
                     text(duplicate->getProperty(u"XMLTagName")));
    }
    for (const auto& conflict : dictionary.localTagConflicts()) {
        const std::string tag = text(conflict.tag.toString(Types::Dotted));
        const Types::UniversalLabel* owner = dictionary.universalLabel(conflict.tag);
        const Types::LocalTag* held = dictionary.localTag(conflict.label);
        if (owner != nullptr && *owner != conflict.label) {
            findings.add("local tag given twice: " + tag + " is " +
                         elementName(dictionary, *owner) + " and again " +
                         elementName(dictionary, conflict.label));
        } else if (held != nullptr) {
            findings.add("local tag given twice: " + elementName(dictionary, conflict.label) +
                         " has " + text(held->toString(Types::Dotted)) + " and again " + tag);
        }
    }
    for (std::size_t i = 0; i < dictionary.metaElementCount(); ++i) {
        const MM::MetaElement& element = dictionary.metaElementAt(i);
        MM::Visitors::GetMetaElementVisitor<MM::MetaReferenceHolder> reference;
        element.accept(reference);
        if (reference.result() != nullptr && reference.result()->targetSets().empty()) {
            findings.add("reference to no set: the targets of " +
                         elementName(dictionary, element.universalLabel()) + " name no set");
        }
    }
}

// The loader passes over these silently: sets without a label, and members whose ref names no
// element (or that have no ref at all).
void checkSets(XSDDictionaryLoaderImpl& loaded, Findings& findings) {
    MM::Loading::ElementList sets;
    loaded.collectSetDeclarations(sets);
    for (const xercesc::DOMElement* set : sets) {
        const std::string setName = text(XSDDictionaryLoaderImpl::nameAttribute(set));
        if (!loaded.declarationKey(set)) {
            findings.add("set without a UL Designator: " + setName + " is skipped");
            continue;
        }
        MM::Loading::ElementList members;
        loaded.collectAttributeDeclarations(members, XSDDictionaryLoaderImpl::typeAttribute(set),
                                            XSDDictionaryLoaderImpl::nameAttribute(set));
        for (const xercesc::DOMElement* member : members) {
            const SDK::WString ref = XSDDictionaryLoaderImpl::refAttribute(member);
            if (ref.empty()) {
                findings.add("member without ref: " + text(member->getAttribute(u"name")) +
                             " of set " + setName + " is a local declaration and is skipped");
            } else if (loaded.name2MetaElementMap_.count(XSDDictionaryLoaderImpl::localPart(ref)) ==
                       0) {
                findings.add("member naming no element: " + text(ref) + " of set " + setName +
                             " is skipped");
            }
        }
    }
}

}  // namespace

std::vector<std::string> check(XSDDictionaryLoaderImpl& loaded, const MM::Dictionary& dictionary) {
    Findings findings;
    checkElements(dictionary, findings);
    checkSets(loaded, findings);
    return std::move(findings).lines();
}

}  // namespace xsddict
