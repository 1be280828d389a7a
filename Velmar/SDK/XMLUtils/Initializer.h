#pragma once

#include <xercesc/dom/DOMImplementation.hpp>

namespace Velmar::SDK::XMLUtils {

// Process-wide: the first use makes the XML parser ready, and it is shut down when the process
// ends. The parser's start-up is not thread-safe, so a first use must not race with another
// thread's first use of the parser library. (The XPath engine starts apart: XPathEngine.)
class Initializer {
  public:
    static Initializer& instance();

    virtual ~Initializer();
    // The DOM implementation that loaders make their parsers from.
    virtual xercesc::DOMImplementation* domImplementation() const;

  private:
    Initializer();
    xercesc::DOMImplementation* implementation_ = nullptr;
};

}  // namespace Velmar::SDK::XMLUtils
