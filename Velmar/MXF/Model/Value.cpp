#include "Velmar/MXF/Model/Value.h"

#include "Velmar/SDK/Utils/StringConversion.h"

#include <charconv>
#include <cstdio>

namespace Velmar::MXF::Model {
Value Value::boolean(bool value) {
    Value v;
    v.kind_ = Kind::Boolean;
    v.boolean_ = value;
    return v;
}
Value Value::signedInteger(std::int64_t value) {
    Value v;
    v.kind_ = Kind::Signed;
    v.signed_ = value;
    return v;
}
Value Value::unsignedInteger(std::uint64_t value) {
    Value v;
    v.kind_ = Kind::Unsigned;
    v.unsigned_ = value;
    return v;
}
Value Value::floatingPoint(double value, unsigned bytes) {
    Value v;
    v.kind_ = Kind::Float;
    v.float_ = value;
    v.floatBytes_ = bytes;
    return v;
}
Value Value::text(std::string utf8) {
    Value v;
    v.kind_ = Kind::Text;
    v.text_ = std::move(utf8);
    return v;
}
Value Value::list(std::vector<Value> items) {
    Value v;
    v.kind_ = Kind::List;
    v.list_ = std::move(items);
    return v;
}

Value Value::record(std::vector<Member> members) {
    Value v;
    v.kind_ = Kind::Record;
    v.members_ = std::move(members);
    return v;
}
Value Value::label(std::string dotted, std::string symbol, std::string name) {
    Value v;
    v.kind_ = Kind::Label;
    v.text_ = std::move(dotted);
    v.symbol_ = std::move(symbol);
    v.name_ = std::move(name);
    return v;
}

std::string Value::shortestText(double value) {
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

std::string Value::floatText() const {
    if (floatBytes_ < 8) {
        // A half's value is a float's too, and its float text reads back to the same half.
        char text[32];
        const auto result = std::to_chars(text, text + sizeof text, static_cast<float>(float_));
        return std::string(text, result.ptr);
    }
    return shortestText(float_);
}

namespace {
std::string jsonString(const std::string& text) {
    return SDK::Utils::jsonQuoted(text);
}
}  // namespace

std::string Value::toJson() const {
    switch (kind_) {
        case Kind::Boolean:
            return boolean_ ? "true" : "false";
        case Kind::Signed:
            return std::to_string(signed_);
        case Kind::Unsigned:
            return std::to_string(unsigned_);
        case Kind::Float:
            return floatText();
        case Kind::Text:
            return jsonString(text_);
        case Kind::List: {
            std::string out = "[";
            for (std::size_t i = 0; i < list_.size(); ++i) {
                out += (i ? ", " : "") + list_[i].toJson();
            }
            return out + "]";
        }
        case Kind::Record: {
            std::string out = "{";
            for (std::size_t i = 0; i < members_.size(); ++i) {
                out += (i ? ", " : "") + jsonString(members_[i].first) + ": " +
                       members_[i].second.toJson();
            }
            return out + "}";
        }
        case Kind::Label:
            return "{\"ul\": " + jsonString(text_) + ", \"symbol\": " + jsonString(symbol_) +
                   ", \"name\": " + jsonString(name_) + "}";
    }
    return "null";
}

}  // namespace Velmar::MXF::Model
