#pragma once

#include <cstddef>

#include "Velmar/SDK/Templates/String.h"

namespace Velmar::SDK::Types {

// The dotted hexadecimal form shared by labels, identifiers, local tags and keys: byteCount
// bytes of two hexadecimal digits (either case) with one '.' between neighbours, nothing else.
// Throws InvalidTextRepresentation quoting the text and naming className.
void readDottedHex(const XMLCh* text, unsigned char* bytes, std::size_t byteCount,
                   const char* className);
WString writeDottedHex(const unsigned char* bytes, std::size_t byteCount);

}  // namespace Velmar::SDK::Types
