#pragma once

// XMLCh is the parser's 16-bit code unit (char16_t on every supported platform); the model's
// text uses it so that schema text reaches the dictionary without conversion.
#include <xercesc/util/XercesDefs.hpp>
