#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"

#include <cstdio>

#include "Velmar/SDK/MetaMetadata/Loading/CompiledDictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::SDK::MetaMetadata::Loading {

bool isCompiledDictionaryFile(const char* path) {
    if (path == nullptr) {
        return false;
    }
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr) {
        return false;
    }
    unsigned char head[8];
    const std::size_t got = std::fread(head, 1, sizeof head, file);
    std::fclose(file);
    return hasCompiledDictionarySignature(head, got);
}

void loadDictionaryFile(const char* path, Dictionary& dictionary) {
    if (isCompiledDictionaryFile(path)) {
        loadCompiledDictionary(path, dictionary);
        return;
    }
    XSDDictionaryLoader loader;
    loader.load(Utils::bytesToWstring(path != nullptr ? path : "").c_str(), dictionary);
}

void loadBuiltinDictionary(Dictionary& dictionary) {
    loadCompiledDictionary(builtinDictionaryPath().c_str(), dictionary);
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
