#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Velmar::MXF {

// An item's value decoded by its data type, in the forms a reader prints: numbers, booleans,
// texts (strings, and identifiers in their text form) and lists (collections, and a rational
// as [numerator, denominator]).
class Value {
  public:
    enum class Kind { Boolean, Signed, Unsigned, Float, Text, List };

    static Value boolean(bool value);
    static Value signedInteger(std::int64_t value);
    static Value unsignedInteger(std::uint64_t value);
    static Value floatingPoint(double value);
    static Value text(std::string utf8);
    static Value list(std::vector<Value> items);

    Kind kind() const { return kind_; }
    bool asBoolean() const { return boolean_; }
    std::int64_t asSigned() const { return signed_; }
    std::uint64_t asUnsigned() const { return unsigned_; }
    double asFloat() const { return float_; }
    const std::string& asText() const { return text_; }
    const std::vector<Value>& asList() const { return list_; }

    // JSON: exact numbers, true/false, strings with JSON's escapes, lists in brackets.
    std::string toJson() const;

  private:
    Kind kind_ = Kind::Boolean;
    bool boolean_ = false;
    std::int64_t signed_ = 0;
    std::uint64_t unsigned_ = 0;
    double float_ = 0;
    std::string text_;
    std::vector<Value> list_;
};

}  // namespace Velmar::MXF
