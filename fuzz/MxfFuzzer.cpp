// Fuzzes the MXF reader: the input is a file, read through the sample dictionary, once as a
// plain read and once walking every KLV. A refusal is
// an expected answer; a crash, a hang, a leak, undefined behaviour, an allocation the input's
// size does not justify, or any other exception is a finding.
#include <cstddef>
#include <cstdint>

#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Velmar::SDK::MetaMetadata::Dictionary* dictionary = [] {
        auto* loaded = new Velmar::SDK::MetaMetadata::Dictionary;
        Velmar::SDK::MetaMetadata::Loading::XSDDictionaryLoader loader;
        loader.load(Velmar::SDK::Utils::stringToWstring(VELMAR_SAMPLE_DICTIONARY).c_str(), *loaded);
        return loaded;
    }();
    for (const bool walk : {false, true}) {
        try {
            Velmar::MXF::readHeaderMetadata(data, size, *dictionary, {walk});
        } catch (const Velmar::MXF::FileRefused&) {
        }
    }
    return 0;
}
