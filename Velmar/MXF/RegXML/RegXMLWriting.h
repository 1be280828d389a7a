#pragma once

#include <iosfwd>
#include <optional>

#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::RegXML {

// The namespace of the attributes a RegXML document adds to the registered elements: uid (a
// set's unique identifier), escape (a text holding characters XML cannot) and actualType (the
// type of an indirect value).
constexpr const char* kRegXMLBaselineNamespace =
    "http://www.smpte-ra.org/schemas/2001-1b/2013/metadict";

struct RegXMLOptions {
    // The InstanceUID of the set to write as the root; the Preface when none.
    std::optional<Model::Bytes16> root;
};

// Writes the header metadata read from a file as a RegXML document (UTF-8, XML 1.0): the root
// set and the tree of strong references below it, each set and item named by the register's
// symbol in its namespace, each value in its type's text form, records and arrays as child
// elements, items the dictionary does not know (or that did not decode) as comments holding
// their key and bytes. Names and forms come from the dictionary the header metadata was read
// with, whose registered types give records, enumerations and arrays their shape.
//
// The document is written as the tree is walked, holding only the path from the root: memory
// grows with the tree's depth, not with its sets. Where there is no root to write (no Preface,
// or no set of the InstanceUID asked for) FileRefused is thrown before anything is written.
void writeRegXML(std::ostream& out, const Model::HeaderMetadata& header,
                 const SDK::MetaMetadata::Dictionary& dictionary,
                 const RegXMLOptions& options = RegXMLOptions());

}  // namespace Velmar::MXF::RegXML
