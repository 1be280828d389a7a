#include "SetRules.h"

#include <string>

#include "../Values/BigEndian.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Checking {

using namespace Model;

namespace MM = SDK::MetaMetadata;

namespace {

Bytes16 labelOf(const MM::MetaElement& element) {
    return Values::bytes16(element.universalLabel().bytes());
}

std::string nameOf(const MM::MetaElement& element) {
    return SDK::Utils::toUtf8(element.getProperty(u"name")).c_str();
}

}  // namespace

SetDefinitionRules::SetDefinitionRules(const LocalSet& set) : set_(set) {
    if (set.definition != nullptr) {
        for (const MM::MetaAttribute& attribute : set.definition->attributes()) {
            attributes_.insert(labelOf(attribute.metaElement()));
        }
    }
}

void SetDefinitionRules::itemRead(const Item& item, std::vector<Finding>& findings) {
    const Bytes16 label = labelOf(*item.element);
    present_.insert(label);
    if (set_.definition != nullptr && attributes_.count(label) == 0) {
        findings.push_back({"not-an-attribute", set_.offset, set_.name(), item.tag, item.name(),
                            nameOf(*item.element) + " is not an attribute of " + set_.name()});
    }
}

void SetDefinitionRules::setRead(std::vector<Finding>& findings) const {
    if (set_.definition == nullptr) {
        return;
    }
    for (const MM::MetaAttribute& attribute : set_.definition->attributes()) {
        if (attribute.requiredStatus() == MM::AttributeRequiredStatus::Required &&
            present_.count(labelOf(attribute.metaElement())) == 0) {
            const std::string name = nameOf(attribute.metaElement());
            Finding finding{
                "required-missing", set_.offset, set_.name(),
                std::nullopt,       name,        "the required " + name + " is missing"};
            if (attribute.localTag() != nullptr) {
                finding.tag = attribute.localTag()->value();
            }
            findings.push_back(std::move(finding));
        }
    }
}

}  // namespace Velmar::MXF::Checking
