#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Velmar::MXF::Values {

// Text forms used by the reader's output: dotted bytes ("06.0e.2b.34..."), a local tag, a
// UUID ("8-4-4-4-12") and plain hexadecimal.
std::string dottedHex(const std::uint8_t* bytes, std::size_t size);
std::string tagText(std::uint16_t tag);  // a local tag's dotted bytes, "3c.0a"
std::string uuidText(const std::array<std::uint8_t, 16>& bytes);
std::string plainHex(const std::uint8_t* bytes, std::size_t size);

namespace RegXMLText {

// The texts RegXML gives values, from the bytes a file stores (big-endian) or the value read.

// Integers in decimal, over their full range.
std::string integer(std::int64_t value);
std::string integer(std::uint64_t value);
// "True" or "False", the register's Boolean enumeration.
std::string boolean(bool value);
// "urn:smpte:ul:" and four dot-separated groups of 8 lowercase digits, the bytes as stored.
std::string ul(const std::uint8_t* bytes16);
// "urn:uuid:" 8-4-4-4-12 lowercase, the bytes as stored.
std::string uuid(const std::uint8_t* bytes16);
// An AUID: a UL where the first byte's high bit is clear (an all-zero AUID too), else a UUID
// stored with its halves swapped, written as bytes 8 to 15 then 0 to 7.
std::string auid(const std::uint8_t* bytes16);
// "urn:smpte:umid:" and dot-separated groups of 8 lowercase digits (32 or 64 bytes).
std::string umid(const std::uint8_t* bytes, std::size_t size);
// "YYYY-MM-DDThh:mm:ssZ", with ".mmm" (4 ms a unit of the last byte) where that byte is not 0;
// the fields as stored, unchecked.
std::string timestamp(const std::uint8_t* bytes8);
// "numerator/denominator", signed, not reduced.
std::string rational(std::int32_t numerator, std::int32_t denominator);
// A float widened to 64 bits: the shortest decimal that reads back to it, with at least one
// fractional digit, in exponent form ("1.0E-5", "1.0E7") below 10^-3 and from 10^7; "NaN",
// "INF", "-INF".
std::string real(double value);

// A string value fit for an element's text: tab, line feed, U+0020 to U+0023 and U+0025 and
// above are kept (but U+FFFE and U+FFFF); every other character, carriage return and "$"
// included, is "$#xH;" (H lowercase, no leading zeros), and the element says escape="true".
// Markup characters are left to the XML writer.
struct Escaped {
    std::string text;
    bool escaped = false;
};
Escaped escape(std::string_view utf8);
// The text an escaped element stands for: each "$#xH;" back to its character (as UTF-8); a "$"
// that starts no such form is kept.
std::string unescape(std::string_view text);

}  // namespace RegXMLText

}  // namespace Velmar::MXF::Values
