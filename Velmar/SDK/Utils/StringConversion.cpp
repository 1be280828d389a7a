#include "Velmar/SDK/Utils/StringConversion.h"

#include <cstdint>
#include <cstdio>

namespace Velmar::SDK {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void appendUtf16(WString& out, char32_t c) {
    if (c >= 0x10000) {
        c -= 0x10000;
        out.push_back(static_cast<XMLCh>(0xD800 + (c >> 10)));
        out.push_back(static_cast<XMLCh>(0xDC00 + (c & 0x3FF)));
    } else {
        out.push_back(static_cast<XMLCh>(c));
    }
}

void appendUtf8(String& out, char32_t c) {
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (c >> 6)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (c >> 12)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (c >> 18)));
        out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

enum class Invalid { Replace, Escape };

WString decodeUtf8(const char* text, Invalid invalid) {
    WString out;
    if (text == nullptr) {
        return out;
    }
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    while (*p != 0) {
        unsigned char lead = *p;
        int trail = lead < 0x80           ? 0
                    : (lead >> 5) == 0x6  ? 1
                    : (lead >> 4) == 0xE  ? 2
                    : (lead >> 3) == 0x1E ? 3
                                          : -1;
        const XMLCh escaped =
            invalid == Invalid::Escape ? static_cast<XMLCh>(0xDC00 + lead) : XMLCh{kReplacement};
        if (trail < 0) {
            out.push_back(escaped);
            ++p;
            continue;
        }
        char32_t c = trail == 0 ? lead : lead & (0x3F >> trail);
        int i = 1;
        for (; i <= trail && (p[i] & 0xC0) == 0x80; ++i) {
            c = (c << 6) | (p[i] & 0x3F);
        }
        static constexpr char32_t kMinimum[] = {0, 0x80, 0x800, 0x10000};
        bool valid =
            i == trail + 1 && c >= kMinimum[trail] && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
        if (valid) {
            appendUtf16(out, c);
            p += i;
        } else if (invalid == Invalid::Escape) {
            out.push_back(escaped);  // the rest of the sequence is read again, byte by byte
            ++p;
        } else {
            out.push_back(static_cast<XMLCh>(kReplacement));
            p += i;
        }
    }
    return out;
}

}  // namespace

WString Utils::stringToWstring(const char* text) {
    return decodeUtf8(text, Invalid::Replace);
}

WString Utils::bytesToWstring(const char* text) {
    return decodeUtf8(text, Invalid::Escape);
}

String Utils::wstringToBytes(const XMLCh* text) {
    String out;
    for (; text != nullptr && *text != 0; ++text) {
        if (*text >= 0xDC80 && *text <= 0xDCFF) {
            out.push_back(static_cast<char>(*text - 0xDC00));
            continue;
        }
        std::size_t length = 1;
        if (*text >= 0xD800 && *text <= 0xDBFF && text[1] >= 0xDC00 && text[1] <= 0xDFFF) {
            length = 2;
        }
        out += toUtf8(text, length);
        text += length - 1;
    }
    return out;
}

String Utils::wstringToString(const XMLCh* text) {
    String out;
    for (; text != nullptr && *text != 0; ++text) {
        out.push_back(*text <= 0xFF ? static_cast<char>(*text) : '?');
    }
    return out;
}

String Utils::toUtf8(const XMLCh* text, std::size_t length) {
    String out;
    out.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < length && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = kReplacement;
        }
        appendUtf8(out, c);
    }
    return out;
}

String Utils::toUtf8(const XMLCh* text) {
    std::size_t length = 0;
    while (text != nullptr && text[length] != 0) {
        ++length;
    }
    return toUtf8(text, length);
}

WString Platform::stringToWstring(const char* text) {
    return Utils::stringToWstring(text);
}

std::string Utils::xmlEscaped(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    for (const char c : utf8) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string Utils::jsonQuoted(std::string_view utf8) {
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

}  // namespace Velmar::SDK
