#include "Velmar/SDK/XMLUtils/XPathEngine.h"

#include <dlfcn.h>

#include <atomic>
#include <mutex>
#include <string>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/XMLUtils/Initializer.h"
#include "Velmar/SDK/XMLUtils/MemoryManager.h"

namespace Velmar::SDK::XMLUtils {

namespace {

std::atomic<XPathEngine*> engine{nullptr};
std::mutex loading;

// Beside the library that holds this code; in the build tree for the static library.
std::string modulePath() {
#ifdef VELMAR_XPATH_MODULE_DIR
    return VELMAR_XPATH_MODULE_DIR "/" VELMAR_XPATH_MODULE;
#else
    Dl_info self{};
    if (dladdr(reinterpret_cast<void*>(&XPathEngine::loaded), &self) != 0 &&
        self.dli_fname != nullptr) {
        const std::string library(self.dli_fname);
        const auto slash = library.rfind('/');
        if (slash != std::string::npos) {
            return library.substr(0, slash + 1) + VELMAR_XPATH_MODULE;
        }
    }
    return VELMAR_XPATH_MODULE;  // the library search path
#endif
}

}  // namespace

XPathEngine& XPathEngine::instance() {
    if (XPathEngine* ready = engine.load()) {
        return *ready;
    }
    std::lock_guard<std::mutex> lock(loading);
    if (XPathEngine* ready = engine.load()) {
        return *ready;
    }
    Initializer::instance();  // the parser library first: the engine starts on top of it
    // Never unloaded.
    const std::string path = modulePath();
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    const char* problem = nullptr;
    VelmarXPathEngineEntry entry = nullptr;
    if (module == nullptr) {
        problem = dlerror();
    } else {
        entry = reinterpret_cast<VelmarXPathEngineEntry>(dlsym(module, VELMAR_XPATH_ENGINE_ENTRY));
        if (entry == nullptr) {
            problem = dlerror();
        }
    }
    if (entry == nullptr) {
        throw Exceptions::ParseError((std::string("The XPath engine could not be loaded: ") +
                                      (problem != nullptr ? problem : path.c_str()))
                                         .c_str(),
                                     __FILE__, __LINE__);
    }
    XPathEngine* started = entry(&EngineMemoryManager::instance());
    engine.store(started);
    return *started;
}

XPathEngine* XPathEngine::loaded() {
    return engine.load();
}

}  // namespace Velmar::SDK::XMLUtils
