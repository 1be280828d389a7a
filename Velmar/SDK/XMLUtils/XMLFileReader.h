#pragma once

#include <memory>

#include <xercesc/dom/DOMDocument.hpp>

#include "Velmar/SDK/Platform/Export.h"

namespace Velmar::SDK::XMLUtils {

// Reads one XML file into a DOM with the protections the dictionary loader reads schemas with:
// the path goes to the operating system as given, never to the network; no DTD, external entity
// or remote resource is loaded (a file that needs one is refused); entity expansion and element
// nesting are bounded. For programs that read other XML beside a dictionary, such as register
// files.
class VELMAR_SDK_API XMLFileReader {
  public:
    // Readies the XML parser for the process, as loading a dictionary does.
    XMLFileReader();
    ~XMLFileReader();
    XMLFileReader(const XMLFileReader&) = delete;
    XMLFileReader& operator=(const XMLFileReader&) = delete;

    // The document belongs to the reader until its next read or its end. A file that cannot
    // be read or is not well-formed XML is a ParseError naming the file, and the line and
    // column where the parser gives them.
    const xercesc::DOMDocument& read(const char* path);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace Velmar::SDK::XMLUtils
