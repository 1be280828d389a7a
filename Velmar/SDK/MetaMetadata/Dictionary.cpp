#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace Velmar::SDK::MetaMetadata {

AbstractDictionary::~AbstractDictionary() = default;
MetaElementRegistry::~MetaElementRegistry() = default;

Dictionary::Dictionary() = default;
Dictionary::~Dictionary() = default;

const Types::UniversalLabel* Dictionary::universalLabel(const Types::LocalTag& tag) const {
    auto it = tagToLabel_.find(tag);
    return it == tagToLabel_.end() ? nullptr : &it->second;
}

void Dictionary::addLocalTag(const Types::LocalTag& tag, const Types::UniversalLabel& label) {
    auto byLabel = labelToTag_.find(label);
    auto byTag = tagToLabel_.find(tag);
    const bool labelTaken = byLabel != labelToTag_.end();
    const bool tagTaken = byTag != tagToLabel_.end();
    if (labelTaken && tagTaken && byLabel->second == tag) {
        return;  // the same mapping again
    }
    if (labelTaken || tagTaken) {
        localTagConflicts_.push_back(LocalTagConflict{tag, label});
        return;
    }
    labelToTag_.emplace(label, tag);
    tagToLabel_.emplace(tag, label);
}

const Types::LocalTag* Dictionary::localTag(const Types::UniversalLabel& label) const {
    auto it = labelToTag_.find(label);
    return it == labelToTag_.end() ? nullptr : &it->second;
}

const MetaMetadataSet* Dictionary::metaMetadataSet(const KLV::Key& key) const {
    auto it = sets_.find(key);
    return it == sets_.end() ? nullptr : it->second.get();
}

void Dictionary::addMetaMetadataSet(const KLV::Key& key, const MetaMetadataSet& set) {
    Templates::auto_ptr<MetaMetadataSet> copy(new MetaMetadataSet(set));
    auto it = sets_.find(key);
    if (it != sets_.end()) {
        it->second = std::move(copy);
        return;
    }
    setOrder_.push_back(key);
    sets_.emplace(key, std::move(copy));
}

const MetaElement* Dictionary::metaElement(const Types::UniversalLabel& label) const {
    auto it = elementsByLabel_.find(label);
    return it == elementsByLabel_.end() ? nullptr : it->second;
}

void Dictionary::addMetaElement(const Types::UniversalLabel& label,
                                Templates::auto_ptr<MetaElement> element) {
    if (!element) {
        return;
    }
    const MetaElement* held = element.get();
    elements_.push_back(std::move(element));
    elementsByLabel_.emplace(label, held);
    if (held->hasProperty(u"XMLTagName")) {
        elementsByTagName_.emplace(WString(held->getProperty(u"XMLTagName")), held);
    }
}

const MetaElement* Dictionary::metaElementByLocalTag(const Types::LocalTag& tag) const {
    const Types::UniversalLabel* label = universalLabel(tag);
    return label == nullptr ? nullptr : metaElement(*label);
}

const MetaElement* Dictionary::metaElementByTagName(const XMLCh* tagName) const {
    auto it = elementsByTagName_.find(WString(tagName != nullptr ? tagName : u""));
    return it == elementsByTagName_.end() ? nullptr : it->second;
}

Templates::vector<const MetaElement*> Dictionary::duplicateMetaElements() const {
    Templates::vector<const MetaElement*> duplicates;
    for (const auto& element : elements_) {
        if (metaElement(element->universalLabel()) != element.get()) {
            duplicates.push_back(element.get());
        }
    }
    return duplicates;
}

const MetaMetadataSet& Dictionary::metaMetadataSetAt(std::size_t index) const {
    return *sets_.at(setOrder_.at(index));
}

}  // namespace Velmar::SDK::MetaMetadata
