#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Model/Value.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace Velmar::MXF::Writing {

// An edit that cannot be made: a path that names nothing (or names an item where a set is
// needed), a removal that would leave a reference dangling, a strong reference set by value.
// The message says which and why; the header metadata is as it was.
class EditRefused : public SDK::Exceptions::BaseException {
  public:
    EditRefused(const std::string& message, const char* sourceFile, int sourceLine);
    ~EditRefused() override;
};

// Paths name sets and items of a header metadata read from a file, step by step, with "/"
// between steps:
// - the first step is a set's InstanceUID ("urn:uuid:…" or 8-4-4-4-12), or a set's name or
//   symbol ("Timecode Component", "TimecodeComponent"), naming every set of it;
// - each later step is, within the sets named so far, an item holding strong references
//   ("Content Storage", "Packages"), naming the sets it refers to, or a set's name, naming the
//   sets of it anywhere below;
// - "[n]" after a step keeps only the n-th (from 0) of what it names, in tree order;
// - the last step of an item path is an item by name ("Product Name"), symbol ("ProductName")
//   or local tag ("3c.0a", "3c0a").
// Names are compared without case, spaces, "_" and "-".
// "Preface/Identification[0]/Product Name", "Timecode Component/Start Timecode".

// The sets a path names, in tree order (indexes into header.sets). Refuses (EditRefused) a
// path that names none.
std::vector<std::size_t> findSets(const Model::HeaderMetadata& header, std::string_view path,
                                  const SDK::MetaMetadata::Dictionary& dictionary);

// The value a text gives an item, in the text forms RegXML writes values in ("25/1",
// "urn:smpte:ul:…", "True", "2024-01-31T12:00:00Z", an enumeration's symbol…) or the forms
// the reader prints; a record or a list as the reader's JSON of it ({"Major": 1, …}, […]).
// Refuses (ValueRefused) a text that is no value of the item's type.
Model::Value valueFromText(const Model::Item& item, std::string_view text,
                           const SDK::MetaMetadata::Dictionary& dictionary);

// Sets the item a path names (in every set it names) to a value, adding the item where a set
// lacks it. Its bytes are encoded by its type and its value read back from them. Refuses an
// item that is not an attribute of the set (EditRefused), a strong reference (sets are added
// and removed instead) and a value that does not fit (ValueRefused), before changing anything.
// Returns the number of items set.
std::size_t setItem(Model::HeaderMetadata& header, std::string_view path, const Model::Value& value,
                    const SDK::MetaMetadata::Dictionary& dictionary);
// The same from the value's text (valueFromText).
std::size_t setItemText(Model::HeaderMetadata& header, std::string_view path, std::string_view text,
                        const SDK::MetaMetadata::Dictionary& dictionary);

// Removes what a path names: an item (with the sets it holds by strong reference, and their
// subtrees), or sets with their subtrees and the references that held them. Refuses removing
// an InstanceUID, the Preface, and a set another set still refers to by a weak reference or
// as the primary package. Returns the number of sets and items removed.
std::size_t remove(Model::HeaderMetadata& header, std::string_view path,
                   const SDK::MetaMetadata::Dictionary& dictionary);

// Adds a set of the kind named (by name or symbol) to the strong-reference item a path names
// (one set holding it), with a new InstanceUID; the item is added where the set lacks it.
// Refuses a kind the item cannot hold and an item that holds one set already. Returns the new
// set's index.
std::size_t addSet(Model::HeaderMetadata& header, std::string_view itemPath,
                   std::string_view setName, const SDK::MetaMetadata::Dictionary& dictionary);

// The item of a set named by name, symbol or local tag, or null.
const Model::Item* findItem(const Model::LocalSet& set, std::string_view name,
                            const SDK::MetaMetadata::Dictionary& dictionary);

}  // namespace Velmar::MXF::Writing
