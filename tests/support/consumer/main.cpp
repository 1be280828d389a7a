// Built against the installed library only: loads a dictionary and reports what it holds.
#include <iostream>

#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

int main(int argc, char** argv) {
    using namespace Velmar::SDK;
    if (argc != 2) {
        std::cerr << "usage: consumer FILE.xsd\n";
        return 2;
    }
    MetaMetadata::Dictionary dictionary;
    try {
        MetaMetadata::Loading::XSDDictionaryLoader loader;
        loader.load(Utils::stringToWstring(argv[1]).c_str(), dictionary);
    } catch (const Exceptions::BaseException& e) {
        std::cerr << Utils::toUtf8(e.what()).c_str() << "\n";
        return 1;
    }
    std::cout << dictionary.metaElementCount() << " elements, " << dictionary.metaMetadataSetCount()
              << " sets\n";
    return 0;
}
