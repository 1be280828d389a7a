#pragma once

// A file may carry its header metadata more than once (in the header partition and again in
// the footer, the first copy open and incomplete where the writer did not know everything yet).
// An edit is made to one copy; this makes it to the others as they stand.

#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Writing {

// The edit that made `after` from `before` (one copy of the header metadata, read and then
// edited), made to `copy`, another copy of the same file, keeping what it holds that `before`
// does not: in each set of the same InstanceUID, the items changed, added and removed; the
// sets added, where the set that refers to them is there; the sets removed. A collection of
// strong references gains the references added and loses those removed, keeping its own.
// What the edit changes in a set `copy` lacks is not carried. Sets added go last, as sets made
// anew do (the file read back places them). Returns whether `copy` changed.
bool carryEdit(const Model::HeaderMetadata& before, const Model::HeaderMetadata& after,
               Model::HeaderMetadata& copy);

// Where two header metadatas differ in their sets (matched by InstanceUID, in any order) and
// items (by label and stored bytes); empty where they do not.
std::string contentDifference(const Model::HeaderMetadata& a, const Model::HeaderMetadata& b);

}  // namespace Velmar::MXF::Writing
