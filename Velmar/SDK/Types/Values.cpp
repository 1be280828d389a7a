// The value class tree: out-of-line members, so that each class's type information and virtual
// table live in the library.
#include "Velmar/SDK/DataIO/DataSink.h"
#include "Velmar/SDK/Exceptions/InvalidTextRepresentation.h"
#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/DottedHex.h"
#include "Velmar/SDK/Types/LocalTag.h"
#include "Velmar/SDK/Types/Numbers.h"
#include "Velmar/SDK/Types/Strings.h"
#include "Velmar/SDK/Types/UID.h"
#include "Velmar/SDK/Utils/StringConversion.h"

#include <algorithm>
#include <stdexcept>
#include <typeinfo>

namespace Velmar::SDK {

DataIO::DataSink::~DataSink() = default;

namespace Types {

Visitors::Visitor::~Visitor() = default;
Visitors::NonConstVisitor::~NonConstVisitor() = default;
Visitors::Visitable::~Visitable() = default;
BaseType::~BaseType() = default;
SimpleDataType::~SimpleDataType() = default;

void SimpleDataType::serialize(DataIO::DataSink& sink) const {
    sink.write(bytes_.data(), bytes_.size());
}
const unsigned char* SimpleDataType::rawBuffer() const {
    return bytes_.data();
}
unsigned short SimpleDataType::serializedSize() const {
    // A local set's two-byte length field cannot say more.
    return bytes_.size() > 0xFFFF ? 0xFFFF : static_cast<unsigned short>(bytes_.size());
}

bool operator==(const BaseType& a, const BaseType& b) {
    if (typeid(a) != typeid(b)) {
        return false;
    }
    if (const auto* simple = dynamic_cast<const SimpleDataType*>(&a)) {
        const auto& other = static_cast<const SimpleDataType&>(b);
        return simple->byteCount() == other.byteCount() &&
               std::equal(simple->rawBuffer(), simple->rawBuffer() + simple->byteCount(),
                          other.rawBuffer());
    }
    const auto& x = static_cast<const Collection&>(a);
    const auto& y = static_cast<const Collection&>(b);
    if (x.size() != y.size() || x.itemSize() != y.itemSize()) {
        return false;
    }
    for (std::size_t i = 0; i < x.size(); ++i) {
        const SimpleDataType* p = x.item(i);
        const SimpleDataType* q = y.item(i);
        if ((p == nullptr) != (q == nullptr) || (p != nullptr && *p != *q)) {
            return false;
        }
    }
    return true;
}

Boolean::Boolean(bool value) : value_(value) {
    setBigEndian<unsigned char>(value ? 1 : 0);
}

Rational::Rational(int numerator, int denominator)
    : numerator_(numerator), denominator_(denominator) {
    setBigEndian((static_cast<unsigned long long>(static_cast<unsigned>(numerator)) << 32) |
                 static_cast<unsigned>(denominator));
}

UTF16::UTF16(unsigned short value) : value_(static_cast<XMLCh>(value)) {
    setBigEndian(value);
}

UTF16String::UTF16String(const XMLCh* text) : value_(text != nullptr ? text : u"") {
    bytes_.reserve(value_.size() * 2);
    for (XMLCh c : value_) {
        bytes_.push_back(static_cast<unsigned char>(c >> 8));
        bytes_.push_back(static_cast<unsigned char>(c & 0xFF));
    }
}

UTF8String::UTF8String(const XMLCh* text) : value_(Utils::toUtf8(text)) {
    setBytes(reinterpret_cast<const unsigned char*>(value_.data()), value_.size());
}

ISO7String::ISO7String(const char* text) : value_(text != nullptr ? text : "") {
    setBytes(reinterpret_cast<const unsigned char*>(value_.data()), value_.size());
}

ISO8String::ISO8String(const char* text) : value_(text != nullptr ? text : "") {
    setBytes(reinterpret_cast<const unsigned char*>(value_.data()), value_.size());
}

namespace {
// Raised at the caller's line.
[[noreturn]] void refuseNullBytes(const char* className, int line = __builtin_LINE()) {
    const String message = String(className) + " cannot be made from a null pointer";
    throw Exceptions::InvalidTextRepresentation(message.c_str(), __FILE__, line);
}
}  // namespace

UID::UID(const XMLCh* text, StringRepresentationEncodingType, std::size_t byteCount,
         const char* className) {
    bytes_.resize(byteCount);
    readDottedHex(text, bytes_.data(), byteCount, className);
}
UID::UID(const unsigned char* bytes, std::size_t byteCount, const char* className) {
    if (bytes == nullptr) {
        refuseNullBytes(className);
    }
    setBytes(bytes, byteCount);
}
UID::~UID() = default;

unsigned char& UID::operator[](int index) {
    return bytes_.at(static_cast<std::size_t>(index));
}
unsigned char UID::operator[](int index) const {
    return bytes_.at(static_cast<std::size_t>(index));
}
unsigned short UID::size() const {
    return static_cast<unsigned short>(bytes_.size());
}
WString UID::toString(StringRepresentationEncodingType) const {
    return writeDottedHex(bytes_.data(), bytes_.size());
}

bool operator==(const UID& a, const UID& b) {
    return a.byteCount() == b.byteCount() &&
           std::equal(a.rawBuffer(), a.rawBuffer() + a.byteCount(), b.rawBuffer());
}
bool operator<(const UID& a, const UID& b) {
    return std::lexicographical_compare(a.rawBuffer(), a.rawBuffer() + a.byteCount(), b.rawBuffer(),
                                        b.rawBuffer() + b.byteCount());
}

LocalTag::LocalTag(const XMLCh* text, StringRepresentationEncodingType) {
    bytes_.resize(2);
    readDottedHex(text, bytes_.data(), 2, "LocalTag");
    if (value() == 0) {
        VELMAR_SDK_THROW(Exceptions::InvalidTextRepresentation,
                         "LocalTag cannot read \"00.00\": 00.00 is not a local tag");
    }
}
LocalTag::LocalTag(unsigned short value) {
    setBigEndian(value);
    if (value == 0) {
        VELMAR_SDK_THROW(Exceptions::InvalidTextRepresentation, "00.00 is not a local tag");
    }
}
LocalTag::LocalTag(const unsigned char* bytes) {
    if (bytes == nullptr) {
        refuseNullBytes("LocalTag");
    }
    setBytes(bytes, 2);
    if (value() == 0) {
        VELMAR_SDK_THROW(Exceptions::InvalidTextRepresentation, "00.00 is not a local tag");
    }
}
unsigned short LocalTag::size() const {
    return 2;
}
WString LocalTag::toString(StringRepresentationEncodingType) const {
    return writeDottedHex(bytes_.data(), 2);
}

Collection::Collection(int itemSize) : itemSize_(itemSize) {}
Collection::Collection(const Collection& other) : BaseType(other), itemSize_(other.itemSize_) {
    items_.reserve(other.items_.size());
    for (const auto& item : other.items_) {
        items_.push_back(item ? item->clone() : nullptr);
    }
}
Collection::~Collection() = default;

void Collection::append(Templates::auto_ptr<SimpleDataType> item) {
    items_.push_back(std::move(item));
}

void Collection::serialize(DataIO::DataSink& sink) const {
    unsigned char header[8];
    const auto count = static_cast<unsigned>(items_.size());
    const auto size = static_cast<unsigned>(itemSize_);
    for (int i = 0; i < 4; ++i) {
        header[i] = static_cast<unsigned char>(count >> (24 - 8 * i));
        header[4 + i] = static_cast<unsigned char>(size >> (24 - 8 * i));
    }
    sink.write(header, sizeof header);
    for (const auto& item : items_) {
        if (item) {
            item->serialize(sink);
        }
    }
}

std::size_t Collection::serializedSize() const {
    std::size_t size = 8;
    for (const auto& item : items_) {
        size += item ? item->byteCount() : 0;
    }
    return size;
}

Array::Array(int itemSize) : Collection(itemSize) {}
void Array::accept(Visitors::NonConstVisitor& visitor) {
    visitor.visit(*this);
}
void Array::accept(Visitors::Visitor& visitor) const {
    visitor.visit(*this);
}
Templates::auto_ptr<Collection> Array::clone() const {
    return Templates::auto_ptr<Collection>(new Array(*this));
}

Batch::Batch(int itemSize) : Collection(itemSize) {}
void Batch::accept(Visitors::NonConstVisitor& visitor) {
    visitor.visit(*this);
}
void Batch::accept(Visitors::Visitor& visitor) const {
    visitor.visit(*this);
}
Templates::auto_ptr<Collection> Batch::clone() const {
    return Templates::auto_ptr<Collection>(new Batch(*this));
}

}  // namespace Types
}  // namespace Velmar::SDK
