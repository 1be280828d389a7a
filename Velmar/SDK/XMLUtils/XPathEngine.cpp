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
    // Found by the run path of whoever links the library: beside the shared library, or in
    // the build tree for programs linked with the static one. Never unloaded.
    void* module = dlopen(VELMAR_XPATH_MODULE, RTLD_NOW | RTLD_LOCAL);
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
                                      (problem != nullptr ? problem : VELMAR_XPATH_MODULE))
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
