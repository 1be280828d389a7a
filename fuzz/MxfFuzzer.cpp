// Fuzzes the MXF reader and the RegXML writer: the input is a file, read through the register
// dictionary named by VELMAR_FUZZ_DICTIONARY (whose registered types decode every value; the
// sample dictionary, which has none, when unset), once as a plain read and once walking every
// KLV, and what is read is written as RegXML. A refusal is an expected answer; a crash, a
// hang, a leak, undefined behaviour, an allocation the input's size does not justify, or any
// other exception is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>

#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/MXF/RegXML.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Velmar::SDK::MetaMetadata::Dictionary* dictionary = [] {
        auto* loaded = new Velmar::SDK::MetaMetadata::Dictionary;
        const char* path = std::getenv("VELMAR_FUZZ_DICTIONARY");
        Velmar::SDK::MetaMetadata::Loading::loadDictionaryFile(
            path != nullptr ? path : VELMAR_SAMPLE_DICTIONARY, *loaded);
        return loaded;
    }();
    for (const bool walk : {false, true}) {
        try {
            const Velmar::MXF::HeaderMetadata header =
                Velmar::MXF::readHeaderMetadata(data, size, *dictionary, {walk});
            if (!walk) {
                std::ostringstream document;
                Velmar::MXF::writeRegXML(document, header, *dictionary);
            }
        } catch (const Velmar::MXF::FileRefused&) {
        }
    }
    return 0;
}
