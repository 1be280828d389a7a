#pragma once

#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Templates/String.h"

namespace Velmar::SDK {

namespace Utils {

// 8-bit texts are read as UTF-8; a byte that starts no valid sequence becomes U+FFFD.
VELMAR_SDK_API WString stringToWstring(const char* text);

// Narrows to one byte per code unit (ISO 8859-1): units above 0xFF become '?'. This is the form
// the 8-bit string types store.
VELMAR_SDK_API String wstringToString(const XMLCh* text);

// UTF-16 to UTF-8 for output; an unpaired surrogate becomes U+FFFD.
VELMAR_SDK_API String toUtf8(const XMLCh* text);
VELMAR_SDK_API String toUtf8(const XMLCh* text, std::size_t length);
inline String toUtf8(const WString& text) {
    return toUtf8(text.data(), text.size());
}

}  // namespace Utils

namespace Platform {
VELMAR_SDK_API WString stringToWstring(const char* text);
}

}  // namespace Velmar::SDK
