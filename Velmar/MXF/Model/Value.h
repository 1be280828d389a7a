#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::MXF::Model {

// An item's value decoded by its type, in the forms a reader prints: numbers, booleans, texts
// (strings, enumeration symbols, and identifiers in their text form), lists (collections, and a
// rational as [numerator, denominator]), records (members by symbol, in order; an indirect
// value as actualType and value) and registered labels (their dotted bytes with the register's
// symbol and name).
class Value {
  public:
    enum class Kind { Boolean, Signed, Unsigned, Float, Text, List, Record, Label };
    using Member = std::pair<std::string, Value>;

    static Value boolean(bool value);
    static Value signedInteger(std::int64_t value);
    static Value unsignedInteger(std::uint64_t value);
    // A float of 2, 4 or 8 bytes as stored: its text is the shortest that reads back as one of
    // that size.
    static Value floatingPoint(double value, unsigned bytes = 8);
    static Value text(std::string utf8);
    static Value list(std::vector<Value> items);
    static Value record(std::vector<Member> members);
    static Value label(std::string dotted, std::string symbol, std::string name);

    Kind kind() const { return kind_; }
    bool asBoolean() const { return boolean_; }
    std::int64_t asSigned() const { return signed_; }
    std::uint64_t asUnsigned() const { return unsigned_; }
    double asFloat() const { return float_; }
    const std::string& asText() const { return text_; }
    const std::vector<Value>& asList() const { return list_; }
    const std::vector<Member>& asRecord() const { return members_; }
    // A label's register symbol and name; its dotted bytes are asText().
    const std::string& labelSymbol() const { return symbol_; }
    const std::string& labelName() const { return name_; }

    // JSON: exact numbers (floats in the shortest text that reads back the same), true/false,
    // strings with JSON's escapes, lists in brackets, records as objects, labels as
    // {"ul", "symbol", "name"}.
    std::string toJson() const;
    // The shortest decimal text that reads back to the same double.
    static std::string shortestText(double value);
    // A float's text: the shortest that reads back to the same value of its stored size.
    std::string floatText() const;

  private:
    Kind kind_ = Kind::Boolean;
    bool boolean_ = false;
    std::int64_t signed_ = 0;
    std::uint64_t unsigned_ = 0;
    double float_ = 0;
    unsigned floatBytes_ = 8;
    std::string text_;
    std::vector<Value> list_;
    std::vector<Member> members_;
    std::string symbol_;
    std::string name_;
};

}  // namespace Velmar::MXF::Model
