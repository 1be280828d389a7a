#pragma once

#include <string>
#include <string_view>

#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Templates/String.h"

namespace Velmar::SDK {

namespace Utils {

// 8-bit texts are read as UTF-8; a byte that starts no valid sequence becomes U+FFFD.
VELMAR_SDK_API WString stringToWstring(const char* text);

// Paths and other byte texts that must come back unchanged (a Latin-1 folder name, as old file
// servers give): UTF-8 is decoded as above, but each byte that starts no valid sequence becomes
// the lone surrogate U+DC80 + byte instead of U+FFFD.
VELMAR_SDK_API WString bytesToWstring(const char* text);
// The inverse: those lone surrogates become their bytes again, everything else UTF-8, so that
// bytesToWstring and wstringToBytes give back the bytes they were given.
VELMAR_SDK_API String wstringToBytes(const XMLCh* text);

// Narrows to one byte per code unit (ISO 8859-1): units above 0xFF become '?'. This is the form
// the 8-bit string types store.
VELMAR_SDK_API String wstringToString(const XMLCh* text);

// UTF-16 to UTF-8 for output; an unpaired surrogate becomes U+FFFD.
VELMAR_SDK_API String toUtf8(const XMLCh* text);
VELMAR_SDK_API String toUtf8(const XMLCh* text, std::size_t length);
inline String toUtf8(const WString& text) {
    return toUtf8(text.data(), text.size());
}

// A JSON string literal of UTF-8 text: quoted, with JSON's escapes for quotes, backslashes and
// control characters; everything else as it stands.
VELMAR_SDK_API std::string jsonQuoted(std::string_view utf8);
// The text with XML's markup characters (& < > ") as entities, fit for content and attribute
// values; nothing else changes.
VELMAR_SDK_API std::string xmlEscaped(std::string_view utf8);

}  // namespace Utils

namespace Platform {
VELMAR_SDK_API WString stringToWstring(const char* text);
}

}  // namespace Velmar::SDK
