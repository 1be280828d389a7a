#include "Html.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ostream>

#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Report {

extern const char* const kStyle;

namespace {

bool isControl(char c) {
    const auto u = static_cast<unsigned char>(c);
    return (u < 0x20 && c != '\t' && c != '\n') || u == 0x7f;
}

}  // namespace

std::string escape(std::string_view text) {
    // Most texts of a page need nothing done: one pass to find that out.
    if (std::none_of(text.begin(), text.end(), [](char c) {
            return isControl(c) || c == '&' || c == '<' || c == '>' || c == '"';
        })) {
        return std::string(text);
    }
    // The page's attributes are all in double quotes, so XML's escapes do; control characters
    // are no text a page can show.
    std::string escaped = SDK::Utils::xmlEscaped(text);
    if (std::none_of(escaped.begin(), escaped.end(), isControl)) {
        return escaped;
    }
    std::string out;
    for (const char c : escaped) {
        if (isControl(c)) {
            out += "\xef\xbf\xbd";
        } else {
            out += c;
        }
    }
    return out;
}

std::string escapePath(const std::string& path) {
    return escape(SDK::Utils::toUtf8(SDK::Utils::stringToWstring(path.c_str())).c_str());
}

std::string href(const std::string& path) {
    static const char* const digits = "0123456789ABCDEF";
    std::string out;
    for (const char c : path) {
        const auto u = static_cast<unsigned char>(c);
        if (std::isalnum(u) != 0 && u < 0x80) {
            out += c;
        } else if (c == '-' || c == '.' || c == '_' || c == '~' || c == '/') {
            out += c;
        } else {
            out += '%';
            out += digits[u >> 4];
            out += digits[u & 0xf];
        }
    }
    return out;
}

std::string grouped(std::uint64_t n) {
    std::string digits = std::to_string(n);
    for (std::size_t i = digits.size(); i > 3; i -= 3) {
        digits.insert(i - 3, ",");
    }
    return digits;
}

std::string sizeText(std::uint64_t bytes) {
    if (bytes < 1000) {
        return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    }
    const char* units[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
    double value = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    while (value >= 999.95 && unit + 1 < sizeof units / sizeof *units) {
        value /= 1000;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, value < 99.95 ? "%.1f %s" : "%.0f %s", value, units[unit]);
    return text;
}

void writeHead(std::ostream& out, const std::string& title) {
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta name=\"generator\" content=\"xsddict report\">\n<title>"
        << escapePath(title) << "</title>\n<style>" << kStyle << "</style>\n</head>\n<body>\n";
}

void writeTail(std::ostream& out, const char* script) {
    out << "<script>" << script << "</script>\n</body>\n</html>\n";
}

}  // namespace Velmar::MXF::Report
