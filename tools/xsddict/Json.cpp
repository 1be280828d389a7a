#include "Json.h"

#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

std::string jsonString(const std::string& utf8) {
    return Velmar::SDK::Utils::jsonQuoted(utf8);
}

std::string jsonString(const Velmar::SDK::WString& text) {
    const Velmar::SDK::String utf8 = Velmar::SDK::Utils::toUtf8(text);
    return jsonString(std::string(utf8.data(), utf8.size()));
}

std::string jsonPath(const std::string& path) {
    return jsonString(Velmar::SDK::Utils::stringToWstring(path.c_str()));
}

std::string jsonString(const XMLCh* text) {
    return jsonString(Velmar::SDK::WString(text != nullptr ? text : u""));
}

}  // namespace xsddict
