// Loads a dictionary and looks an element up by universal label and by local tag.
#include <iostream>

#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

int main(int argc, char** argv) {
    using namespace Velmar::SDK;
    if (argc != 2) {
        std::cerr << "usage: lookup DICTIONARY.xsd\n";
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

    const Types::UniversalLabel instanceUid(u"06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.00",
                                            Types::Dotted);
    const Types::LocalTag tag(u"3c.0a", Types::Dotted);
    const MetaMetadata::MetaElement* byLabel = dictionary.metaElement(instanceUid);
    const MetaMetadata::MetaElement* byTag = dictionary.metaElementByLocalTag(tag);
    if (byLabel == nullptr || byTag != byLabel) {
        std::cerr << "Instance UID not found\n";
        return 1;
    }
    std::cout << Utils::toUtf8(byLabel->getProperty(u"name")).c_str() << " is "
              << Types::Identifiers::identifierToString(byLabel->dataType()) << ", local tag "
              << Utils::toUtf8(dictionary.localTag(instanceUid)->toString(Types::Dotted)).c_str()
              << "; " << dictionary.metaElementCount() << " elements, "
              << dictionary.metaMetadataSetCount() << " sets\n";
    return 0;
}
