#pragma once

#include <xercesc/dom/DOMImplementation.hpp>

namespace Velmar::SDK::XMLUtils {

// Process-wide: the first use makes the XML parser ready, and the first query that needs the
// XPath engine makes the engine ready (most loads never need it, and its start-up costs
// milliseconds); both are shut down when the process ends. Neither library's start-up is
// thread-safe, so a first use must not race with another thread's first use of either library.
class Initializer {
  public:
    static Initializer& instance();

    virtual ~Initializer();
    // The DOM implementation that loaders make their parsers from.
    virtual xercesc::DOMImplementation* domImplementation() const;
    // Makes the XPath engine ready, once.
    void startEngine();

  private:
    Initializer();
    xercesc::DOMImplementation* implementation_ = nullptr;
    bool engineStarted_ = false;
};

}  // namespace Velmar::SDK::XMLUtils
