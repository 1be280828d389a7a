#pragma once

#include <iosfwd>
#include <string>

#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace xsddict {

// Prints one element or set readably. It is found by its XML tag name, by its "name"
// property, by its universal label or key (dotted text), or by its local tag ("3c.0a").
// Gives false when nothing matches.
bool show(const Velmar::SDK::MetaMetadata::Dictionary& dictionary, const std::string& what,
          std::ostream& out);

}  // namespace xsddict
