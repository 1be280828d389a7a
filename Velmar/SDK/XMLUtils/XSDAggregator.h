#pragma once

#include <vector>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/XMLUtils/SchemaParser.h"

namespace Velmar::SDK::XMLUtils {

// Merges a schema file and every file it includes into one stand-alone xs:schema document.
//
// The file read is folder + "/" + file name. xs:include, xs:redefine and xs:import elements
// with a schemaLocation are followed relative to the including file's folder; the included
// file's top-level components take the include element's place, so document order is reading
// order. Each file is read once (by its resolved path), so cycles end. Prefixes that an
// included root declares and the main root lacks are added to the main root. CDATA sections
// become text. Nothing is read from the network, no DTD or external entity is loaded, and
// entity expansion is bounded. Any failure is a ParseError naming the file (and the line and
// column where the parser gives them). The parser records where each declaration stands, in
// every file read.
class XSDAggregator {
  public:
    XSDAggregator(const XMLCh* folder, const XMLCh* fileName);
    ~XSDAggregator();
    XSDAggregator(const XSDAggregator&) = delete;
    XSDAggregator& operator=(const XSDAggregator&) = delete;

    // The document belongs to the parser: it goes when the parser is released. The parser is
    // configured for reading schemas as a side effect.
    xercesc::DOMDocument* createStandAloneSchemaDocument(SchemaParser& parser);
    // The merged root's children in order, when they are all elements; else null. Valid until
    // the document changes.
    const std::vector<xercesc::DOMElement*>* topLevelElements() const {
        return topLevelComplete_ ? &topLevel_ : nullptr;
    }

  private:
    WString folder_;
    WString fileName_;
    std::vector<xercesc::DOMElement*> topLevel_;
    bool topLevelComplete_ = false;
};

}  // namespace Velmar::SDK::XMLUtils
