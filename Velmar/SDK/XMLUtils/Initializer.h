#pragma once

#include <xercesc/dom/DOMImplementation.hpp>

namespace Velmar::SDK::XMLUtils {

// Process-wide: the first use makes the XML parser and the XPath engine ready, and both are
// shut down when the process ends. Neither library's start-up is thread-safe, so the first use
// must not race with another thread's first use of either library.
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
