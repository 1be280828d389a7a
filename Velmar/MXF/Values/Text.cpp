// Values' text forms: hexadecimal and dotted bytes for JSON and the text output, and RegXML's
// forms of each registered type.

#include "Velmar/MXF/Values/Text.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "Decoding.h"

namespace Velmar::MXF::Values {

namespace {

// Two lowercase digits a byte, with the separator (if any) between neighbours. By table: most
// of what a read prints is labels and identifiers, and a formatted print per byte showed.
std::string hexBytes(const std::uint8_t* bytes, std::size_t size, char separator) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out(size == 0 ? 0 : size * (separator != 0 ? 3 : 2) - (separator != 0), '\0');
    char* at = out.data();
    for (std::size_t i = 0; i < size; ++i) {
        if (i != 0 && separator != 0) {
            *at++ = separator;
        }
        *at++ = kDigits[bytes[i] >> 4];
        *at++ = kDigits[bytes[i] & 0x0f];
    }
    return out;
}

// Groups of 8 digits separated by dots.
std::string grouped(const std::uint8_t* bytes, std::size_t size) {
    const std::string digits = plainHex(bytes, size);
    std::string out;
    for (std::size_t i = 0; i < digits.size(); i += 8) {
        out += (i ? "." : "") + digits.substr(i, 8);
    }
    return out;
}

std::string twoDigits(unsigned value) {
    return std::string(1, static_cast<char>('0' + value / 10 % 10)) +
           static_cast<char>('0' + value % 10);
}

// The code point of the UTF-8 sequence at `at` and its length; a byte that starts no sequence
// is itself, of length 1 (the reader's texts are UTF-8 already; this keeps a stray one seen).
std::pair<std::uint32_t, std::size_t> codePoint(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(at);
    const std::size_t length = first < 0x80    ? 1
                               : first >= 0xf0 ? 4
                               : first >= 0xe0 ? 3
                               : first >= 0xc0 ? 2
                                               : 0;
    if (length <= 1 || at + length > text.size()) {
        return {first, 1};
    }
    std::uint32_t value = first & (0x7f >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xc0) != 0x80) {
            return {first, 1};
        }
        value = value << 6 | (byte(at + i) & 0x3f);
    }
    return {value, length};
}

bool kept(std::uint32_t c) {
    return c == 0x9 || c == 0xa || (c >= 0x20 && c <= 0x23) ||
           (c >= 0x25 && c != 0xfffe && c != 0xffff && !(c >= 0xd800 && c <= 0xdfff) &&
            c <= 0x10ffff);
}

}  // namespace

std::string dottedHex(const std::uint8_t* bytes, std::size_t size) {
    return hexBytes(bytes, size, '.');
}

std::string tagText(std::uint16_t tag) {
    const std::uint8_t bytes[2] = {static_cast<std::uint8_t>(tag >> 8),
                                   static_cast<std::uint8_t>(tag & 0xff)};
    return dottedHex(bytes, 2);
}

std::string plainHex(const std::uint8_t* bytes, std::size_t size) {
    return hexBytes(bytes, size, 0);
}

std::string uuidText(const std::array<std::uint8_t, 16>& bytes) {
    const std::string hex = plainHex(bytes.data(), bytes.size());
    return hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-" + hex.substr(12, 4) + "-" +
           hex.substr(16, 4) + "-" + hex.substr(20);
}

namespace RegXMLText {

std::string integer(std::int64_t value) {
    return std::to_string(value);
}

std::string integer(std::uint64_t value) {
    return std::to_string(value);
}

std::string boolean(bool value) {
    return value ? "True" : "False";
}

std::string ul(const std::uint8_t* bytes16) {
    return "urn:smpte:ul:" + grouped(bytes16, 16);
}

std::string uuid(const std::uint8_t* bytes16) {
    const std::string d = plainHex(bytes16, 16);
    return "urn:uuid:" + d.substr(0, 8) + "-" + d.substr(8, 4) + "-" + d.substr(12, 4) + "-" +
           d.substr(16, 4) + "-" + d.substr(20);
}

std::string auid(const std::uint8_t* bytes16) {
    if ((bytes16[0] & 0x80) == 0) {
        return ul(bytes16);
    }
    std::uint8_t swapped[16];
    for (int i = 0; i < 8; ++i) {
        swapped[i] = bytes16[8 + i];
        swapped[8 + i] = bytes16[i];
    }
    return uuid(swapped);
}

std::string umid(const std::uint8_t* bytes, std::size_t size) {
    return "urn:smpte:umid:" + grouped(bytes, size);
}

std::string timestamp(const std::uint8_t* b) {
    char year[8];
    std::snprintf(year, sizeof year, "%04u", static_cast<unsigned>(b[0] << 8 | b[1]));
    std::string text = std::string(year) + "-" + twoDigits(b[2]) + "-" + twoDigits(b[3]) + "T" +
                       twoDigits(b[4]) + ":" + twoDigits(b[5]) + ":" + twoDigits(b[6]);
    if (b[7] != 0) {
        char ms[8];
        std::snprintf(ms, sizeof ms, ".%03u", 4u * b[7]);
        text += ms;
    }
    return text + "Z";
}

std::string rational(std::int32_t numerator, std::int32_t denominator) {
    return std::to_string(numerator) + "/" + std::to_string(denominator);
}

std::string real(double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? "INF" : "-INF";
    }
    if (value == 0) {
        return std::signbit(value) ? "-0.0" : "0.0";
    }
    // The shortest digits that read back, and their exponent, as d.ddde±n.
    char buffer[64];
    const auto done =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific);
    const std::string scientific(buffer, done.ptr);
    const std::size_t e = scientific.find('e');
    std::string mantissa = scientific.substr(0, e);
    const int exponent = std::atoi(scientific.c_str() + e + 1);
    const bool negative = mantissa[0] == '-';
    if (negative) {
        mantissa.erase(0, 1);
    }
    std::string digits;
    for (char c : mantissa) {
        if (c != '.') {
            digits += c;
        }
    }
    const double magnitude = std::fabs(value);
    std::string out = negative ? "-" : "";
    if (magnitude >= 1e-3 && magnitude < 1e7) {
        if (exponent >= 0) {
            const std::size_t whole = static_cast<std::size_t>(exponent) + 1;
            if (digits.size() <= whole) {
                out += digits + std::string(whole - digits.size(), '0') + ".0";
            } else {
                out += digits.substr(0, whole) + "." + digits.substr(whole);
            }
        } else {
            out += "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
        }
        return out;
    }
    out += digits.substr(0, 1) + "." + (digits.size() > 1 ? digits.substr(1) : "0");
    return out + "E" + std::to_string(exponent);
}

Escaped escape(std::string_view utf8) {
    Escaped result;
    result.text.reserve(utf8.size());
    for (std::size_t at = 0; at < utf8.size();) {
        const auto [c, length] = codePoint(utf8, at);
        if (kept(c)) {
            result.text.append(utf8.substr(at, length));
        } else {
            char code[16];
            std::snprintf(code, sizeof code, "$#x%x;", static_cast<unsigned>(c));
            result.text += code;
            result.escaped = true;
        }
        at += length;
    }
    return result;
}

std::string unescape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find(';', at);
        if (text.compare(at, 3, "$#x") == 0 && end != std::string_view::npos && end > at + 3 &&
            end - at <= 9) {
            std::uint32_t c = 0;
            bool good = true;
            for (std::size_t i = at + 3; i < end; ++i) {
                const char d = text[i];
                const int v = d >= '0' && d <= '9'   ? d - '0'
                              : d >= 'a' && d <= 'f' ? d - 'a' + 10
                              : d >= 'A' && d <= 'F' ? d - 'A' + 10
                                                     : -1;
                good = good && v >= 0;
                c = c << 4 | static_cast<std::uint32_t>(v < 0 ? 0 : v);
            }
            if (good && c <= 0x10ffff) {
                appendUtf8(out, c);
                at = end + 1;
                continue;
            }
        }
        out += text[at++];
    }
    return out;
}

}  // namespace RegXMLText

}  // namespace Velmar::MXF::Values
