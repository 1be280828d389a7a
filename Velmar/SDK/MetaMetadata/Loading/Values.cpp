// Default value texts: one value of each data type that has a text form, and the value lists
// of arrays, batches and rationals.
#include <locale>
#include <sstream>
#include <string>

#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/Factories/BaseTypeFactory.h"
#include "Velmar/SDK/Types/Numbers.h"
#include "Velmar/SDK/Types/Strings.h"
#include "Velmar/SDK/Types/UID.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::SDK::MetaMetadata::Loading {

namespace {

namespace Id = Types::Identifiers;
using Value = Templates::auto_ptr<Types::BaseType>;

// One formatted extraction, as a standard stream in the classic locale makes it: white space
// skipped, an optional sign, decimal digits up to the first code unit that cannot continue the
// number. No number gives 0; a number out of the variable's range gives its limit; for the
// unsigned widths a leading '-' negates modulo 2 to the width.
class NumberReader {
  public:
    explicit NumberReader(const WString& text) {
        // The library has no numeric input for 16-bit characters. Every code unit that could be
        // part of a number or white space is ASCII, so the others become one that is neither.
        std::string narrow;
        narrow.reserve(text.size());
        for (const XMLCh c : text) {
            narrow += c > 0 && c < 0x7F ? static_cast<char>(c) : '\x7F';
        }
        stream_.str(narrow);
        stream_.imbue(std::locale::classic());
    }

    template <class T>
    T read() {
        T value = 0;
        stream_ >> value;
        return value;
    }

  private:
    std::istringstream stream_;
};

bool isClassicSpace(XMLCh c) {
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

template <class T>
Value make(T* value) {
    return Value(value);
}

template <class CollectionType>
Value parseCollection(Id::Identifier itemType, WString text) {
    // A collection cannot hold collections: the split is flat and items are single values.
    if (itemType == Id::Array || itemType == Id::Batch) {
        Types::Factories::BaseTypeFactory::instance().validateSimpleType(itemType);
    }
    XSDDictionaryLoaderImpl::NameList items;
    XSDDictionaryLoaderImpl::splitValueList(std::move(text), items);
    Templates::auto_ptr<CollectionType> collection(
        new CollectionType(XSDDictionaryLoaderImpl::collectionElementSize(itemType)));
    for (WString& item : items) {
        Value value = XSDDictionaryLoaderImpl::parseValue(itemType, Id::Unknown, std::move(item));
        // Every value parseValue gives for an item type that is not a collection is simple.
        collection->append(Templates::auto_ptr<Types::SimpleDataType>(
            static_cast<Types::SimpleDataType*>(value.release())));
    }
    return Value(collection.release());
}

}  // namespace

Value XSDDictionaryLoaderImpl::parseValue(Id::Identifier dataType, Id::Identifier dataSubType,
                                          WString text) {
    if (static_cast<unsigned>(dataType) > 42u) {
        return nullptr;
    }
    switch (dataType) {
        case Id::Array:
            return parseArray(dataSubType, std::move(text));
        case Id::Batch:
            return parseBatch(dataSubType, std::move(text));
        case Id::Boolean:
            return make(new Types::Boolean(text != u"0"));
        case Id::Int8:
            return make(new Types::Int8(static_cast<signed char>(NumberReader(text).read<int>())));
        case Id::Int16:
            return make(new Types::Int16(static_cast<short>(NumberReader(text).read<int>())));
        case Id::Int32:
            return make(new Types::Int32(NumberReader(text).read<int>()));
        case Id::Int64:
            return make(new Types::Int64(NumberReader(text).read<long long>()));
        case Id::Length:
            return make(new Types::Length(NumberReader(text).read<long long>()));
        case Id::Position:
            return make(new Types::Position(NumberReader(text).read<long long>()));
        case Id::UInt8:
            return make(
                new Types::UInt8(static_cast<unsigned char>(NumberReader(text).read<unsigned>())));
        case Id::UInt16:
            return make(new Types::UInt16(
                static_cast<unsigned short>(NumberReader(text).read<unsigned>())));
        case Id::UInt32:
            return make(new Types::UInt32(NumberReader(text).read<unsigned>()));
        case Id::UInt64:
            return make(new Types::UInt64(NumberReader(text).read<unsigned long long>()));
        case Id::Rational:
            return parseRational(std::move(text));
        case Id::UTF16: {
            // The first code unit of the first word, or 0 when there is none.
            std::size_t i = 0;
            while (i < text.size() && isClassicSpace(text[i])) {
                ++i;
            }
            return make(new Types::UTF16(i < text.size() ? text[i] : 0));
        }
        case Id::UTF16String:
            return make(new Types::UTF16String(text.c_str()));
        case Id::UTF8String:
            return make(new Types::UTF8String(text.c_str()));
        case Id::ISO7String:
            return make(new Types::ISO7String(Utils::wstringToString(text.c_str()).c_str()));
        case Id::ISO8String:
            return make(new Types::ISO8String(Utils::wstringToString(text.c_str()).c_str()));
        case Id::UniversalLabel:
            return make(new Types::UniversalLabel(text.c_str(), Types::Dotted));
        case Id::AUID:
            return make(new Types::AUID(text.c_str(), Types::Dotted));
        case Id::UUID:
            return make(new Types::UUID(text.c_str(), Types::Dotted));
        case Id::UMID32:
            return make(new Types::UMID32(text.c_str(), Types::Dotted));
        case Id::UMID64:
            return make(new Types::UMID64(text.c_str(), Types::Dotted));
        default:
            return nullptr;  // no text form
    }
}

void XSDDictionaryLoaderImpl::splitValueList(WString text, NameList& items) {
    if (text.size() < 4 || text.front() != u'{' || text.back() != u'}') {
        return;
    }
    const WString inner = text.substr(1, text.size() - 2);
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = inner.find(u',', start);
        if (comma == WString::npos) {
            // The piece after a trailing comma is no item.
            if (start < inner.size()) {
                items.push_back(inner.substr(start));
            }
            return;
        }
        items.push_back(inner.substr(start, comma - start));
        start = comma + 1;
    }
}

Value XSDDictionaryLoaderImpl::parseRational(WString text) {
    NameList items;
    splitValueList(text, items);
    if (items.size() < 2) {
        WString message = u"Rational default \"";
        message += text.substr(0, 120);
        message += u"\" needs two items, {numerator,denominator}";
        VELMAR_SDK_THROW(Exceptions::ParseError, message.c_str());
    }
    auto number = [](WString item) {
        return static_cast<const Types::Int32&>(
                   *parseValue(Id::Int32, Id::Unknown, std::move(item)))
            .value();
    };
    const int numerator = number(items[0]);
    const int denominator = number(items[1]);
    return make(new Types::Rational(numerator, denominator));
}

Value XSDDictionaryLoaderImpl::parseArray(Id::Identifier itemType, WString text) {
    return parseCollection<Types::Array>(itemType, std::move(text));
}

Value XSDDictionaryLoaderImpl::parseBatch(Id::Identifier itemType, WString text) {
    return parseCollection<Types::Batch>(itemType, std::move(text));
}

int XSDDictionaryLoaderImpl::collectionElementSize(Id::Identifier itemType) {
    switch (itemType) {
        case Id::Boolean:
            return 1;
        case Id::UTF16:
            return 2;
        case Id::Int8:
        case Id::Int16:
        case Id::Int32:
        case Id::UInt8:
        case Id::UInt16:
        case Id::UInt32:
            return 4;  // the narrow integers too
        case Id::Int64:
        case Id::Length:
        case Id::Position:
        case Id::UInt64:
            return 8;
        default:
            return 0;
    }
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
