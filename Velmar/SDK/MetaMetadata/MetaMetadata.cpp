// The meta-metadata model: properties, elements, attributes, sets and their visitors.
#include "Velmar/SDK/Exceptions/InvalidRequiredStatus.h"
#include "Velmar/SDK/MetaMetadata/AttributeRequiredStatus.h"
#include "Velmar/SDK/MetaMetadata/MetaAttribute.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/MetaMetadata/MetaMetadataSet.h"
#include "Velmar/SDK/MetaMetadata/PropertyMap.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <tuple>

namespace Velmar::SDK::MetaMetadata {

namespace {
// Every name a loader gives a property; made when the library is, so that what a load
// allocates it gives back.
const WString kSharedPropertyNames[] = {u"name",
                                        u"XMLTagName",
                                        u"XMLNamespaceURI",
                                        u"XMLDefaultPrefix",
                                        u"XMLChildTagName",
                                        u"SchemaIndex",
                                        u"RequiresSemanticsValidation",
                                        u"Documentation",
                                        u"LengthDescription"};

using Text = std::u16string_view;  // lengths known, so that most comparisons stop at them

Text text(const WString& s) {
    return Text(s.data(), s.size());
}

// The same units: by length, then as bytes (the traits compare a unit at a time).
bool same(Text a, Text b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(XMLCh)) == 0;
}

constexpr std::uint32_t kSharedNames = sizeof kSharedPropertyNames / sizeof kSharedPropertyNames[0];
}  // namespace

const WString& PropertyMap::nameOf(const Property& property) const {
    return property.name < kOwnName ? kSharedPropertyNames[property.name]
                                    : ownNames_[property.name - kOwnName];
}

std::uint32_t PropertyMap::nameNumber(Text name) {
    for (std::uint32_t i = 0; i < kSharedNames; ++i) {
        if (same(text(kSharedPropertyNames[i]), name)) {
            return i;
        }
    }
    ownNames_.emplace_back(name.data(), name.size());
    return kOwnName + static_cast<std::uint32_t>(ownNames_.size() - 1);
}

PropertyMap::PropertyMap() = default;
PropertyMap::PropertyMap(const PropertyMap& other) = default;
PropertyMap& PropertyMap::operator=(const PropertyMap& other) {
    properties_ = other.properties_;
    ownNames_ = other.ownNames_;
    return *this;
}
PropertyMap::~PropertyMap() = default;

void PropertyMap::addProperty(const XMLCh* name, const XMLCh* value) {
    addProperty(Text(name != nullptr ? name : u""), Text(value != nullptr ? value : u""));
}

void PropertyMap::addProperty(Text name, Text value) {
    auto it = std::find_if(properties_.begin(), properties_.end(),
                           [&](const Property& p) { return same(text(nameOf(p)), name); });
    if (it != properties_.end()) {
        it->value.assign(value.data(), value.size());
        return;
    }
    properties_.push_back(Property{0, WString(value.data(), value.size())});
    try {
        properties_.back().name = nameNumber(name);
    } catch (...) {
        properties_.pop_back();  // no property without its name
        throw;
    }
}

const XMLCh* PropertyMap::getProperty(const XMLCh* name) const {
    if (name != nullptr) {
        const Text key(name);
        for (const Property& p : properties_) {
            if (same(text(nameOf(p)), key)) {
                return p.value.c_str();
            }
        }
    }
    return u"";
}

bool PropertyMap::hasProperty(const XMLCh* name) const {
    if (name == nullptr) {
        return false;
    }
    const Text key(name);
    return std::any_of(properties_.begin(), properties_.end(),
                       [&](const Property& p) { return same(text(nameOf(p)), key); });
}

MetaElement::MetaElement(const Types::UniversalLabel& label,
                         Types::Identifiers::Identifier dataType)
    : universalLabel_(label), dataType_(dataType) {}
MetaElement::MetaElement(const MetaElement& other) = default;
MetaElement& MetaElement::operator=(const MetaElement& other) {
    PropertyMap::operator=(other);
    universalLabel_ = other.universalLabel_;
    dataType_ = other.dataType_;
    return *this;
}

MetaValueHolder& MetaValueHolder::operator=(const MetaValueHolder&) {
    return *this;
}
MetaValueHolder::~MetaValueHolder() = default;

MetaReferenceHolder::MetaReferenceHolder(const KeyVector& targetSets) : targetSets_(targetSets) {}
MetaReferenceHolder::MetaReferenceHolder(const MetaReferenceHolder& other) = default;
MetaReferenceHolder::~MetaReferenceHolder() = default;
MetaReferenceHolder& MetaReferenceHolder::operator=(const MetaReferenceHolder& other) {
    targetSets_ = other.targetSets_;
    return *this;
}

MetaCollectionElement::MetaCollectionElement(const Types::UniversalLabel& label,
                                             CollectionSizeLimits limits,
                                             Types::Identifiers::Identifier dataType,
                                             Types::Identifiers::Identifier dataSubType)
    : MetaElement(label, dataType), sizeLimits_(limits), dataSubType_(dataSubType) {}
MetaCollectionElement::MetaCollectionElement(const MetaCollectionElement& other) = default;
MetaCollectionElement& MetaCollectionElement::operator=(const MetaCollectionElement& other) {
    MetaElement::operator=(other);
    sizeLimits_ = other.sizeLimits_;
    dataSubType_ = other.dataSubType_;
    return *this;
}

MetaSimpleElement::MetaSimpleElement(const Types::UniversalLabel& label,
                                     Types::Identifiers::Identifier dataType)
    : MetaElement(label, dataType) {}
MetaSimpleElement::MetaSimpleElement(const MetaSimpleElement& other) = default;
MetaSimpleElement& MetaSimpleElement::operator=(const MetaSimpleElement& other) {
    MetaElement::operator=(other);
    return *this;
}
void MetaSimpleElement::accept(Visitors::NonConstMetaElementVisitor& visitor) {
    visitor.visit(*this);
}
void MetaSimpleElement::accept(Visitors::MetaElementVisitor& visitor) const {
    visitor.visit(*this);
}

MetaCollection::MetaCollection(const Types::UniversalLabel& label, CollectionSizeLimits limits,
                               Types::Identifiers::Identifier dataType,
                               Types::Identifiers::Identifier dataSubType)
    : MetaCollectionElement(label, limits, dataType, dataSubType) {}
MetaCollection::MetaCollection(const MetaCollection& other) = default;
MetaCollection& MetaCollection::operator=(const MetaCollection& other) {
    MetaCollectionElement::operator=(other);
    return *this;
}
void MetaCollection::accept(Visitors::NonConstMetaElementVisitor& visitor) {
    visitor.visit(*this);
}
void MetaCollection::accept(Visitors::MetaElementVisitor& visitor) const {
    visitor.visit(*this);
}

MetaReferenceElement::MetaReferenceElement(const Types::UniversalLabel& label,
                                           const KeyVector& targetSets,
                                           Types::Identifiers::Identifier dataType)
    : MetaElement(label, dataType), MetaReferenceHolder(targetSets) {}
MetaReferenceElement::MetaReferenceElement(const MetaReferenceElement& other) = default;
MetaReferenceElement& MetaReferenceElement::operator=(const MetaReferenceElement& other) {
    MetaElement::operator=(other);
    MetaReferenceHolder::operator=(other);
    return *this;
}
void MetaReferenceElement::accept(Visitors::NonConstMetaElementVisitor& visitor) {
    visitor.visit(*this);
}
void MetaReferenceElement::accept(Visitors::MetaElementVisitor& visitor) const {
    visitor.visit(*this);
}

MetaReferenceCollection::MetaReferenceCollection(const Types::UniversalLabel& label,
                                                 CollectionSizeLimits limits,
                                                 const KeyVector& targetSets,
                                                 Types::Identifiers::Identifier dataType,
                                                 Types::Identifiers::Identifier dataSubType)
    : MetaCollectionElement(label, limits, dataType, dataSubType),
      MetaReferenceHolder(targetSets) {}
MetaReferenceCollection::MetaReferenceCollection(const MetaReferenceCollection& other) = default;
MetaReferenceCollection& MetaReferenceCollection::operator=(const MetaReferenceCollection& other) {
    MetaCollectionElement::operator=(other);
    MetaReferenceHolder::operator=(other);
    return *this;
}
void MetaReferenceCollection::accept(Visitors::NonConstMetaElementVisitor& visitor) {
    visitor.visit(*this);
}
void MetaReferenceCollection::accept(Visitors::MetaElementVisitor& visitor) const {
    visitor.visit(*this);
}

namespace Visitors {

MetaElementVisitor::~MetaElementVisitor() = default;
NonConstMetaElementVisitor::~NonConstMetaElementVisitor() = default;

void NullMetaElementVisitor::visit(const MetaCollectionElement& e) {
    visit(static_cast<const MetaElement&>(e));
}
void NullMetaElementVisitor::visit(const MetaSimpleElement& e) {
    visit(static_cast<const MetaElement&>(e));
}
void NullMetaElementVisitor::visit(const MetaCollection& e) {
    visit(static_cast<const MetaCollectionElement&>(e));
}
void NullMetaElementVisitor::visit(const MetaReferenceElement& e) {
    visit(static_cast<const MetaElement&>(e));
    visit(static_cast<const MetaReferenceHolder&>(e));
}
void NullMetaElementVisitor::visit(const MetaReferenceCollection& e) {
    visit(static_cast<const MetaCollectionElement&>(e));
    visit(static_cast<const MetaReferenceHolder&>(e));
}

void NullNonConstMetaElementVisitor::visit(MetaCollectionElement& e) {
    visit(static_cast<MetaElement&>(e));
}
void NullNonConstMetaElementVisitor::visit(MetaSimpleElement& e) {
    visit(static_cast<MetaElement&>(e));
}
void NullNonConstMetaElementVisitor::visit(MetaCollection& e) {
    visit(static_cast<MetaCollectionElement&>(e));
}
void NullNonConstMetaElementVisitor::visit(MetaReferenceElement& e) {
    visit(static_cast<MetaElement&>(e));
    visit(static_cast<MetaReferenceHolder&>(e));
}
void NullNonConstMetaElementVisitor::visit(MetaReferenceCollection& e) {
    visit(static_cast<MetaCollectionElement&>(e));
    visit(static_cast<MetaReferenceHolder&>(e));
}

}  // namespace Visitors

AbstractMetaAttributeVisitor::~AbstractMetaAttributeVisitor() = default;
AbstractMetaAttribute::~AbstractMetaAttribute() = default;

MetaAttribute::MetaAttribute(const MetaElement& element, AttributeRequiredStatus::Status status,
                             Templates::auto_ptr<const Types::BaseType> defaultValue,
                             const Types::LocalTag* localTag)
    : element_(&element),
      status_(status),
      defaultValue_(std::move(defaultValue)),
      localTag_(localTag) {}
MetaAttribute::~MetaAttribute() = default;
void MetaAttribute::accept(AbstractMetaAttributeVisitor& visitor) const {
    visitor.visit(*this);
}

AttributeRequiredStatus& AttributeRequiredStatus::instance() {
    static AttributeRequiredStatus status;
    return status;
}
AttributeRequiredStatus::~AttributeRequiredStatus() = default;

namespace {
constexpr const XMLCh* kStatusWords[] = {u"required", u"optional", u"best effort"};
}

AttributeRequiredStatus::Status AttributeRequiredStatus::stringToStatus(const XMLCh* text) const {
    WString word(text != nullptr ? text : u"");
    for (int s = Required; s <= BestEffort; ++s) {
        if (word == kStatusWords[s]) {
            return static_cast<Status>(s);
        }
    }
    WString message = u"Unknown required status \"";
    message += word.substr(0, 120);
    message += u"\": expected \"required\", \"optional\" or \"best effort\"";
    VELMAR_SDK_THROW(Exceptions::InvalidRequiredStatus, message.c_str());
}

const XMLCh* AttributeRequiredStatus::statusToString(Status status) const {
    return status >= Required && status <= BestEffort ? kStatusWords[status] : u"";
}

MetaMetadataSet::MetaMetadataSet(const KLV::Key& key) : key_(key) {}
MetaMetadataSet::MetaMetadataSet(const MetaMetadataSet& other) = default;
MetaMetadataSet::~MetaMetadataSet() = default;
void MetaMetadataSet::addMetaAttribute(MetaAttributePtr attribute) {
    attributes_.push_back(std::move(attribute));
}

}  // namespace Velmar::SDK::MetaMetadata
