// Where the library finds its XML Schema module. Built twice, like the XPath engine's loader:
// the shared library loads the module from its own folder on first need; the static archive,
// which holds the module's code itself, calls it directly.
#include <dlfcn.h>

#include <mutex>
#include <string>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDModule.h"

namespace Velmar::SDK::MetaMetadata::Loading {

#ifdef VELMAR_XSD_MODULE

namespace {

std::string modulePath() {
    Dl_info self{};
    if (dladdr(reinterpret_cast<void*>(&xsdModule), &self) != 0 && self.dli_fname != nullptr) {
        const std::string library(self.dli_fname);
        const auto slash = library.rfind('/');
        if (slash != std::string::npos) {
            return library.substr(0, slash + 1) + VELMAR_XSD_MODULE;
        }
    }
    return VELMAR_XSD_MODULE;  // the library search path
}

}  // namespace

const XSDModule& xsdModule() {
    static const XSDModule* module = nullptr;
    static std::string failure;
    static std::once_flag once;
    std::call_once(once, [] {
        const std::string path = modulePath();
        // Never unloaded: the parser's process-wide state lives until the process ends.
        void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        void* entry = handle != nullptr ? dlsym(handle, "velmar_xsd_module") : nullptr;
        if (entry != nullptr) {
            module = reinterpret_cast<const XSDModule* (*)()>(entry)();
        } else {
            const char* error = dlerror();
            failure = "Cannot load the XML Schema module " + path + ": " +
                      (error != nullptr ? error : "no entry point");
        }
    });
    if (module == nullptr) {
        VELMAR_SDK_THROW(Exceptions::ParseError, failure.c_str());
    }
    return *module;
}

#else

const XSDModule& xsdModule() {
    return *velmar_xsd_module();
}

#endif

}  // namespace Velmar::SDK::MetaMetadata::Loading
