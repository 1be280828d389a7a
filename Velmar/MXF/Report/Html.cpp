#include "Html.h"

#include <algorithm>
#include <cstdio>
#include <ostream>

namespace Velmar::MXF::Report {

extern const char* const kStyle;

std::string escape(std::string_view text) {
    // Most texts of a page need nothing done: one pass to find that out.
    const bool plain = std::all_of(text.begin(), text.end(), [](char c) {
        const auto u = static_cast<unsigned char>(c);
        return u >= 0x20 && u != 0x7f && c != '&' && c != '<' && c != '>' && c != '"' && c != '\'';
    });
    if (plain) {
        return std::string(text);
    }
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (const char c : text) {
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
            case '\'':
                out += "&#39;";
                break;
            default:
                if ((static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n') ||
                    c == '\x7f') {
                    out += "\xef\xbf\xbd";
                } else {
                    out += c;
                }
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
        << escape(title) << "</title>\n<style>" << kStyle << "</style>\n</head>\n<body>\n";
}

void writeTail(std::ostream& out, const char* script) {
    out << "<script>" << script << "</script>\n</body>\n</html>\n";
}

}  // namespace Velmar::MXF::Report
