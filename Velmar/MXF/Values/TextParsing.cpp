// Values from the texts people and RegXML documents give them: the inverse of the forms the
// reader prints and RegXML writes, leaving range and fit to the encoder.
#include "TextParsing.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "BigEndian.h"
#include "Decoding.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Values {

using namespace Model;

namespace {

namespace MM = SDK::MetaMetadata;
using MM::TypeKind;

[[noreturn]] void misfit(std::string why) {
    throw TextMisfit{std::move(why)};
}

std::string quoted(std::string_view text) {
    return "\"" + std::string(text.substr(0, 200)) + (text.size() > 200 ? "…" : "") + "\"";
}

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool isDashedUuid(std::string_view text) {
    return text.size() == 36 && text[8] == '-' && text[13] == '-' && text[18] == '-' &&
           text[23] == '-';
}

// 16 bytes from a UL URN, dotted bytes, a UUID URN or 8-4-4-4-12. A UUID URN of an AUID holds
// the halves swapped (as RegXML writes it) unless stored order is asked for.
Bytes16 sixteen(std::string_view text, bool swapUuid, const char* what) {
    std::optional<std::vector<std::uint8_t>> bytes;
    bool urnUuid = false;
    if (startsWith(text, "urn:smpte:ul:") && text.size() == 13 + 35) {
        bytes = hexOf(text.substr(13), ".");
    } else if (startsWith(text, "urn:uuid:") && isDashedUuid(text.substr(9))) {
        bytes = hexOf(text.substr(9), "-");
        urnUuid = true;
    } else if (isDashedUuid(text)) {
        bytes = hexOf(text, "-");
    } else if (text.size() == 47) {
        bytes = hexOf(text, ".");
    }
    if (!bytes || bytes->size() != 16) {
        misfit(quoted(text) + " is no " + what +
               " (urn:smpte:ul:…, urn:uuid:…, dotted bytes or 8-4-4-4-12)");
    }
    Bytes16 out{};
    for (std::size_t i = 0; i < 16; ++i) {
        out[i] = (*bytes)[urnUuid && swapUuid ? (i + 8) % 16 : i];
    }
    return out;
}

// A UMID from its URN or hexadecimal digits, as the reader gives it (plain hexadecimal).
Value umid(std::string_view text) {
    const std::string_view digits = startsWith(text, "urn:smpte:umid:") ? text.substr(15) : text;
    const auto bytes = hexOf(digits, startsWith(text, "urn:smpte:umid:") ? "." : "");
    if (!bytes || bytes->size() != 32) {
        misfit(quoted(text) + " is no UMID (urn:smpte:umid:… or 64 hexadecimal digits)");
    }
    return Value::text(plainHex(bytes->data(), bytes->size()));
}

Value integer(std::string_view text) {
    const std::string t(text);
    if (t.empty() || std::isspace(static_cast<unsigned char>(t[0])) || t[0] == '+') {
        misfit(quoted(text) + " is no whole number");
    }
    errno = 0;
    char* end = nullptr;
    if (t[0] == '-') {
        const long long n = std::strtoll(t.c_str(), &end, 10);
        if (errno == 0 && end == t.c_str() + t.size()) {
            return Value::signedInteger(n);
        }
    } else {
        const unsigned long long n = std::strtoull(t.c_str(), &end, 10);
        if (errno == 0 && end == t.c_str() + t.size()) {
            return Value::unsignedInteger(n);
        }
    }
    misfit(quoted(text) +
           (errno == ERANGE ? " is out of the range of 64 bits" : " is no whole number"));
}

Value real(std::string_view text) {
    if (text == "NaN") {
        return Value::floatingPoint(std::numeric_limits<double>::quiet_NaN());
    }
    if (text == "INF" || text == "-INF") {
        return Value::floatingPoint(text[0] == '-' ? -HUGE_VAL : HUGE_VAL);
    }
    const std::string t(text);
    char* end = nullptr;
    const double d = t.empty() || std::isspace(static_cast<unsigned char>(t[0]))
                         ? 0
                         : std::strtod(t.c_str(), &end);
    if (end != t.c_str() + t.size() || t.empty()) {
        misfit(quoted(text) + " is no number");
    }
    return Value::floatingPoint(d);
}

bool isWhole(std::string_view text) {
    std::size_t at = !text.empty() && text[0] == '-' ? 1 : 0;
    if (at == text.size()) {
        return false;
    }
    for (; at < text.size(); ++at) {
        if (!std::isdigit(static_cast<unsigned char>(text[at]))) {
            return false;
        }
    }
    return true;
}

class JsonParser {
  public:
    explicit JsonParser(std::string_view text) : text_(text) {}

    Value document() {
        Value v = value(0);
        space();
        if (at_ != text_.size()) {
            fail("text after the value");
        }
        return v;
    }

  private:
    [[noreturn]] void fail(const std::string& what) const {
        misfit("JSON " + quoted(text_) + ": " + what + " at character " + std::to_string(at_ + 1));
    }

    void space() {
        while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_]))) {
            ++at_;
        }
    }

    bool take(char c) {
        space();
        if (at_ < text_.size() && text_[at_] == c) {
            ++at_;
            return true;
        }
        return false;
    }

    Value value(int depth) {
        if (depth > 64) {
            fail("values nested too deep");
        }
        space();
        if (at_ == text_.size()) {
            fail("no value");
        }
        const char c = text_[at_];
        if (c == '[') {
            ++at_;
            std::vector<Value> items;
            if (!take(']')) {
                do {
                    items.push_back(value(depth + 1));
                } while (take(','));
                if (!take(']')) {
                    fail("no ']'");
                }
            }
            return Value::list(std::move(items));
        }
        if (c == '{') {
            ++at_;
            std::vector<Value::Member> members;
            if (!take('}')) {
                do {
                    space();
                    if (at_ == text_.size() || text_[at_] != '"') {
                        fail("no member name");
                    }
                    std::string name = string();
                    if (!take(':')) {
                        fail("no ':'");
                    }
                    members.emplace_back(std::move(name), value(depth + 1));
                } while (take(','));
                if (!take('}')) {
                    fail("no '}'");
                }
            }
            // The reader's form of a label.
            if (members.size() == 3 && members[0].first == "ul" && members[1].first == "symbol" &&
                members[2].first == "name" && members[0].second.kind() == Value::Kind::Text) {
                return Value::label(members[0].second.asText(), members[1].second.asText(),
                                    members[2].second.asText());
            }
            return Value::record(std::move(members));
        }
        if (c == '"') {
            return Value::text(string());
        }
        if (text_.substr(at_, 4) == "true" || text_.substr(at_, 5) == "false") {
            const bool t = text_[at_] == 't';
            at_ += t ? 4 : 5;
            return Value::boolean(t);
        }
        const std::size_t start = at_;
        while (at_ < text_.size() &&
               (std::isalnum(static_cast<unsigned char>(text_[at_])) || text_[at_] == '-' ||
                text_[at_] == '+' || text_[at_] == '.')) {
            ++at_;
        }
        const std::string_view number = text_.substr(start, at_ - start);
        if (number.empty()) {
            fail("no value");
        }
        return isWhole(number) ? integer(number) : real(number);
    }

    std::string string() {
        ++at_;  // the quote
        std::string out;
        while (at_ < text_.size() && text_[at_] != '"') {
            char c = text_[at_++];
            if (c != '\\') {
                out += c;
                continue;
            }
            if (at_ == text_.size()) {
                break;
            }
            c = text_[at_++];
            switch (c) {
                case 'n':
                    out += '\n';
                    break;
                case 't':
                    out += '\t';
                    break;
                case 'r':
                    out += '\r';
                    break;
                case 'b':
                    out += '\b';
                    break;
                case 'f':
                    out += '\f';
                    break;
                case 'u': {
                    char32_t code = hex4();
                    if (code >= 0xd800 && code <= 0xdbff && text_.substr(at_, 2) == "\\u") {
                        at_ += 2;
                        const char32_t low = hex4();
                        code = 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00);
                    }
                    appendUtf8(out, code);
                    break;
                }
                default:
                    out += c;
            }
        }
        if (at_ == text_.size()) {
            fail("a string with no end");
        }
        ++at_;
        return out;
    }

    char32_t hex4() {
        const auto bytes = at_ + 4 <= text_.size() ? hexOf(text_.substr(at_, 4), "") : std::nullopt;
        if (!bytes) {
            fail("a bad \\u escape");
        }
        at_ += 4;
        return static_cast<char32_t>((*bytes)[0] << 8 | (*bytes)[1]);
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

int hexDigit(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

bool looksLikeJson(std::string_view text) {
    return !text.empty() && (text[0] == '[' || text[0] == '{');
}

}  // namespace

std::optional<std::vector<std::uint8_t>> hexOf(std::string_view text, std::string_view separators) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size();) {
        if (separators.find(text[i]) != std::string_view::npos) {
            ++i;  // between bytes only: a byte's two digits are read together below
            continue;
        }
        const int high = i + 1 < text.size() ? hexDigit(text[i]) : -1;
        const int low = high >= 0 ? hexDigit(text[i + 1]) : -1;
        if (low < 0) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
        i += 2;
    }
    return bytes;
}

std::optional<Bytes16> uuidOfText(std::string_view text) {
    if (startsWith(text, "urn:uuid:")) {
        text.remove_prefix(9);
    }
    const auto bytes = isDashedUuid(text) ? hexOf(text, "-") : std::nullopt;
    if (!bytes || bytes->size() != 16) {
        return std::nullopt;
    }
    return bytes16(bytes->data());
}

Value valueOfJson(std::string_view json) {
    return JsonParser(json).document();
}

Value valueOfText(const MM::TypeDefinition& given, std::string_view text,
                  const MM::TypeDefinitions& types, bool uuidAsStored) {
    const MM::TypeDefinition* type = &given;
    for (int depth = 0; depth < 32 && type != nullptr; ++depth) {
        const std::string_view symbol = type->symbol;
        if (symbol == "AUID") {
            return Value::text(dottedHex(sixteen(text, !uuidAsStored, "AUID").data(), 16));
        }
        if (symbol == "UUID") {
            return Value::text(uuidText(sixteen(text, false, "UUID")));
        }
        if (symbol == "PackageIDType") {
            return umid(text);
        }
        if (symbol == "Rational") {
            const std::size_t slash = text.find('/');
            if (slash == std::string_view::npos) {
                if (looksLikeJson(text)) {
                    return valueOfJson(text);
                }
                misfit(quoted(text) + " is no Rational (numerator/denominator)");
            }
            return Value::list({integer(text.substr(0, slash)), integer(text.substr(slash + 1))});
        }
        if (symbol == "VersionType") {
            return Value::text(std::string(text));
        }
        if (symbol == "TimeStamp") {
            std::string t(text);
            if (!t.empty() && t.back() == 'Z') {
                t.pop_back();
            }
            const std::size_t clock = t.find('T');
            if (clock != std::string::npos && t.find('.', clock) == std::string::npos) {
                t += ".000";
            }
            return Value::text(t);
        }
        if (symbol == "Boolean") {
            if (text == "True" || text == "true" || text == "1") {
                return Value::boolean(true);
            }
            if (text == "False" || text == "false" || text == "0") {
                return Value::boolean(false);
            }
            misfit(quoted(text) + " is no Boolean (True or False)");
        }
        switch (type->kind) {
            case TypeKind::Rename:
                type = type->base ? types.type(*type->base) : nullptr;
                continue;
            case TypeKind::Integer:
                return integer(text);
            case TypeKind::Float:
                return real(text);
            case TypeKind::Character:
            case TypeKind::String:
                return Value::text(std::string(text));
            case TypeKind::Enumeration:
                return isWhole(text) ? integer(text) : Value::text(std::string(text));
            case TypeKind::ExtendibleEnumeration:
                return Value::text(dottedHex(sixteen(text, true, "label").data(), 16));
            case TypeKind::StrongReference:
                return Value::text(uuidText(sixteen(text, false, "strong reference")));
            case TypeKind::WeakReference:
                if (startsWith(text, "urn:smpte:umid:") || text.size() == 64) {
                    return umid(text);
                }
                return Value::text(dottedHex(sixteen(text, !uuidAsStored, "reference").data(), 16));
            case TypeKind::Record:
            case TypeKind::FixedArray:
            case TypeKind::VariableArray:
            case TypeKind::Set:
            case TypeKind::Indirect:
                if (looksLikeJson(text)) {
                    return valueOfJson(text);
                }
                misfit(std::string(type->symbol) +
                       " takes the JSON of its value ({…} or […]), not " + quoted(text));
            case TypeKind::Opaque:
            case TypeKind::Stream:
                misfit(std::string(type->symbol) + " is opaque: its bytes have no value form");
        }
    }
    misfit(std::string(given.symbol) + " names a type the dictionary lacks");
}

std::string normalisedName(std::string_view name) {
    std::string out;
    for (const char c : name) {
        if (c != ' ' && c != '_' && c != '-') {
            out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    return out;
}

std::string elementSymbol(const MM::MetaElement& element, const MM::TypeDefinitions& types) {
    MM::LabelBytes label;
    std::copy(element.universalLabel().bytes(), element.universalLabel().bytes() + 16,
              label.begin());
    const std::string_view registered = types.registeredSymbol(label);
    if (!registered.empty()) {
        return std::string(registered);
    }
    return SDK::Utils::toUtf8(element.getProperty(u"XMLTagName")).c_str();
}

bool isUuidAsStored(std::string_view symbol) {
    return symbol == "GenerationID" || symbol == "LinkedGenerationID" ||
           symbol == "ApplicationProductID";
}

}  // namespace Velmar::MXF::Values
