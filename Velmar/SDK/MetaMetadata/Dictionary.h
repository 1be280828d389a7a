#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "Velmar/SDK/KLV/Key.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/MetaMetadata/MetaMetadataSet.h"
#include "Velmar/SDK/MetaMetadata/TypeDefinitions.h"
#include "Velmar/SDK/Templates/IndirectRange.h"
#include "Velmar/SDK/Templates/auto_ptr.h"
#include "Velmar/SDK/Templates/unordered_map.h"
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

// How a lookup that tolerates differences found what it gave.
enum class LabelMatch {
    None,             // nothing found
    Exact,            // every byte equal
    IgnoringVersion,  // equal but for the version byte (the eighth)
    IgnoringCoding,   // a set key equal but for the version and the group coding (the sixth)
};

// The in-memory dictionary a load fills.
//
// Elements: owned until the dictionary goes, never moved. A label given twice keeps both
// elements; lookups give the first and the later ones are reported as duplicates.
// Local tags: the first mapping of a label and of a tag stays; a later one that contradicts it
// is kept as a conflict and changes nothing. Sets: a set under a key already held replaces the
// old copy (pointers to the old copy end) but keeps its place in the order.
// A dictionary can be moved: elements and sets keep their addresses.
class VELMAR_SDK_API Dictionary : public AbstractDictionary, public MetaElementRegistry {
  public:
    struct LocalTagMapping {
        Types::LocalTag tag;
        Types::UniversalLabel label;
    };
    using LocalTagConflict = LocalTagMapping;
    using ElementStore = Templates::vector<Templates::auto_ptr<MetaElement>>;
    using SetStore = Templates::vector<Templates::auto_ptr<MetaMetadataSet>>;
    using MetaElementRange = Templates::IndirectRange<MetaElement, ElementStore>;
    using MetaMetadataSetRange = Templates::IndirectRange<MetaMetadataSet, SetStore>;

    Dictionary();
    Dictionary(const Dictionary&) = delete;
    Dictionary& operator=(const Dictionary&) = delete;
    Dictionary(Dictionary&& other) noexcept;
    Dictionary& operator=(Dictionary&& other) noexcept;
    ~Dictionary() override;

    // Exact lookups, as the loader uses them.
    const Types::UniversalLabel* universalLabel(const Types::LocalTag& tag) const override;
    void addLocalTag(const Types::LocalTag& tag, const Types::UniversalLabel& label) override;
    const Types::LocalTag* localTag(const Types::UniversalLabel& label) const override;
    const MetaMetadataSet* metaMetadataSet(const KLV::Key& key) const override;
    void addMetaMetadataSet(const KLV::Key& key, const MetaMetadataSet& set) override;
    const MetaElement* metaElement(const Types::UniversalLabel& label) const override;
    void addMetaElement(const Types::UniversalLabel& label,
                        Templates::auto_ptr<MetaElement> element) override;

    // Lookups for labels and keys read from files, where registers and writers differ in the
    // version byte. An exact match wins; else the element whose label differs only in the
    // version byte, the highest version where several do.
    const MetaElement* findMetaElement(const Types::UniversalLabel& label,
                                       LabelMatch* match = nullptr) const;
    // The same for sets, then a key that also differs in the group coding byte (0x7f in a
    // register's group labels, 0x53 in a file's local sets, 0x13 and others for other codings).
    const MetaMetadataSet* findMetaMetadataSet(const KLV::Key& key,
                                               LabelMatch* match = nullptr) const;

    // Room for this many elements and sets in all: a load that knows how many it will add
    // does not regrow the indexes as it adds them.
    void reserve(std::size_t elements, std::size_t sets);

    // Every element in the order received, duplicates included.
    MetaElementRange metaElements() const { return MetaElementRange(elements_); }
    std::size_t metaElementCount() const { return elements_.size(); }
    const MetaElement& metaElementAt(std::size_t index) const { return *elements_.at(index); }
    const MetaElement* metaElementByLocalTag(const Types::LocalTag& tag) const;
    // By its "XMLTagName" property; the first one added wins. Elements do not change names once
    // added: the first lookup by either name indexes every element.
    const MetaElement* metaElementByTagName(const XMLCh* tagName) const;
    // By its "name" property (its "Name In Specification"); the first one added wins.
    const MetaElement* metaElementByName(const XMLCh* name) const;
    // Elements whose label an earlier element already had.
    Templates::vector<const MetaElement*> duplicateMetaElements() const;

    // Every set in the order its key was first received.
    MetaMetadataSetRange metaMetadataSets() const { return MetaMetadataSetRange(sets_); }
    std::size_t metaMetadataSetCount() const { return sets_.size(); }
    const MetaMetadataSet& metaMetadataSetAt(std::size_t index) const { return *sets_.at(index); }
    // By the "name" or the "XMLTagName" property; the earliest set in the order wins.
    const MetaMetadataSet* metaMetadataSetByName(const XMLCh* name) const;
    const MetaMetadataSet* metaMetadataSetByTagName(const XMLCh* tagName) const;

    std::size_t localTagCount() const { return labelToTag_.size(); }
    // Every mapping held (not the conflicts), in the order of the tags.
    Templates::vector<LocalTagMapping> localTags() const;
    const Templates::vector<LocalTagConflict>& localTagConflicts() const {
        return localTagConflicts_;
    }

    // The registered types and labels, where the dictionary's source gives them (a dictionary
    // imported from the registers does); empty otherwise. A load that finds them replaces
    // what was held.
    const TypeDefinitions& typeDefinitions() const { return types_; }
    void setTypeDefinitions(TypeDefinitions types) { types_ = std::move(types); }
    // Adds what `upper` holds that this dictionary lacks, as a dictionary stacked on this one (a
    // vendor's private register on the standard one): its elements, sets and local tags, its
    // registered types and labels, of labels, keys and tags this one does not hold. What both
    // hold is a clash: this one's stays, and each clash is a line (UTF-8) of what is returned.
    // `upper` is kept whole, so that what its sets refer to stays valid.
    std::vector<std::string> stack(Templates::auto_ptr<Dictionary> upper);

    // The element's registered type, or null.
    const TypeDefinition* typeOf(const MetaElement& element) const {
        return types_.elementType(element.universalLabel().bytes());
    }

  private:
    // Indexes are hashed: a register-size dictionary adds tens of thousands of entries, and
    // nothing needs them in key order (the stores keep the order received).
    using Bytes = std::array<unsigned char, 16>;
    using Positions = Templates::vector<std::size_t>;
    template <class Value>
    using ByBytes = Templates::unordered_map<Bytes, Value>;
    template <class Value>
    using ByText = Templates::unordered_map<WString, Value>;
    const MetaMetadataSet* setByProperty(const ByText<Positions>& index, const XMLCh* value) const;

    // Elements by "XMLTagName" and by "name", made on the first lookup by either: a load adds
    // tens of thousands of elements, and most programs look few of them up by name, or none.
    // Published once, so that lookups from several threads stay safe; later adds go into it.
    struct NameIndexes;
    class LazyNameIndexes {
      public:
        LazyNameIndexes() = default;
        LazyNameIndexes(LazyNameIndexes&& other) noexcept;
        LazyNameIndexes& operator=(LazyNameIndexes&& other) noexcept;
        ~LazyNameIndexes();
        // Null until made.
        NameIndexes* made() const { return made_.load(std::memory_order_acquire); }
        const NameIndexes& get(const ElementStore& elements) const;

      private:
        mutable std::atomic<NameIndexes*> made_{nullptr};
    };

    ElementStore elements_;
    ByBytes<const MetaElement*> elementsByLabel_;
    // By label without the version byte, the first element of the highest version.
    ByBytes<const MetaElement*> elementsByVersionless_;
    LazyNameIndexes elementsByNames_;
    ByBytes<Types::LocalTag> labelToTag_;
    Templates::unordered_map<unsigned short, Types::UniversalLabel> tagToLabel_;
    Templates::vector<LocalTagConflict> localTagConflicts_;
    // Sets in order, and their positions by key, by key without the version byte, and without
    // the version and coding bytes, and by name. A replaced set keeps its position.
    SetStore sets_;
    ByBytes<std::size_t> setsByKey_;
    ByBytes<Positions> setsByVersionless_;
    ByBytes<Positions> setsByCodingless_;
    ByText<Positions> setsByName_;
    ByText<Positions> setsByTagName_;
    TypeDefinitions types_;
    // Dictionaries stacked on this one, owning what was not taken over from them.
    Templates::vector<Templates::auto_ptr<Dictionary>> layers_;
};

}  // namespace Velmar::SDK::MetaMetadata
