#pragma once

#include <iosfwd>
#include <string>

#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace xsddict {

// Writes everything the dictionary holds as the inspector's JSON dump: elements in the order
// received, sets in the order their keys were first received, each with its attributes.
void writeDump(const std::string& schema, const Velmar::SDK::MetaMetadata::Dictionary& dictionary,
               std::ostream& out);

}  // namespace xsddict
