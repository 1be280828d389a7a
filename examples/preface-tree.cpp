// Reads an MXF file's header metadata through a dictionary and prints its sets as a tree.
#include <iostream>
#include <string>

#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

int main(int argc, char** argv) {
    using namespace Velmar;
    if (argc != 3) {
        std::cerr << "usage: preface-tree DICTIONARY.xsd FILE.mxf\n";
        return 2;
    }
    try {
        SDK::MetaMetadata::Dictionary dictionary;
        SDK::MetaMetadata::Loading::XSDDictionaryLoader loader;
        loader.load(SDK::Utils::stringToWstring(argv[1]).c_str(), dictionary);
        const MXF::HeaderMetadata header = MXF::readHeaderMetadata(argv[2], dictionary);
        for (const MXF::LocalSet& set : header.sets) {
            std::cout << std::string(2 * set.depth, ' ') << set.name() << " (" << set.items.size()
                      << " items)\n";
        }
        std::cout << header.findings.size() << " findings\n";
    } catch (const SDK::Exceptions::BaseException& e) {
        std::cerr << SDK::Utils::toUtf8(e.message()).c_str() << "\n";
        return 1;
    }
    return 0;
}
