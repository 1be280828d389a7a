#pragma once

#include <iosfwd>
#include <string>

#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace xsddict {

// Writes everything the dictionary holds as the inspector's JSON dump: elements in the order
// received, sets in the order their keys were first received, each with its attributes.
void writeDump(const std::string& schema, const Velmar::SDK::MetaMetadata::Dictionary& dictionary,
               std::ostream& out);

// A JSON string literal of a 16-bit text, UTF-8 with the escapes JSON needs.
std::string jsonString(const XMLCh* text);

}  // namespace xsddict
