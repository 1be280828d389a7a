#include "XmlWriter.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace Velmar::MXF {

namespace {

// The code point of the UTF-8 sequence at `at` and its length, or length 0 where the bytes
// are no well-formed sequence (overlong forms and values past U+10FFFF included).
std::pair<std::uint32_t, std::size_t> codePoint(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(at);
    if (first < 0x80) {
        return {first, 1};
    }
    std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : first >= 0xc0 ? 2 : 0;
    if (length == 0 || first > 0xf4 || at + length > text.size()) {
        return {0, 0};
    }
    std::uint32_t value = first & (0x7f >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xc0) != 0x80) {
            return {0, 0};
        }
        value = value << 6 | (byte(at + i) & 0x3f);
    }
    static const std::uint32_t kLeast[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (value < kLeast[length] || value > 0x10ffff) {
        return {0, 0};
    }
    return {value, length};
}

bool allowed(std::uint32_t c) {
    return c == 0x9 || c == 0xa || c == 0xd || (c >= 0x20 && c <= 0xd7ff) ||
           (c >= 0xe000 && c <= 0xfffd) || (c >= 0x10000 && c <= 0x10ffff);
}

std::string dollarEscape(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "$#x%X;", static_cast<unsigned>(value));
    return text;
}

}  // namespace

XmlText xmlText(std::string_view utf8) {
    XmlText result;
    // A first pass decides whether the escape is on, which changes how "$" is written.
    for (std::size_t at = 0; at < utf8.size();) {
        const auto [c, length] = codePoint(utf8, at);
        if (length == 0 || !allowed(c)) {
            result.escaped = true;
            break;
        }
        at += length;
    }
    std::string& out = result.text;
    out.reserve(utf8.size());
    for (std::size_t at = 0; at < utf8.size();) {
        const auto [c, length] = codePoint(utf8, at);
        if (length == 0) {
            out += dollarEscape(static_cast<unsigned char>(utf8[at]));  // a stray byte
            ++at;
            continue;
        }
        if (!allowed(c)) {
            out += dollarEscape(c);
        } else if (c == '$' && result.escaped) {
            out += "$#x24;";
        } else if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else if (c == '"') {
            out += "&quot;";
        } else if (c == '\r') {
            out += "&#xD;";  // a parser would read a bare one as a newline
        } else {
            out.append(utf8.substr(at, length));
        }
        at += length;
    }
    return result;
}

XmlWriter::XmlWriter(std::ostream& out) : out_(out) {}

void XmlWriter::declaration() {
    out_ << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
}

// Indentation stops growing past a depth: a deep tree's document then grows with its
// elements, not with their square.
void XmlWriter::indent() {
    static const std::string kSpaces(2 * kMostIndented, ' ');
    out_.write(kSpaces.data(),
               static_cast<std::streamsize>(2 * std::min(open_.size(), kMostIndented)));
}

void XmlWriter::startTag(const std::string& name, const Attributes& attributes) {
    indent();
    out_ << '<' << name;
    for (const auto& [attribute, value] : attributes) {
        out_ << ' ' << attribute << "=\"" << xmlText(value).text << '"';
    }
}

void XmlWriter::open(const std::string& name, const Attributes& attributes) {
    startTag(name, attributes);
    out_ << ">\n";
    open_.push_back(name);
}

void XmlWriter::close() {
    if (open_.empty()) {
        return;
    }
    const std::string name = std::move(open_.back());
    open_.pop_back();
    indent();
    out_ << "</" << name << ">\n";
}

void XmlWriter::leaf(const std::string& name, const Attributes& attributes, const XmlText& text) {
    startTag(name, attributes);
    if (text.text.empty()) {
        out_ << "/>\n";
    } else {
        out_ << '>' << text.text << "</" << name << ">\n";
    }
}

void XmlWriter::comment(std::string_view text) {
    indent();
    out_ << "<!--";
    char last = 0;
    for (const char c : text) {
        if (c == '-' && last == '-') {
            out_ << ' ';
        }
        out_ << c;
        last = c;
    }
    out_ << (last == '-' ? " -->\n" : "-->\n");
}

}  // namespace Velmar::MXF
