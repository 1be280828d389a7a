#pragma once

#include <string>

#include "Velmar/SDK/Templates/String.h"

namespace xsddict {

// JSON string literals: UTF-8 with the escapes JSON needs. A 16-bit text is written whole, so a
// U+0000 inside it comes out as \u0000 rather than ending it.
std::string jsonString(const std::string& utf8);
std::string jsonString(const Velmar::SDK::WString& text);
std::string jsonString(const XMLCh* text);
// A path as given, read as UTF-8: bytes that are not valid UTF-8 become U+FFFD, since JSON
// text is Unicode.
std::string jsonPath(const std::string& path);

}  // namespace xsddict
