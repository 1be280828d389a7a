#pragma once

#include "Velmar/SDK/Templates/String.h"

#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DOMException;
class UTFDataFormatException;
class SAXException;
class XMLException;
XERCES_CPP_NAMESPACE_END

namespace Velmar::SDK::XMLUtils {

// Messages for the parser's exceptions, as the loader reports them:
//   "DOMException:: <message>(<code>)"
//   "class xercesc_3_2::SAXException: <message>" (likewise the other parser exceptions, always
//       naming the class caught, not the exception's own class)
// The XPath engine describes its own ("XalanXPathException:: <message>", "XSLException::
// <message>", "XalanDOMException:: DOM error(<code>)"): XPathEngine.
WString describeException(const xercesc::DOMException& e);
WString describeException(const xercesc::UTFDataFormatException& e);
WString describeException(const xercesc::SAXException& e);
WString describeException(const xercesc::XMLException& e);

// Each throws a ParseError carrying describeException's text.
[[noreturn]] void throwParseError(const xercesc::DOMException& e);
[[noreturn]] void throwParseError(const xercesc::UTFDataFormatException& e);
[[noreturn]] void throwParseError(const xercesc::SAXException& e);
[[noreturn]] void throwParseError(const xercesc::XMLException& e);

// Call from a catch (...) block: rethrows the exception in flight as the toolkit sees it. The
// toolkit's own exceptions leave unchanged, the parser's and the engine's as ParseError with
// the text above, and anything else as ParseError "Unknown error in Xerces or XQilla" at the
// given source position.
[[noreturn]] void translateCurrentException(const char* sourceFile, int sourceLine);

}  // namespace Velmar::SDK::XMLUtils
