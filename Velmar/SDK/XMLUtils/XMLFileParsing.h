#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <xercesc/dom/DOMErrorHandler.hpp>
#include <xercesc/dom/DOMLSResourceResolver.hpp>
#include <xercesc/util/SecurityManager.hpp>

#include "Velmar/SDK/XMLUtils/SchemaParser.h"

namespace Velmar::SDK::XMLUtils {

// A scheme of two letters or more ("http:", "file:"); "C:" is a drive, not a scheme.
bool isUrl(const std::string& location);

// Reads XML files with the protections every read of this library has: local files only, no
// DTD, no external entity or remote resource (each is refused without being opened), entity
// expansion bounded, and nesting bounded by the parser. Every failure is a ParseError naming
// the kind of file ("schema file"), where it is, and the line and column where the parser
// gives them.
class XMLFileParsing {
  public:
    explicit XMLFileParsing(std::string kind);
    // Takes its handlers off every parser it configured: a parser may outlive this object.
    ~XMLFileParsing();
    XMLFileParsing(const XMLFileParsing&) = delete;
    XMLFileParsing& operator=(const XMLFileParsing&) = delete;

    void configure(SchemaParser& parser);
    // The document, which belongs to the parser. where is the path as messages show it.
    xercesc::DOMDocument* parse(SchemaParser& parser, const std::filesystem::path& path,
                                const std::string& where);
    const std::string& kind() const { return kind_; }

  private:
    // Keeps the first problem the parser reports and stops the parse there.
    class ErrorCollector : public xercesc::DOMErrorHandler {
      public:
        void reset();
        bool handleError(const xercesc::DOMError& error) override;
        bool failed = false;
        std::string message;
        XMLFileLoc line = 0;
        XMLFileLoc column = 0;
    };
    // External entities are never fetched: each is recorded and read as empty, and the parse
    // is then refused.
    class RefusingResolver : public xercesc::DOMLSResourceResolver {
      public:
        xercesc::DOMLSInput* resolveResource(const XMLCh*, const XMLCh*, const XMLCh*,
                                             const XMLCh* systemId, const XMLCh*) override;
        std::string refused;
    };

    std::string kind_;
    xercesc::SecurityManager security_;
    ErrorCollector errors_;
    RefusingResolver resolver_;
    std::vector<SchemaParser*> configured_;
};

}  // namespace Velmar::SDK::XMLUtils
