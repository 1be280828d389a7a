#include "Velmar/SDK/XMLUtils/Initializer.h"

#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "Velmar/SDK/XMLUtils/MemoryManager.h"

namespace Velmar::SDK::XMLUtils {

Initializer::Initializer() {
    xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, nullptr,
                                          &MemoryManager::instance());
    implementation_ = xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
}

Initializer::~Initializer() {
    xercesc::XMLPlatformUtils::Terminate();
}

Initializer& Initializer::instance() {
    static Initializer initializer;
    return initializer;
}

xercesc::DOMImplementation* Initializer::domImplementation() const {
    return implementation_;
}

}  // namespace Velmar::SDK::XMLUtils
