#pragma once

#include <cstddef>
#include <utility>

#include "Velmar/SDK/KLV/Key.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/MetaMetadata/MetaMetadataSet.h"
#include "Velmar/SDK/Templates/auto_ptr.h"
#include "Velmar/SDK/Templates/map.h"
#include "Velmar/SDK/Templates/vector.h"
#include "Velmar/SDK/Types/LocalTag.h"
#include "Velmar/SDK/Types/UID.h"

namespace Velmar::SDK::MetaMetadata {

// Local tags and sets: what a dictionary records besides its elements.
class VELMAR_SDK_API AbstractDictionary {
  public:
    virtual ~AbstractDictionary();
    virtual const Types::UniversalLabel* universalLabel(const Types::LocalTag& tag) const = 0;
    virtual void addLocalTag(const Types::LocalTag& tag, const Types::UniversalLabel& label) = 0;
    virtual const Types::LocalTag* localTag(const Types::UniversalLabel& label) const = 0;
    virtual const MetaMetadataSet* metaMetadataSet(const KLV::Key& key) const = 0;
    virtual void addMetaMetadataSet(const KLV::Key& key, const MetaMetadataSet& set) = 0;
};

class VELMAR_SDK_API MetaElementRegistry {
  public:
    virtual ~MetaElementRegistry();
    virtual const MetaElement* metaElement(const Types::UniversalLabel& label) const = 0;
    virtual void addMetaElement(const Types::UniversalLabel& label,
                                Templates::auto_ptr<MetaElement> element) = 0;
};

// The in-memory dictionary a load fills.
//
// Elements: owned until the dictionary goes, never moved. A label given twice keeps both
// elements; lookups give the first and the later ones are reported as duplicates.
// Local tags: the first mapping of a label and of a tag stays; a later one that contradicts it
// is kept as a conflict and changes nothing. Sets: a set under a key already held replaces the
// old copy but keeps its place in the order.
class VELMAR_SDK_API Dictionary : public AbstractDictionary, public MetaElementRegistry {
  public:
    struct LocalTagConflict {
        Types::LocalTag tag;
        Types::UniversalLabel label;
    };

    Dictionary();
    Dictionary(const Dictionary&) = delete;
    Dictionary& operator=(const Dictionary&) = delete;
    ~Dictionary() override;

    const Types::UniversalLabel* universalLabel(const Types::LocalTag& tag) const override;
    void addLocalTag(const Types::LocalTag& tag, const Types::UniversalLabel& label) override;
    const Types::LocalTag* localTag(const Types::UniversalLabel& label) const override;
    const MetaMetadataSet* metaMetadataSet(const KLV::Key& key) const override;
    void addMetaMetadataSet(const KLV::Key& key, const MetaMetadataSet& set) override;
    const MetaElement* metaElement(const Types::UniversalLabel& label) const override;
    void addMetaElement(const Types::UniversalLabel& label,
                        Templates::auto_ptr<MetaElement> element) override;

    // Every element in the order received, duplicates included.
    std::size_t metaElementCount() const { return elements_.size(); }
    const MetaElement& metaElementAt(std::size_t index) const { return *elements_.at(index); }
    const MetaElement* metaElementByLocalTag(const Types::LocalTag& tag) const;
    // By the "XMLTagName" property the element had when it was added; the first one wins.
    const MetaElement* metaElementByTagName(const XMLCh* tagName) const;
    // Elements whose label an earlier element already had.
    Templates::vector<const MetaElement*> duplicateMetaElements() const;

    // Every set in the order its key was first received.
    std::size_t metaMetadataSetCount() const { return setOrder_.size(); }
    const MetaMetadataSet& metaMetadataSetAt(std::size_t index) const;

    std::size_t localTagCount() const { return labelToTag_.size(); }
    const Templates::vector<LocalTagConflict>& localTagConflicts() const {
        return localTagConflicts_;
    }

  private:
    Templates::vector<Templates::auto_ptr<MetaElement>> elements_;
    Templates::map<Types::UniversalLabel, const MetaElement*> elementsByLabel_;
    Templates::map<WString, const MetaElement*> elementsByTagName_;
    Templates::map<Types::UniversalLabel, Types::LocalTag> labelToTag_;
    Templates::map<Types::LocalTag, Types::UniversalLabel> tagToLabel_;
    Templates::vector<LocalTagConflict> localTagConflicts_;
    Templates::vector<KLV::Key> setOrder_;
    Templates::map<KLV::Key, Templates::auto_ptr<MetaMetadataSet>> sets_;
};

}  // namespace Velmar::SDK::MetaMetadata
