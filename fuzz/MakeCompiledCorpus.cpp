// Writes the compiled form of each schema given that loads into the folder given: the starting
// corpus of the compiled dictionary fuzzer. Schemas that do not load are passed over.
//   make_compiled_corpus FOLDER SCHEMA...
#include <cstdio>
#include <string>

#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledDictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"

int main(int argc, char** argv) {
    namespace Loading = Velmar::SDK::MetaMetadata::Loading;
    int written = 0;
    for (int i = 2; i < argc; ++i) {
        try {
            Velmar::SDK::MetaMetadata::Dictionary dictionary;
            Loading::loadDictionaryFile(argv[i], dictionary);
            std::string name = argv[i];
            for (char& c : name) {
                c = c == '/' ? '_' : c;
            }
            Loading::writeCompiledDictionary(
                dictionary, (std::string(argv[1]) + "/" + name + "c").c_str(), argv[i]);
            ++written;
        } catch (const Velmar::SDK::Exceptions::BaseException&) {
        }
    }
    std::printf("%d compiled dictionaries written\n", written);
    return 0;
}
