#pragma once

#include <iosfwd>
#include <string>

#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace xsddict {

// What the inspector prints about a loaded dictionary. Attributes and default values are
// counted per set, each set's inherited members included, as a reader of files meets them;
// import-registers reports the same counts, read back from the dictionary it wrote.
struct Counts {
    std::size_t simple = 0;
    std::size_t collection = 0;
    std::size_t reference = 0;
    std::size_t referenceCollection = 0;
    std::size_t sets = 0;
    std::size_t attributes = 0;
    std::size_t localTags = 0;
    std::size_t defaults = 0;
    std::size_t elements() const { return simple + collection + reference + referenceCollection; }
};

Counts count(const Velmar::SDK::MetaMetadata::Dictionary& dictionary);
void printSummary(const std::string& schema, const Counts& counts, std::ostream& out);
// {"schema", "elements": {"total", "simple", "collection", "reference", "referenceCollection"},
// "sets", "attributes", "localTags", "defaultValues"}
void writeSummaryJson(const std::string& schema, const Counts& counts, std::ostream& out);

// The element kind as the dump names it: simple, collection, reference, referenceCollection.
const char* kindName(const Velmar::SDK::MetaMetadata::MetaElement& element);

// What an element's kind adds: the item type of a collection, the targets of a reference.
struct ElementFacts {
    Velmar::SDK::Types::Identifiers::Identifier dataSubType =
        Velmar::SDK::Types::Identifiers::Unknown;
    const Velmar::SDK::MetaMetadata::KeyVector* targets = nullptr;  // null for no reference
};
ElementFacts elementFacts(const Velmar::SDK::MetaMetadata::MetaElement& element);

}  // namespace xsddict
