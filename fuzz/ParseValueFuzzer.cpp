// Fuzzes default value texts: the first byte picks the data type, the second the sub data
// type, the rest is the text (UTF-8). Refusals of the toolkit's exception family are expected
// answers; a crash, a leak, undefined behaviour or any other exception is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/ValueText.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace {
namespace SDK = Velmar::SDK;
namespace Id = SDK::Types::Identifiers;
using Impl = SDK::MetaMetadata::Loading::XSDDictionaryLoaderImpl;
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    // A little beyond 42, so that identifiers without a row are tried too.
    const auto dataType = static_cast<Id::Identifier>(data[0] % 48);
    const auto subType = static_cast<Id::Identifier>(data[1] % 48);
    const std::string text(reinterpret_cast<const char*>(data + 2), size - 2);
    try {
        auto value = Impl::parseValue(dataType, subType, SDK::Utils::stringToWstring(text.c_str()));
        const bool hasTextForm = (dataType <= 2) || (dataType >= 5 && dataType <= 9) ||
                                 dataType == 11 || dataType == 13 || dataType == 15 ||
                                 (dataType >= 17 && dataType <= 23) ||
                                 (dataType >= 25 && dataType <= 27) || dataType >= 40;
        if (hasTextForm != static_cast<bool>(value) && dataType <= 42) {
            std::abort();  // a value for a type without a text form, or none for one with it
        }
        if (value) {
            // Printing, copying and comparing must work on whatever was made.
            SDK::Types::valueText(*value);
            if (!(*value == *value)) {
                std::abort();
            }
        }
    } catch (const SDK::Exceptions::BaseException&) {
    }
    return 0;
}
