// Where the built-in dictionary lies. Built twice, like the XPath engine's loader: the shared
// library looks beside itself, where the package installs it (the build tree lays libraries and
// data out alike); the static archive, which tests and fuzzers link, in its build tree.
#include <dlfcn.h>

#include <filesystem>

#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"

#ifndef VELMAR_BUILTIN_DICTIONARY_NAME
#define VELMAR_BUILTIN_DICTIONARY_NAME "velmar-xsddictionary/registers.xsdc"
#endif

namespace Velmar::SDK::MetaMetadata::Loading {

String builtinDictionaryPath() {
#ifdef VELMAR_BUILTIN_DICTIONARY_DIR
    return String(VELMAR_BUILTIN_DICTIONARY_DIR "/" VELMAR_BUILTIN_DICTIONARY_NAME);
#else
    // From the library's folder to the data folder, as installed (e.g. "../share").
    Dl_info self{};
    if (dladdr(reinterpret_cast<void*>(&builtinDictionaryPath), &self) != 0 &&
        self.dli_fname != nullptr) {
        // Lexically, as the package lays it out: prefix/lib/../share is prefix/share even
        // where lib is a link elsewhere.
        const std::filesystem::path path = std::filesystem::path(self.dli_fname).parent_path() /
                                           VELMAR_LIBRARY_TO_DATA / VELMAR_BUILTIN_DICTIONARY_NAME;
        return String(path.lexically_normal().c_str());
    }
    return String(VELMAR_LIBRARY_TO_DATA "/" VELMAR_BUILTIN_DICTIONARY_NAME);
#endif
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
