#include "WellFormed.h"

#include <memory>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>

namespace {

std::string text(const XMLCh* value) {
    char* bytes = xercesc::XMLString::transcode(value);
    std::string out(bytes);
    xercesc::XMLString::release(&bytes);
    return out;
}

}  // namespace

std::string wellFormed(const std::string& xml) {
    static const bool initialized = [] {
        xercesc::XMLPlatformUtils::Initialize();
        return true;
    }();
    (void)initialized;
    xercesc::XercesDOMParser parser;
    parser.setDoNamespaces(true);
    parser.setValidationScheme(xercesc::XercesDOMParser::Val_Never);
    parser.setLoadExternalDTD(false);
    xercesc::HandlerBase handler;  // throws on every error
    parser.setErrorHandler(&handler);
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(),
                                      "document");
    try {
        parser.parse(source);
    } catch (const xercesc::SAXParseException& e) {
        return "line " + std::to_string(e.getLineNumber()) + ", column " +
               std::to_string(e.getColumnNumber()) + ": " + text(e.getMessage());
    } catch (const xercesc::XMLException& e) {
        return text(e.getMessage());
    }
    return parser.getDocument() != nullptr && parser.getDocument()->getDocumentElement() != nullptr
               ? ""
               : "no document element";
}
