#pragma once

#include <cstddef>

#include "Velmar/SDK/KLV/Key.h"
#include "Velmar/SDK/MetaMetadata/MetaAttribute.h"
#include "Velmar/SDK/MetaMetadata/PropertyMap.h"
#include "Velmar/SDK/Templates/IndirectRange.h"
#include "Velmar/SDK/Templates/SharedPtr.h"
#include "Velmar/SDK/Templates/vector.h"

namespace Velmar::SDK::MetaMetadata {

using MetaAttributePtr = Templates::SharedPtr<MetaAttribute, Templates::LockedCounter>;

// A set definition: its key, its attributes in order and its descriptive properties. Copies
// share the attributes.
class VELMAR_SDK_API MetaMetadataSet : public PropertyMap {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit MetaMetadataSet(const KLV::Key& key);
    MetaMetadataSet(const MetaMetadataSet& other);
    using PropertyMap::operator=;
    ~MetaMetadataSet() override;

    const KLV::Key& key() const { return key_; }
    void addMetaAttribute(MetaAttributePtr attribute);

    using AttributeStore = Templates::vector<MetaAttributePtr>;
    // The attributes in order, for range-for.
    Templates::IndirectRange<MetaAttribute, AttributeStore> attributes() const {
        return Templates::IndirectRange<MetaAttribute, AttributeStore>(attributes_);
    }
    std::size_t attributeCount() const { return attributes_.size(); }
    const MetaAttribute& attribute(std::size_t index) const { return *attributes_.at(index); }

  private:
    KLV::Key key_;
    AttributeStore attributes_;
};

}  // namespace Velmar::SDK::MetaMetadata
