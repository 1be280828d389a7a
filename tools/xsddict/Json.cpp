#include "Json.h"

#include <cstdio>

#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

std::string jsonString(const std::string& utf8) {
    std::string out = "\"";
    out.reserve(utf8.size() + 2);
    for (const char c : utf8) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                    out += escaped;
                } else {
                    out += c;
                }
        }
    }
    return out + "\"";
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
