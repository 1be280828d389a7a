#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace Velmar::MXF::Report {

// Text made safe in HTML text and in double-quoted attributes; control characters other than
// tab and line feed become U+FFFD.
std::string escape(std::string_view text);

// A path as given, read as UTF-8 (bytes that are none become U+FFFD), escaped as above.
std::string escapePath(const std::string& path);
// A relative path as a link's address: bytes outside letters, digits, "-._~/" percent-encoded,
// so that any name a file system gives is a link to it.
std::string href(const std::string& path);

// 1234567 as "1,234,567".
std::string grouped(std::uint64_t n);
// A size for people: "812 bytes", "14.2 kB", "1.07 GB".
std::string sizeText(std::uint64_t bytes);

// The document's start up to and including <body>, with the page's style inline.
void writeHead(std::ostream& out, const std::string& title);
// The script and the document's end.
void writeTail(std::ostream& out, const char* script);

extern const char* const kPageScript;
extern const char* const kIndexScript;

}  // namespace Velmar::MXF::Report
