#pragma once

#include "Velmar/SDK/MetaMetadata/AttributeRequiredStatus.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/MetaMetadata/PropertyMap.h"
#include "Velmar/SDK/Platform/ClassAllocation.h"
#include "Velmar/SDK/Templates/auto_ptr.h"
#include "Velmar/SDK/Types/BaseType.h"
#include "Velmar/SDK/Types/LocalTag.h"

namespace Velmar::SDK::MetaMetadata {

class MetaAttribute;

class VELMAR_SDK_API AbstractMetaAttributeVisitor {
  public:
    virtual ~AbstractMetaAttributeVisitor();
    virtual void visit(const MetaAttribute& attribute) = 0;
};

class VELMAR_SDK_API AbstractMetaAttribute {
  public:
    virtual ~AbstractMetaAttribute();
    virtual void accept(AbstractMetaAttributeVisitor& visitor) const = 0;
};

// The use of an element in a set: whether it is required, its default value and local tag.
// It owns its default value; the element and the local tag belong to the Dictionary.
class VELMAR_SDK_API MetaAttribute : public AbstractMetaAttribute, public PropertyMap {
    VELMAR_SDK_CLASS_ALLOCATION
    MetaAttribute(const MetaElement& element, AttributeRequiredStatus::Status status,
                  Templates::auto_ptr<const Types::BaseType> defaultValue,
                  const Types::LocalTag* localTag);
    MetaAttribute(const MetaAttribute&) = delete;
    ~MetaAttribute() override;
    void accept(AbstractMetaAttributeVisitor& visitor) const override;

    const MetaElement& metaElement() const { return *element_; }
    AttributeRequiredStatus::Status requiredStatus() const { return status_; }
    const Types::BaseType* defaultValue() const { return defaultValue_.get(); }
    const Types::LocalTag* localTag() const { return localTag_; }

  private:
    const MetaElement* element_;
    AttributeRequiredStatus::Status status_;
    Templates::auto_ptr<const Types::BaseType> defaultValue_;
    const Types::LocalTag* localTag_;
};

}  // namespace Velmar::SDK::MetaMetadata
