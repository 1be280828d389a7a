// Fuzzes the whole load: the input is a schema file. A refusal of the toolkit's exception
// family is an expected answer; a crash, a hang, a leak, undefined behaviour or any other
// exception is a finding.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The loader reads files, so each input becomes one, in a folder of this process's own.
    static const std::string path = "/tmp/velmar-load-fuzzer-" + std::to_string(getpid()) + ".xsd";
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    Velmar::SDK::MetaMetadata::Dictionary dictionary;
    try {
        Velmar::SDK::MetaMetadata::Loading::XSDDictionaryLoader loader;
        loader.load(Velmar::SDK::Utils::stringToWstring(path.c_str()).c_str(), dictionary);
    } catch (const Velmar::SDK::Exceptions::BaseException&) {
    }
    return 0;
}
