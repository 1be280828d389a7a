#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"

#include <algorithm>

#include "Velmar/SDK/MetaMetadata/Dictionary.h"

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

std::vector<std::string> stackDictionaryFile(const char* path, Dictionary& dictionary) {
    Templates::auto_ptr<Dictionary> upper(new Dictionary);
    loadDictionaryFile(path, *upper);
    return dictionary.stack(std::move(upper));
}

std::vector<std::string> loadStackedDictionaries(const std::vector<std::string>& paths,
                                                 Dictionary& dictionary) {
    std::vector<std::string> clashes;
    const bool builtinUnder = std::any_of(
        paths.begin(), paths.end(), [](const std::string& p) { return !p.empty() && p[0] == '+'; });
    bool first = !builtinUnder;
    if (builtinUnder) {
        loadBuiltinDictionary(dictionary);
    }
    for (const std::string& given : paths) {
        const std::string path = !given.empty() && given[0] == '+' ? given.substr(1) : given;
        if (first) {
            loadDictionaryFile(path.c_str(), dictionary);
            first = false;
            continue;
        }
        for (const std::string& clash : stackDictionaryFile(path.c_str(), dictionary)) {
            clashes.push_back(path + ": " + clash);
        }
    }
    return clashes;
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
