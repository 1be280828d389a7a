#pragma once

#include <memory>

#include <xercesc/dom/DOMDocument.hpp>

#include "Velmar/SDK/XMLUtils/SchemaParser.h"
#include "Velmar/SDK/XMLUtils/XMLFileParsing.h"

namespace Velmar::SDK::XMLUtils {

// The XML file reader's work, in the XML Schema module (XMLFileReader.h says what it does).
class XMLFileReaderImpl {
  public:
    XMLFileReaderImpl();
    const xercesc::DOMDocument& read(const char* path);

  private:
    struct Release {
        void operator()(SchemaParser* parser) const { parser->release(); }
    };
    // Readies the XML parser for the process before the members below are made.
    struct Readied {
        Readied();
    };
    // Declared in this order so that the parsing unhooks itself before the parser goes, and
    // the parser (with its documents) before the positions its nodes point at.
    Readied readied_;
    SourcePositions positions_;
    std::unique_ptr<SchemaParser, Release> parser_{new SchemaParser(positions_)};
    XMLFileParsing parsing_{"XML file"};
};

}  // namespace Velmar::SDK::XMLUtils
