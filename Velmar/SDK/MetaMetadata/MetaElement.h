#pragma once

#include "Velmar/SDK/KLV/Key.h"
#include "Velmar/SDK/MetaMetadata/PropertyMap.h"
#include "Velmar/SDK/Platform/ClassAllocation.h"
#include "Velmar/SDK/Templates/vector.h"
#include "Velmar/SDK/Types/Identifiers.h"
#include "Velmar/SDK/Types/UID.h"

namespace Velmar::SDK::MetaMetadata {

namespace Visitors {
class MetaElementVisitor;
class NonConstMetaElementVisitor;
}  // namespace Visitors

using KeyVector = Templates::vector<KLV::Key, Platform::malloc_alloc>;

// A registered element: its universal label, data type and descriptive properties. The four
// concrete kinds below say what its values are.
class VELMAR_SDK_API MetaElement : public PropertyMap {
  public:
    using PropertyMap::operator=;
    virtual MetaElement& operator=(const MetaElement& other);
    virtual void accept(Visitors::NonConstMetaElementVisitor& visitor) = 0;
    virtual void accept(Visitors::MetaElementVisitor& visitor) const = 0;

    const Types::UniversalLabel& universalLabel() const { return universalLabel_; }
    Types::Identifiers::Identifier dataType() const { return dataType_; }

  protected:
    MetaElement(const Types::UniversalLabel& label, Types::Identifiers::Identifier dataType);
    MetaElement(const MetaElement& other);

  private:
    Types::UniversalLabel universalLabel_;
    Types::Identifiers::Identifier dataType_;
};

// Marks the kinds whose values are data rather than references.
class VELMAR_SDK_API MetaValueHolder {
  public:
    MetaValueHolder() = default;
    MetaValueHolder(const MetaValueHolder&) = default;
    virtual MetaValueHolder& operator=(const MetaValueHolder& other);
    virtual ~MetaValueHolder();
};

// The kinds that point at sets: the keys of the sets a reference may point to, in order.
class VELMAR_SDK_API MetaReferenceHolder {
  public:
    explicit MetaReferenceHolder(const KeyVector& targetSets);
    MetaReferenceHolder(const MetaReferenceHolder& other);
    virtual ~MetaReferenceHolder();
    virtual MetaReferenceHolder& operator=(const MetaReferenceHolder& other);

    const KeyVector& targetSets() const { return targetSets_; }

  private:
    KeyVector targetSets_;
};

// Arrays and batches: a collection data type (Array or Batch) and the data type of its items.
class VELMAR_SDK_API MetaCollectionElement : public MetaElement {
  public:
    // Bounds on the item count; the default means none.
    struct CollectionSizeLimits {
        unsigned long minimum = 0;
        unsigned long maximum = static_cast<unsigned long>(-1);
        bool bounded() const { return maximum != static_cast<unsigned long>(-1); }
    };

    using MetaElement::operator=;
    virtual MetaCollectionElement& operator=(const MetaCollectionElement& other);

    Types::Identifiers::Identifier dataSubType() const { return dataSubType_; }
    const CollectionSizeLimits& sizeLimits() const { return sizeLimits_; }

  protected:
    MetaCollectionElement(const Types::UniversalLabel& label, CollectionSizeLimits limits,
                          Types::Identifiers::Identifier dataType,
                          Types::Identifiers::Identifier dataSubType);
    MetaCollectionElement(const MetaCollectionElement& other);

  private:
    CollectionSizeLimits sizeLimits_;
    Types::Identifiers::Identifier dataSubType_;
};

class VELMAR_SDK_API MetaSimpleElement : public MetaElement, public MetaValueHolder {
    VELMAR_SDK_CLASS_ALLOCATION
    MetaSimpleElement(const Types::UniversalLabel& label, Types::Identifiers::Identifier dataType);
    MetaSimpleElement(const MetaSimpleElement& other);
    using MetaElement::operator=;
    using MetaValueHolder::operator=;
    virtual MetaSimpleElement& operator=(const MetaSimpleElement& other);
    void accept(Visitors::NonConstMetaElementVisitor& visitor) override;
    void accept(Visitors::MetaElementVisitor& visitor) const override;
};

class VELMAR_SDK_API MetaCollection : public MetaCollectionElement, public MetaValueHolder {
    VELMAR_SDK_CLASS_ALLOCATION
    MetaCollection(const Types::UniversalLabel& label, CollectionSizeLimits limits,
                   Types::Identifiers::Identifier dataType,
                   Types::Identifiers::Identifier dataSubType);
    MetaCollection(const MetaCollection& other);
    using MetaCollectionElement::operator=;
    using MetaValueHolder::operator=;
    virtual MetaCollection& operator=(const MetaCollection& other);
    void accept(Visitors::NonConstMetaElementVisitor& visitor) override;
    void accept(Visitors::MetaElementVisitor& visitor) const override;
};

class VELMAR_SDK_API MetaReferenceElement : public MetaElement, public MetaReferenceHolder {
    VELMAR_SDK_CLASS_ALLOCATION
    MetaReferenceElement(const Types::UniversalLabel& label, const KeyVector& targetSets,
                         Types::Identifiers::Identifier dataType);
    MetaReferenceElement(const MetaReferenceElement& other);
    using MetaElement::operator=;
    using MetaReferenceHolder::operator=;
    virtual MetaReferenceElement& operator=(const MetaReferenceElement& other);
    void accept(Visitors::NonConstMetaElementVisitor& visitor) override;
    void accept(Visitors::MetaElementVisitor& visitor) const override;
};

class VELMAR_SDK_API MetaReferenceCollection : public MetaCollectionElement,
                                               public MetaReferenceHolder {
    VELMAR_SDK_CLASS_ALLOCATION
    MetaReferenceCollection(const Types::UniversalLabel& label, CollectionSizeLimits limits,
                            const KeyVector& targetSets, Types::Identifiers::Identifier dataType,
                            Types::Identifiers::Identifier dataSubType);
    MetaReferenceCollection(const MetaReferenceCollection& other);
    using MetaCollectionElement::operator=;
    using MetaReferenceHolder::operator=;
    virtual MetaReferenceCollection& operator=(const MetaReferenceCollection& other);
    void accept(Visitors::NonConstMetaElementVisitor& visitor) override;
    void accept(Visitors::MetaElementVisitor& visitor) const override;
};

}  // namespace Velmar::SDK::MetaMetadata
