#include "Velmar/SDK/XMLUtils/UnicodeString.h"

#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::SDK::XMLUtils {

UnicodeString::UnicodeString(const XMLCh* text) : text_(text != nullptr ? text : u"") {}
UnicodeString::UnicodeString(const char* text) : text_(Utils::stringToWstring(text)) {}

void utf16ToWstring(const XMLCh* text, WString& out) {
    out.assign(text != nullptr ? text : u"");
}

}  // namespace Velmar::SDK::XMLUtils
