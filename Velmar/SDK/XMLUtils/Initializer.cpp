#include "Velmar/SDK/XMLUtils/Initializer.h"

#include <mutex>

#include <xalanc/XPath/XPathEvaluator.hpp>
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
    if (engineStarted_) {
        xalanc::XPathEvaluator::terminate();
    }
    xercesc::XMLPlatformUtils::Terminate();
}

Initializer& Initializer::instance() {
    static Initializer initializer;
    return initializer;
}

void Initializer::startEngine() {
    static std::once_flag started;
    std::call_once(started, [this] {
        xalanc::XPathEvaluator::initialize();
        engineStarted_ = true;
    });
}

xercesc::DOMImplementation* Initializer::domImplementation() const {
    return implementation_;
}

}  // namespace Velmar::SDK::XMLUtils
