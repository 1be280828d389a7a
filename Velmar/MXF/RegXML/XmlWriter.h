#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velmar::MXF::RegXML {

// A text made fit for XML 1.0 content or attribute values: what RegXML escapes (controls but tab
// and line feed, "$", U+FFFE, U+FFFF, bytes that are no UTF-8) as "$#xH;" (RegXMLText::escape),
// then markup characters as entities.
struct XmlText {
    std::string text;
    bool escaped = false;  // the element then carries escape="true"
};
XmlText xmlText(std::string_view utf8);

// Writes indented XML to a stream as it is given, keeping only the names of the open elements.
class XmlWriter {
  public:
    using Attributes = std::vector<std::pair<std::string, std::string>>;  // values as they are

    explicit XmlWriter(std::ostream& out);

    void declaration();
    void open(const std::string& name, const Attributes& attributes = {});
    void close();
    // An element holding only text; an empty text gives an empty element.
    void leaf(const std::string& name, const Attributes& attributes, const XmlText& text);
    // "--" cannot stand in a comment: it is written "- -".
    void comment(std::string_view text);
    std::size_t depth() const { return open_.size(); }

    static constexpr std::size_t kMostIndented = 64;

  private:
    void startTag(const std::string& name, const Attributes& attributes);
    void indent();

    std::ostream& out_;
    std::vector<std::string> open_;
};

}  // namespace Velmar::MXF::RegXML
