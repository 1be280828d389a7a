// What both ways of decoding read alike: numbers, texts, and the small records every file has.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "BigEndian.h"
#include "Decoding.h"

namespace Velmar::MXF::Values {

using Model::Value;

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xc0 | c >> 6);
        out += static_cast<char>(0x80 | (c & 0x3f));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xe0 | c >> 12);
        out += static_cast<char>(0x80 | (c >> 6 & 0x3f));
        out += static_cast<char>(0x80 | (c & 0x3f));
    } else {
        out += static_cast<char>(0xf0 | c >> 18);
        out += static_cast<char>(0x80 | (c >> 12 & 0x3f));
        out += static_cast<char>(0x80 | (c >> 6 & 0x3f));
        out += static_cast<char>(0x80 | (c & 0x3f));
    }
}

std::string decodeText(const std::uint8_t* b, std::size_t size, TextEncoding encoding,
                       bool& replaced) {
    constexpr char32_t kReplacement = 0xfffd;
    std::string out;
    out.reserve(size);
    if (encoding == TextEncoding::UTF16BE) {
        std::size_t end = size & ~std::size_t{1};
        while (end >= 2 && b[end - 2] == 0 && b[end - 1] == 0) {
            end -= 2;  // trailing NULs
        }
        for (std::size_t i = 0; i < end; i += 2) {
            char32_t c = static_cast<char32_t>(b[i] << 8 | b[i + 1]);
            if (c >= 0xd800 && c <= 0xdbff && i + 3 < end) {
                const char32_t low = static_cast<char32_t>(b[i + 2] << 8 | b[i + 3]);
                if (low >= 0xdc00 && low <= 0xdfff) {
                    c = 0x10000 + ((c - 0xd800) << 10) + (low - 0xdc00);
                    i += 2;
                }
            }
            if (c >= 0xd800 && c <= 0xdfff) {
                c = kReplacement;
                replaced = true;
            }
            appendUtf8(out, c);
        }
        return out;
    }
    std::size_t end = size;
    while (end > 0 && b[end - 1] == 0) {
        --end;
    }
    for (std::size_t i = 0; i < end;) {
        const std::uint8_t lead = b[i];
        if (lead < 0x80) {
            out += static_cast<char>(lead);
            ++i;
            continue;
        }
        // A sequence of its lead's length, each continuation 10xxxxxx, in the shortest form and
        // within Unicode; anything else is one replaced byte. ISO 646 has no byte over 7f.
        const std::size_t length = encoding == TextEncoding::ISO7 ? 0
                                   : lead >= 0xc2 && lead <= 0xdf ? 2
                                   : lead >= 0xe0 && lead <= 0xef ? 3
                                   : lead >= 0xf0 && lead <= 0xf4 ? 4
                                                                  : 0;
        // The continuation bytes that fit (the second within its lead's range); a sequence cut
        // short is one U+FFFD for what it has, as Unicode's maximal subparts count.
        std::size_t fitting = 0;
        for (std::size_t k = 1; k < length && i + k < end; ++k) {
            const std::uint8_t c = b[i + k];
            const std::uint8_t low = k > 1          ? 0x80
                                     : lead == 0xe0 ? 0xa0
                                     : lead == 0xf0 ? 0x90
                                                    : 0x80;
            const std::uint8_t high = k > 1          ? 0xbf
                                      : lead == 0xed ? 0x9f
                                      : lead == 0xf4 ? 0x8f
                                                     : 0xbf;
            if (c < low || c > high) {
                break;
            }
            ++fitting;
        }
        if (length == 0 || fitting + 1 != length) {
            appendUtf8(out, kReplacement);
            replaced = true;
            i += 1 + fitting;
            continue;
        }
        out.append(reinterpret_cast<const char*>(b + i), length);
        i += length;
    }
    return out;
}

Value stringList(const std::uint8_t* bytes, std::size_t size, bool& replaced) {
    std::vector<Value> names;
    std::size_t start = 0;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        if (bytes[i] == 0 && bytes[i + 1] == 0) {
            names.push_back(
                Value::text(decodeText(bytes + start, i - start, TextEncoding::UTF16BE, replaced)));
            start = i + 2;
        }
    }
    if (start + 1 < size) {
        names.push_back(
            Value::text(decodeText(bytes + start, size - start, TextEncoding::UTF16BE, replaced)));
    }
    return Value::list(std::move(names));
}

std::optional<Value> integerValue(const std::uint8_t* b, std::size_t size, bool isSigned) {
    if (size == 0 || size > 8) {
        return std::nullopt;
    }
    const std::uint64_t u = bigEndian(b, size);
    if (!isSigned) {
        return Value::unsignedInteger(u);
    }
    const unsigned shift = static_cast<unsigned>(64 - 8 * size);
    return Value::signedInteger(static_cast<std::int64_t>(u << shift) >> shift);
}

std::optional<Value> floatValue(const std::uint8_t* b, std::size_t size) {
    double value = 0;
    if (size == 8) {
        const std::uint64_t bits = bigEndian(b, 8);
        std::memcpy(&value, &bits, 8);
    } else if (size == 4) {
        const auto bits = static_cast<std::uint32_t>(bigEndian(b, 4));
        float f;
        std::memcpy(&f, &bits, 4);
        value = f;
    } else if (size == 2) {  // IEEE 754 half precision
        const auto bits = static_cast<unsigned>(bigEndian(b, 2));
        const int exponent = static_cast<int>(bits >> 10 & 0x1f);
        const double fraction = bits & 0x3ff;
        if (exponent == 31) {
            return std::nullopt;
        }
        value =
            exponent == 0 ? std::ldexp(fraction, -24) : std::ldexp(fraction + 1024, exponent - 25);
        value = (bits & 0x8000) != 0 ? -value : value;
    } else {
        return std::nullopt;
    }
    // JSON and XML have no text for these.
    if (value != value || value - value != 0) {
        return std::nullopt;
    }
    return Value::floatingPoint(value, static_cast<unsigned>(size));
}

Value timestampValue(const std::uint8_t* b) {
    char text[40];
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03u",
                  static_cast<unsigned>(bigEndian(b, 2)), b[2], b[3], b[4], b[5], b[6], b[7] * 4u);
    return Value::text(text);
}

Value rationalValue(const std::uint8_t* b) {
    return Value::list({Value::signedInteger(static_cast<std::int32_t>(bigEndian(b, 4))),
                        Value::signedInteger(static_cast<std::int32_t>(bigEndian(b + 4, 4)))});
}

Value versionValue(const std::uint8_t* b) {
    return Value::text(std::to_string(b[0]) + "." + std::to_string(b[1]));
}

}  // namespace Velmar::MXF::Values
