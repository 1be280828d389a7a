// Values back to bytes by their registered type: the inverse of the typed decoding, taking
// every form the reader gives a value (numbers, texts of identifiers, symbols, lists, records,
// labels) and refusing what does not fit, with why.
#include <cmath>
#include <cstring>
#include <limits>

#include "BigEndian.h"
#include "Decoding.h"
#include "TextParsing.h"
#include "Velmar/MXF/Values/Encoding.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/MetaMetadata/MetaElement.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"

namespace Velmar::MXF::Values {

using namespace Model;

ValueRefused::ValueRefused(const std::string& message, const char* sourceFile, int sourceLine)
    : BaseException(message.c_str(), sourceFile, sourceLine) {}

ValueRefused::~ValueRefused() = default;

namespace {

namespace MM = SDK::MetaMetadata;
namespace Id = SDK::Types::Identifiers;
using MM::TypeKind;
using Bytes = std::vector<std::uint8_t>;

constexpr int kMostDepth = 16;

// Why a value does not fit, said without the item, which the caller names.
struct Misfit {
    std::string why;
};

[[noreturn]] void misfit(std::string why) {
    throw Misfit{std::move(why)};
}

// A label or UUID as 16 bytes: a label's value, dotted bytes or a URN, or 8-4-4-4-12.
Bytes sixteen(const Value& value, const char* what) {
    std::string text;
    if (value.kind() == Value::Kind::Label || value.kind() == Value::Kind::Text) {
        text = value.asText();
    } else {
        misfit(std::string("a ") + what + " is a text, not " + value.toJson());
    }
    if (auto label = MM::labelFromText(text)) {
        return Bytes(label->begin(), label->end());
    }
    if (const auto uuid = uuidOfText(text)) {
        return Bytes(uuid->begin(), uuid->end());
    }
    if (auto bytes = hexOf(text, "."); bytes && bytes->size() == 16 && text.size() == 47) {
        return *bytes;
    }
    misfit("\"" + text + "\" is no " + what + " (dotted bytes, a URN or 8-4-4-4-12)");
}

std::int64_t signedOf(const Value& value) {
    if (value.kind() == Value::Kind::Signed) {
        return value.asSigned();
    }
    if (value.kind() == Value::Kind::Unsigned &&
        value.asUnsigned() <=
            static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return static_cast<std::int64_t>(value.asUnsigned());
    }
    misfit(value.toJson() + " is not a whole number of 64 bits");
}

void appendUtf16(Bytes& out, char32_t c) {
    if (c >= 0x10000) {
        const char32_t v = c - 0x10000;
        appendBigEndian(out, 0xd800 + (v >> 10), 2);
        appendBigEndian(out, 0xdc00 + (v & 0x3ff), 2);
    } else {
        appendBigEndian(out, c, 2);
    }
}

// UTF-8 text as code points; text that is no UTF-8 is refused.
std::vector<char32_t> codePoints(const std::string& text) {
    std::vector<char32_t> out;
    const auto* b = reinterpret_cast<const unsigned char*>(text.data());
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char lead = b[i];
        const std::size_t length = lead < 0x80                    ? 1
                                   : lead >= 0xc2 && lead <= 0xdf ? 2
                                   : lead >= 0xe0 && lead <= 0xef ? 3
                                   : lead >= 0xf0 && lead <= 0xf4 ? 4
                                                                  : 0;
        if (length == 0 || text.size() - i < length) {
            misfit("the text is not UTF-8");
        }
        char32_t c = length == 1 ? lead : lead & (0x7f >> length);
        for (std::size_t k = 1; k < length; ++k) {
            if ((b[i + k] & 0xc0) != 0x80) {
                misfit("the text is not UTF-8");
            }
            c = c << 6 | (b[i + k] & 0x3f);
        }
        const char32_t least = length == 2 ? 0x80 : length == 3 ? 0x800 : length == 4 ? 0x10000 : 0;
        if (c < least || c > 0x10ffff || (c >= 0xd800 && c <= 0xdfff)) {
            misfit("the text is not UTF-8");
        }
        out.push_back(c);
        i += length;
    }
    return out;
}

class TypedEncoder {
  public:
    explicit TypedEncoder(const MM::TypeDefinitions& types) : types_(types) {}

    void encode(const MM::TypeDefinition& type, const Value& v, Bytes& out, int depth = 0) {
        if (depth > kMostDepth) {
            misfit(std::string(type.symbol) + " nests deeper than any registered type");
        }
        switch (type.kind) {
            case TypeKind::Integer:
                return integer(type, v, out);
            case TypeKind::Float:
                return floating(type, v, out);
            case TypeKind::Character:
            case TypeKind::String:
                return text(type, v, out, depth);
            case TypeKind::Record:
                return record(type, v, out, depth);
            case TypeKind::Enumeration:
                return enumeration(type, v, out, depth);
            case TypeKind::ExtendibleEnumeration:
            case TypeKind::StrongReference: {
                const Bytes b = sixteen(
                    v, type.kind == TypeKind::StrongReference ? "strong reference" : "label");
                out.insert(out.end(), b.begin(), b.end());
                return;
            }
            case TypeKind::WeakReference:
                return weakReference(v, out);
            case TypeKind::FixedArray:
                return fixedArray(type, v, out, depth);
            case TypeKind::VariableArray:
            case TypeKind::Set:
                return collection(type, v, out, depth);
            case TypeKind::Rename:
                return encode(base(type), v, out, depth + 1);
            case TypeKind::Indirect:
                return indirect(v, out, depth);
            case TypeKind::Opaque:
            case TypeKind::Stream:
                break;
        }
        misfit(std::string(type.symbol) + " is opaque: its bytes have no value form");
    }

  private:
    const MM::TypeDefinition& base(const MM::TypeDefinition& type) const {
        const MM::TypeDefinition* b = type.base ? types_.type(*type.base) : nullptr;
        if (b == nullptr) {
            misfit(std::string(type.symbol) + " names a type the dictionary lacks");
        }
        return *b;
    }

    static void integer(const MM::TypeDefinition& type, const Value& v, Bytes& out) {
        const std::size_t size = type.size;
        if (size == 0 || size > 8) {
            misfit(std::string(type.symbol) + " is an integer of " + std::to_string(size) +
                   " bytes, which has no value form");
        }
        const unsigned bits = static_cast<unsigned>(8 * size);
        if (type.isSigned) {
            const std::int64_t n = signedOf(v);
            const std::int64_t low = size == 8 ? std::numeric_limits<std::int64_t>::min()
                                               : -(std::int64_t{1} << (bits - 1));
            const std::int64_t high = size == 8 ? std::numeric_limits<std::int64_t>::max()
                                                : (std::int64_t{1} << (bits - 1)) - 1;
            if (n < low || n > high) {
                misfit(std::to_string(n) + " is out of the range of " + std::string(type.symbol) +
                       " (" + std::to_string(low) + " to " + std::to_string(high) + ")");
            }
            appendBigEndian(out, static_cast<std::uint64_t>(n), size);
            return;
        }
        std::uint64_t n = 0;
        if (v.kind() == Value::Kind::Unsigned) {
            n = v.asUnsigned();
        } else if (v.kind() == Value::Kind::Signed && v.asSigned() >= 0) {
            n = static_cast<std::uint64_t>(v.asSigned());
        } else if (v.kind() == Value::Kind::Boolean) {
            n = v.asBoolean() ? 1 : 0;
        } else {
            misfit(v.toJson() + " is not a whole number of 0 or more, as " +
                   std::string(type.symbol) + " is");
        }
        const std::uint64_t high =
            size == 8 ? std::numeric_limits<std::uint64_t>::max() : (std::uint64_t{1} << bits) - 1;
        if (n > high) {
            misfit(std::to_string(n) + " is out of the range of " + std::string(type.symbol) +
                   " (0 to " + std::to_string(high) + ")");
        }
        appendBigEndian(out, n, size);
    }

    static void floating(const MM::TypeDefinition& type, const Value& v, Bytes& out) {
        double d = 0;
        if (v.kind() == Value::Kind::Float) {
            d = v.asFloat();
        } else if (v.kind() == Value::Kind::Signed) {
            d = static_cast<double>(v.asSigned());
        } else if (v.kind() == Value::Kind::Unsigned) {
            d = static_cast<double>(v.asUnsigned());
        } else {
            misfit(v.toJson() + " is not a number");
        }
        if (!std::isfinite(d)) {
            misfit("a value that is not finite has no text to read back");
        }
        if (type.size == 8) {
            std::uint64_t bits;
            std::memcpy(&bits, &d, 8);
            appendBigEndian(out, bits, 8);
        } else if (type.size == 4) {
            const auto f = static_cast<float>(d);
            if (!std::isfinite(f)) {
                misfit(v.toJson() + " is out of the range of " + std::string(type.symbol));
            }
            std::uint32_t bits;
            std::memcpy(&bits, &f, 4);
            appendBigEndian(out, bits, 4);
        } else if (type.size == 2) {
            appendBigEndian(out, half(d, type), 2);
        } else {
            misfit(std::string(type.symbol) + " is a float of " + std::to_string(type.size) +
                   " bytes, which has no value form");
        }
    }

    // IEEE 754 half precision; only values it holds exactly, so that nothing changes unsaid.
    static std::uint16_t half(double d, const MM::TypeDefinition& type) {
        const std::uint16_t sign = std::signbit(d) ? 0x8000 : 0;
        const double a = std::fabs(d);
        if (a == 0) {
            return sign;
        }
        int exponent = 0;
        const double fraction = std::frexp(a, &exponent);  // a = fraction * 2^exponent, [0.5, 1)
        if (exponent > 16) {
            misfit(std::to_string(d) + " is out of the range of " + std::string(type.symbol));
        }
        if (exponent >= -13) {  // normal: 1.m * 2^(exponent - 1)
            const double m = (fraction * 2 - 1) * 1024;
            if (m != std::floor(m)) {
                misfit(std::to_string(d) + " is not exactly a " + std::string(type.symbol));
            }
            return static_cast<std::uint16_t>(sign | (exponent + 14) << 10 |
                                              static_cast<unsigned>(m));
        }
        const double m = std::ldexp(a, 24);  // subnormal: m * 2^-24
        if (m != std::floor(m) || m >= 1024) {
            misfit(std::to_string(d) + " is not exactly a " + std::string(type.symbol));
        }
        return static_cast<std::uint16_t>(sign | static_cast<unsigned>(m));
    }

    void text(const MM::TypeDefinition& type, const Value& v, Bytes& out, int depth) {
        const MM::TypeDefinition* character = &type;
        if (type.kind == TypeKind::String) {
            character = types_.resolve(base(type));
        }
        if (character == nullptr || character->kind != TypeKind::Character || depth > kMostDepth) {
            misfit(std::string(type.symbol) + " is a string of no character type held");
        }
        if (v.kind() != Value::Kind::Text) {
            misfit(std::string(type.symbol) + " is a text, not " + v.toJson());
        }
        // A NUL ends a string, for the reader and RegXML alike: one within would be lost.
        if (type.kind == TypeKind::String && v.asText().find('\0') != std::string::npos) {
            misfit(std::string(type.symbol) + " holds no NUL: a NUL ends the string");
        }
        if (character->symbol == "UTF8Character") {
            codePoints(v.asText());  // checked, then stored as it is
            out.insert(out.end(), v.asText().begin(), v.asText().end());
            return;
        }
        for (const char32_t c : codePoints(v.asText())) {
            if (character->symbol == "Character") {
                appendUtf16(out, c);
            } else if (c < 0x80) {
                out.push_back(static_cast<std::uint8_t>(c));
            } else {
                misfit("\"" + v.asText() + "\" is not 7-bit text, as " + std::string(type.symbol) +
                       " is");
            }
        }
    }

    void record(const MM::TypeDefinition& type, const Value& v, Bytes& out, int depth) {
        if (type.symbol == "AUID") {
            const Bytes b = sixteen(v, "label or UUID");
            out.insert(out.end(), b.begin(), b.end());
            return;
        }
        if (type.symbol == "PackageIDType") {
            const auto b = v.kind() == Value::Kind::Text ? hexOf(v.asText()) : std::nullopt;
            if (!b || b->size() != 32) {
                misfit(v.toJson() + " is no UMID (64 hexadecimal digits)");
            }
            out.insert(out.end(), b->begin(), b->end());
            return;
        }
        if (type.symbol == "Rational") {
            const auto& parts = v.kind() == Value::Kind::List ? v.asList() : std::vector<Value>{};
            if (parts.size() != 2) {
                misfit(v.toJson() + " is no Rational ([numerator, denominator])");
            }
            for (const Value& part : parts) {
                const std::int64_t n = signedOf(part);
                if (n < std::numeric_limits<std::int32_t>::min() ||
                    n > std::numeric_limits<std::int32_t>::max()) {
                    misfit(std::to_string(n) + " is out of the range of a Rational's Int32");
                }
                appendBigEndian(out, static_cast<std::uint32_t>(n), 4);
            }
            return;
        }
        if (type.symbol == "VersionType") {
            unsigned major = 0, minor = 0;
            char extra = 0;
            if (v.kind() != Value::Kind::Text ||
                std::sscanf(v.asText().c_str(), "%u.%u%c", &major, &minor, &extra) != 2 ||
                major > 255 || minor > 255) {
                misfit(v.toJson() + " is no VersionType (major.minor, each 0 to 255)");
            }
            out.push_back(static_cast<std::uint8_t>(major));
            out.push_back(static_cast<std::uint8_t>(minor));
            return;
        }
        if (type.symbol == "TimeStamp") {
            return timestamp(v, out);
        }
        if (type.symbol == "ProductVersionType" && type.members.size() == 5) {
            return productVersion(type, v, out, depth);
        }
        if (v.kind() != Value::Kind::Record) {
            misfit(std::string(type.symbol) + " is a record, not " + v.toJson());
        }
        const auto& members = v.asRecord();
        if (members.size() != type.members.size()) {
            misfit(std::string(type.symbol) + " has " + std::to_string(type.members.size()) +
                   " members, not " + std::to_string(members.size()));
        }
        for (std::size_t i = 0; i < members.size(); ++i) {
            const MM::TypeMember& member = type.members[i];
            if (members[i].first != member.symbol) {
                misfit(std::string(type.symbol) + "'s member " + std::to_string(i + 1) + " is " +
                       std::string(member.symbol) + ", not " + members[i].first);
            }
            const MM::TypeDefinition* memberType = types_.type(member.type);
            if (memberType == nullptr) {
                misfit(std::string(type.symbol) + "'s member " + std::string(member.symbol) +
                       " has a type the dictionary lacks");
            }
            encode(*memberType, members[i].second, out, depth + 1);
        }
    }

    // YYYY-MM-DDThh:mm:ss.mmm, each part what its byte holds (a year in two bytes; files carry
    // dates no calendar has, and what was read is written back as it was).
    static void timestamp(const Value& v, Bytes& out) {
        const std::string text = v.kind() == Value::Kind::Text ? v.asText() : std::string();
        const char separators[] = {'-', '-', 'T', ':', ':', '.', '\0'};
        unsigned parts[7] = {};
        std::size_t at = 0;
        bool good = !text.empty();
        for (int part = 0; part < 7 && good; ++part) {
            const std::size_t start = at;
            unsigned long n = 0;
            while (at < text.size() && at - start < 6 && text[at] >= '0' && text[at] <= '9') {
                n = n * 10 + static_cast<unsigned long>(text[at++] - '0');
            }
            const std::size_t digits = at - start;
            good = digits >= (part == 0   ? 4u
                              : part == 6 ? 3u
                                          : 2u) &&
                   digits <= 5 &&
                   n <= (part == 0   ? 65535u
                         : part == 6 ? 1020u
                                     : 255u);
            parts[part] = static_cast<unsigned>(n);
            if (good && separators[part] != '\0') {
                good = at < text.size() && text[at++] == separators[part];
            }
        }
        if (!good || at != text.size()) {
            misfit(v.toJson() + " is no TimeStamp (YYYY-MM-DDThh:mm:ss.mmm)");
        }
        if (parts[6] % 4 != 0) {
            misfit(v.toJson() + ": a TimeStamp stores milliseconds in steps of 4");
        }
        appendBigEndian(out, parts[0], 2);
        for (int part = 1; part < 6; ++part) {
            out.push_back(static_cast<std::uint8_t>(parts[part]));
        }
        out.push_back(static_cast<std::uint8_t>(parts[6] / 4));
    }

    // Four UInt16 and a release type of two bytes, as MXF stores it (the register's
    // enumeration has one).
    void productVersion(const MM::TypeDefinition& type, const Value& v, Bytes& out, int depth) {
        if (v.kind() != Value::Kind::Record || v.asRecord().size() != 5) {
            misfit(std::string(type.symbol) + " is a record of 5 members, not " + v.toJson());
        }
        const auto& members = v.asRecord();
        for (std::size_t i = 0; i < 4; ++i) {
            if (members[i].first != type.members[i].symbol) {
                misfit(std::string(type.symbol) + "'s member " + std::to_string(i + 1) + " is " +
                       std::string(type.members[i].symbol) + ", not " + members[i].first);
            }
            MM::TypeDefinition uint16;
            uint16.symbol = "UInt16";
            uint16.kind = TypeKind::Integer;
            uint16.size = 2;
            integer(uint16, members[i].second, out);
        }
        const MM::TypeDefinition* release = types_.type(type.members[4].type);
        if (members[4].second.kind() == Value::Kind::Text && release != nullptr) {
            out.push_back(0);
            encode(*release, members[4].second, out, depth + 1);
        } else {
            MM::TypeDefinition uint16;
            uint16.symbol = "UInt16";
            uint16.kind = TypeKind::Integer;
            uint16.size = 2;
            integer(uint16, members[4].second, out);
        }
    }

    void enumeration(const MM::TypeDefinition& type, const Value& v, Bytes& out, int depth) {
        const MM::TypeDefinition* resolved = types_.resolve(base(type));
        if (resolved == nullptr) {
            misfit(std::string(type.symbol) + " has no base type held");
        }
        if (type.symbol == "Boolean") {
            if (v.kind() != Value::Kind::Boolean) {
                misfit("a Boolean is true or false, not " + v.toJson());
            }
            out.push_back(v.asBoolean() ? 1 : 0);
            return;
        }
        if (v.kind() == Value::Kind::Text) {
            for (const MM::TypeItem& item : type.items) {
                if (item.symbol == v.asText()) {
                    const Value stored = item.number ? Value::signedInteger(*item.number)
                                                     : Value::text(std::string(item.text));
                    return encode(base(type), stored, out, depth + 1);
                }
            }
            // Enumerations of codes are open; of numbers, a symbol must be one of theirs.
            if (resolved->kind == TypeKind::Integer) {
                std::string symbols;
                for (const MM::TypeItem& item : type.items) {
                    symbols += (symbols.empty() ? "" : ", ") + std::string(item.symbol);
                }
                misfit("\"" + v.asText() + "\" is not a symbol of " + std::string(type.symbol) +
                       " (" + symbols + ")");
            }
        }
        // A number the register does not list, as the reader gives it.
        encode(base(type), v, out, depth + 1);
    }

    void weakReference(const Value& v, Bytes& out) const {
        if (v.kind() == Value::Kind::Text && v.asText().size() == 64) {
            if (auto b = hexOf(v.asText()); b && b->size() == 32) {
                out.insert(out.end(), b->begin(), b->end());
                return;
            }
        }
        const Bytes b = sixteen(v, "weak reference");
        out.insert(out.end(), b.begin(), b.end());
    }

    void fixedArray(const MM::TypeDefinition& type, const Value& v, Bytes& out, int depth) {
        if (type.symbol == "UUID") {
            const Bytes b = sixteen(v, "UUID");
            out.insert(out.end(), b.begin(), b.end());
            return;
        }
        const auto& items = listOf(type, v);
        if (items.size() != type.size) {
            misfit(std::string(type.symbol) + " holds " + std::to_string(type.size) +
                   " values, not " + std::to_string(items.size()));
        }
        const MM::TypeDefinition& element = base(type);
        for (const Value& item : items) {
            encode(element, item, out, depth + 1);
        }
    }

    void collection(const MM::TypeDefinition& type, const Value& v, Bytes& out, int depth) {
        const auto& items = listOf(type, v);
        const MM::TypeDefinition& element = base(type);
        std::size_t each = registeredSize(element, types_);
        Bytes body;
        for (std::size_t i = 0; i < items.size(); ++i) {
            const std::size_t before = body.size();
            encode(element, items[i], body, depth + 1);
            const std::size_t size = body.size() - before;
            if (i == 0 && each == 0) {
                each = size;
            } else if (size != each) {
                misfit(std::string(type.symbol) + "'s items must be of one size: item " +
                       std::to_string(i + 1) + " has " + std::to_string(size) + " bytes, not " +
                       std::to_string(each));
            }
        }
        if (items.size() > 0xffffffffu || each > 0xffffffffu) {
            misfit(std::string(type.symbol) + " counts in 32 bits");
        }
        appendBigEndian(out, items.size(), 4);
        appendBigEndian(out, each, 4);
        out.insert(out.end(), body.begin(), body.end());
    }

    static const std::vector<Value>& listOf(const MM::TypeDefinition& type, const Value& v) {
        if (v.kind() != Value::Kind::List) {
            misfit(std::string(type.symbol) + " is a list, not " + v.toJson());
        }
        return v.asList();
    }

    // Big-endian, the actual type's label as a label, then the value by that type.
    void indirect(const Value& v, Bytes& out, int depth) {
        if (v.kind() != Value::Kind::Record || v.asRecord().size() != 2 ||
            v.asRecord()[0].first != "actualType" || v.asRecord()[1].first != "value") {
            misfit("an indirect value is {actualType, value}, not " + v.toJson());
        }
        const Bytes label = sixteen(v.asRecord()[0].second, "type label");
        const MM::TypeDefinition* actual = types_.type(label.data());
        if (actual == nullptr) {
            misfit("the dictionary has no type " + dottedHex(label.data(), 16));
        }
        out.push_back('B');
        out.insert(out.end(), label.begin(), label.end());
        encode(*actual, v.asRecord()[1].second, out, depth + 1);
    }

    const MM::TypeDefinitions& types_;
};

Id::Identifier subTypeOf(const MM::MetaElement& element) {
    MM::Visitors::GetMetaElementVisitor<MM::MetaCollectionElement> collection;
    element.accept(collection);
    return collection.result() != nullptr ? collection.result()->dataSubType() : Id::Unknown;
}

std::string itemTitle(const Item& item) {
    return (item.name().empty() ? std::string("item") : item.name()) + " (" + tagText(item.tag) +
           ")";
}

}  // namespace

std::vector<std::uint8_t> encodeItemValue(const Item& item, const Value& value,
                                          const MM::TypeDefinitions& types) {
    if (item.type == nullptr) {
        throw ValueRefused(itemTitle(item) + ": no registered type to encode its value by",
                           __FILE__, __LINE__);
    }
    try {
        Bytes out;
        // Names without a header, each ended by a NUL, as the reader reads an array of UTF16.
        if (item.element != nullptr && item.element->dataType() == Id::Array &&
            subTypeOf(*item.element) == Id::UTF16) {
            if (value.kind() != Value::Kind::List) {
                misfit("a list of names, not " + value.toJson());
            }
            for (const Value& name : value.asList()) {
                if (name.kind() != Value::Kind::Text) {
                    misfit("a name is a text, not " + name.toJson());
                }
                for (const char32_t c : codePoints(name.asText())) {
                    if (c == 0) {
                        misfit("a name holds no NUL");
                    }
                    appendUtf16(out, c);
                }
                out.push_back(0);
                out.push_back(0);
            }
            return out;
        }
        TypedEncoder(types).encode(*item.type, value, out);
        return out;
    } catch (const Misfit& m) {
        throw ValueRefused(itemTitle(item) + ": " + m.why, __FILE__, __LINE__);
    }
}

std::optional<Value> decodeItemValue(const Item& item, const std::vector<std::uint8_t>& bytes,
                                     const MM::TypeDefinitions& types) {
    Decoded decoded = decodeItem(item.element, item.type, types, bytes);
    return decoded.badSize.empty() ? std::move(decoded.value) : std::nullopt;
}

}  // namespace Velmar::MXF::Values
