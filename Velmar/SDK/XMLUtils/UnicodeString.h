#pragma once

#include "Velmar/SDK/Templates/String.h"

namespace Velmar::SDK::XMLUtils {

// A 16-bit copy of a text given as 16-bit or as 8-bit (UTF-8) text, for handing to the DOM.
class UnicodeString {
  public:
    explicit UnicodeString(const XMLCh* text);
    explicit UnicodeString(const char* text);

    const XMLCh* utf16() const { return text_.c_str(); }

  private:
    WString text_;
};

// Stores the text's code units in the string, unchanged (a null text gives the empty string).
void utf16ToWstring(const XMLCh* text, WString& out);

}  // namespace Velmar::SDK::XMLUtils
