// Reads an MXF file's header metadata and prints its sets as a tree, through the register
// dictionary the package carries or through the dictionary given (a schema or compiled).
#include <iostream>
#include <string>

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"
#include "Velmar/SDK/Utils/StringConversion.h"

int main(int argc, char** argv) {
    using namespace Velmar;
    if (argc != 2 && argc != 3) {
        std::cerr << "usage: preface-tree FILE.mxf [DICTIONARY]\n";
        return 2;
    }
    try {
        SDK::MetaMetadata::Dictionary dictionary;
        if (argc == 3) {
            SDK::MetaMetadata::Loading::loadDictionaryFile(argv[2], dictionary);
        } else {
            SDK::MetaMetadata::Loading::loadBuiltinDictionary(dictionary);
        }
        const MXF::Model::HeaderMetadata header =
            MXF::Reading::readHeaderMetadata(argv[1], dictionary);
        for (const MXF::Model::LocalSet& set : header.sets) {
            std::cout << std::string(2 * set.depth, ' ') << set.name() << " (" << set.items.size()
                      << " items)\n";
        }
        std::cout << header.findings.size() << " findings\n";
    } catch (const SDK::Exceptions::BaseException& e) {  // MXF::Model::FileRefused among them
        std::cerr << SDK::Utils::toUtf8(e.message()).c_str() << "\n";
        return 1;
    }
    return 0;
}
