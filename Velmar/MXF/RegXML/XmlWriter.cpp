#include "XmlWriter.h"

#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/Utils/StringConversion.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace Velmar::MXF::RegXML {

using namespace Values;

XmlText xmlText(std::string_view utf8) {
    // RegXML's own escapes first ("$#xH;"), then the markup characters as entities.
    const RegXMLText::Escaped escaped = RegXMLText::escape(utf8);
    XmlText result;
    result.escaped = escaped.escaped;
    result.text = SDK::Utils::xmlEscaped(escaped.text);
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

}  // namespace Velmar::MXF::RegXML
