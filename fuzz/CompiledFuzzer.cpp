// Fuzzes the compiled dictionary reader. Each input is loaded as it is, which exercises the
// header's checks, and again with its content size and checksum made right, so that mutations
// reach the content's reader rather than all stopping at the checksum. A refusal of the
// toolkit's family is an expected answer; a crash, a hang, a leak, undefined behaviour or an
// allocation the input's size does not justify is a finding, and so is a dictionary that does
// not compile back to what loads the same.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledDictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledFormat.h"

namespace {

namespace Loading = Velmar::SDK::MetaMetadata::Loading;
using Velmar::SDK::MetaMetadata::Dictionary;

void put(std::vector<unsigned char>& bytes, std::size_t at, std::uint64_t value) {
    for (int i = 0; i < 8; ++i) {
        bytes[at + i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

void loadAndRecompile(const unsigned char* data, std::size_t size) {
    Dictionary dictionary;
    try {
        Loading::loadCompiledDictionary(data, size, dictionary, "fuzz");
    } catch (const Velmar::SDK::Exceptions::BaseException&) {
        return;
    }
    // What loaded compiles, and its compiled form loads and compiles to the same bytes.
    const auto once = Loading::compileDictionary(dictionary, "");
    Dictionary again;
    Loading::loadCompiledDictionary(once.data(), once.size(), again);
    if (Loading::compileDictionary(again, "") != once) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    namespace Compiled = Loading::Compiled;
    loadAndRecompile(data, size);
    if (size >= Compiled::kHeaderSize) {
        std::vector<unsigned char> sealed(data, data + size);
        const std::size_t content = size - Compiled::kHeaderSize;
        put(sealed, 16, content);
        put(sealed, 24, Compiled::checksum(sealed.data() + Compiled::kHeaderSize, content));
        loadAndRecompile(sealed.data(), sealed.size());
    }
    return 0;
}
