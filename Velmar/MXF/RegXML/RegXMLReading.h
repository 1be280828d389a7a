#pragma once

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace Velmar::MXF::RegXML {

// Replaces the header metadata's tree with a RegXML document's, as writeRegXML writes one
// (edited by hand or by a program): the document's root set (the Preface, or the set of the
// root's InstanceUID) and every set below it take the place of that set's subtree. Sets are
// named by their symbols, items by theirs, values in their types' text forms. What the
// document does not speak of is kept as read: sets outside the root's subtree, items the
// dictionary does not know (left as comments), the sets of unknown groups a comment names and
// the packets read as no set; a set or item the document keeps keeps its local tag, key and
// place in the file, and its stored bytes where its value is unchanged. Sets new to the file
// and items new to a set are added; those the document leaves out are removed.
//
// Refuses with EditRefused (a document that is no RegXML of this dictionary: a set or item it
// does not know, a set with no InstanceID, a reference to no set) or ValueRefused (a value
// that does not fit its type), naming the element by its path, before changing anything. A
// file that is not well-formed XML is a ParseError. The document is read with the protections
// of the dictionary's XML reading: no DTD or external entity is loaded.
void applyRegXML(Model::HeaderMetadata& header, const char* documentPath,
                 const SDK::MetaMetadata::Dictionary& dictionary);

}  // namespace Velmar::MXF::RegXML
