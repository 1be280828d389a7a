// Reads a compiled dictionary (the layout is in CompiledFormat.h). The file comes from outside:
// every count is checked against the bytes left before it sizes anything, every index against
// what it indexes, every value against its type's range.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

// Inlined: the checksum costs a call per file, and the library gains no run-time dependency.
#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "Velmar/SDK/Exceptions/InvalidCompiledDictionary.h"
#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledDictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledFormat.h"
#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/Numbers.h"
#include "Velmar/SDK/Types/Strings.h"
#include "Velmar/SDK/Types/UID.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::SDK::MetaMetadata::Loading {

namespace Compiled {
std::uint64_t checksum(const unsigned char* data, std::size_t size) {
    return XXH3_64bits(data, size);
}
}  // namespace Compiled

namespace {

using namespace Compiled;
namespace Id = Types::Identifiers;

[[noreturn]] void refuse(const std::string& message) {
    VELMAR_SDK_THROW(Exceptions::InvalidCompiledDictionary, message.c_str());
}

std::uint64_t little(const unsigned char* at, int size) {
    std::uint64_t value = 0;
    for (int i = size; i-- > 0;) {
        value = value << 8 | at[i];
    }
    return value;
}

// The content, read front to back.
class Input {
  public:
    Input(const unsigned char* data, std::size_t size, std::size_t base, const std::string& name)
        : data_(data), size_(size), base_(base), name_(name) {}

    [[noreturn]] void corrupt(const std::string& what) const {
        refuse("Compiled dictionary \"" + name_ + "\" is corrupt at byte " +
               std::to_string(base_ + at_) + ": " + what);
    }
    const unsigned char* take(std::size_t size, const char* what) {
        if (size > size_ - at_) {
            corrupt(std::string(what) + " runs past the end");
        }
        const unsigned char* at = data_ + at_;
        at_ += size;
        return at;
    }
    std::uint8_t u8(const char* what) { return *take(1, what); }
    std::uint16_t u16(const char* what) {
        return static_cast<std::uint16_t>(little(take(2, what), 2));
    }
    std::uint32_t u32(const char* what) {
        return static_cast<std::uint32_t>(little(take(4, what), 4));
    }
    std::uint64_t u64(const char* what) { return little(take(8, what), 8); }
    // A count of things each at least `each` bytes long, which the bytes left must hold.
    std::uint32_t count(std::size_t each, const char* what) {
        const std::uint32_t n = u32(what);
        if (n > (size_ - at_) / each) {
            corrupt(std::to_string(n) + " " + what + " of at least " + std::to_string(each) +
                    " bytes each, where " + std::to_string(size_ - at_) + " bytes are left");
        }
        return n;
    }
    std::size_t left() const { return size_ - at_; }

  private:
    const unsigned char* data_;
    std::size_t size_;
    std::size_t at_ = 0;
    std::size_t base_;  // the content's offset in the file, for messages
    const std::string& name_;
};

class ContentReader {
  public:
    ContentReader(Input& in, Dictionary& dictionary, std::uint32_t version)
        : in_(in), dictionary_(dictionary), version_(version) {}

    void read() {
        readStrings();
        const std::uint32_t elementCount = in_.count(kMinElement, "elements");
        const std::uint32_t attributeCount = in_.count(kMinAttribute, "attributes");
        const std::uint32_t setCount = in_.count(kMinSet, "sets");
        const std::uint32_t tagCount = in_.count(kMinLocalTag, "local tags");
        const std::uint32_t conflictCount = in_.count(kMinLocalTag, "local tag conflicts");
        dictionary_.reserve(dictionary_.metaElementCount() + elementCount,
                            dictionary_.metaMetadataSetCount() + setCount);
        elements_.reserve(elementCount);
        for (std::uint32_t i = 0; i < elementCount; ++i) {
            readElement();
        }
        for (std::uint32_t i = 0; i < tagCount + conflictCount; ++i) {
            const Types::LocalTag tag(localTag());
            dictionary_.addLocalTag(tag, Types::UniversalLabel(in_.take(16, "a label")));
        }
        attributes_.reserve(attributeCount);
        for (std::uint32_t i = 0; i < attributeCount; ++i) {
            readAttribute();
        }
        for (std::uint32_t i = 0; i < setCount; ++i) {
            readSet();
        }
        // Version 1 ends with the sets; later versions may add the registered types.
        const bool typesFollow = version_ >= 2 && in_.left() != 0;
        if (typesFollow) {
            readRegisteredTypes();
        }
        if (in_.left() != 0) {
            in_.corrupt(std::to_string(in_.left()) + " bytes follow the " +
                        (typesFollow ? "registered types" : "last set"));
        }
    }

    const XMLCh* note() const { return string(0); }

    void readStrings() {
        const std::uint32_t count = in_.u32("the string count");
        const std::uint32_t units = in_.count(2, "string code units");
        if (count == 0 || count > units) {
            in_.corrupt(std::to_string(count) + " strings in " + std::to_string(units) +
                        " code units");
        }
        const unsigned char* at = in_.take(std::size_t{units} * 2, "the strings");
        units_ = reinterpret_cast<const XMLCh*>(at);  // the caller aligned the data
        unitCount_ = units;
        starts_.reserve(count);
        starts_.push_back(0);
        for (std::uint32_t i = 0; i < units; ++i) {
            if (units_[i] == 0 && i + 1 < units) {
                if (starts_.size() == count) {
                    in_.corrupt("more strings than the " + std::to_string(count) + " announced");
                }
                starts_.push_back(i + 1);
            }
        }
        if (units_[units - 1] != 0 || starts_.size() != count) {
            in_.corrupt("the strings do not end as announced");
        }
    }

  private:
    // String `index`, with the length the table gives it.
    std::u16string_view text(std::uint32_t index) const {
        const XMLCh* start = string(index);
        const std::uint32_t end = index + 1 < starts_.size() ? starts_[index + 1] : unitCount_;
        return std::u16string_view(start, end - starts_[index] - 1);
    }

    const XMLCh* string(std::uint32_t index) const {
        if (index >= starts_.size()) {
            in_.corrupt("string " + std::to_string(index) + " of " +
                        std::to_string(starts_.size()));
        }
        return units_ + starts_[index];
    }

    void readProperties(PropertyMap& properties) {
        const std::uint32_t count = in_.count(kPropertySize, "properties");
        properties.reserveProperties(count);
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::u16string_view name = text(in_.u32("a property name"));
            properties.addProperty(name, text(in_.u32("a property value")));
        }
    }

    Id::Identifier identifier(const char* what) {
        const std::uint8_t id = in_.u8(what);
        if (id >= Id::kIdentifierCount) {
            in_.corrupt(std::string(what) + " " + std::to_string(id) + ", which is none");
        }
        return static_cast<Id::Identifier>(id);
    }

    MetaCollectionElement::CollectionSizeLimits limits() {
        MetaCollectionElement::CollectionSizeLimits limits;
        const std::uint64_t minimum = in_.u64("a minimum item count");
        const std::uint64_t maximum = in_.u64("a maximum item count");
        if (minimum > ULONG_MAX || maximum > ULONG_MAX) {
            in_.corrupt("an item count bound this host cannot hold");
        }
        limits.minimum = static_cast<unsigned long>(minimum);
        limits.maximum = static_cast<unsigned long>(maximum);
        return limits;
    }

    KeyVector targets() {
        const std::uint32_t count = in_.count(KLV::Key::kSize, "target sets");
        KeyVector keys;
        keys.reserve(count);
        for (std::uint32_t i = 0; i < count; ++i) {
            keys.emplace_back(in_.take(KLV::Key::kSize, "a target key"));
        }
        return keys;
    }

    void readElement() {
        const std::uint8_t kind = in_.u8("an element kind");
        if (kind >= kElementKinds) {
            in_.corrupt("element kind " + std::to_string(kind) + ", which is none");
        }
        const Types::UniversalLabel label(in_.take(16, "a label"));
        const Id::Identifier type = identifier("a data type");
        Templates::auto_ptr<MetaElement> element;
        switch (static_cast<ElementKind>(kind)) {
            case ElementKind::Simple:
                element.reset(new MetaSimpleElement(label, type));
                break;
            case ElementKind::Collection: {
                const Id::Identifier subType = identifier("an item data type");
                element.reset(new MetaCollection(label, limits(), type, subType));
                break;
            }
            case ElementKind::Reference:
                element.reset(new MetaReferenceElement(label, targets(), type));
                break;
            case ElementKind::ReferenceCollection: {
                const Id::Identifier subType = identifier("an item data type");
                const auto bounds = limits();
                element.reset(new MetaReferenceCollection(label, bounds, targets(), type, subType));
                break;
            }
        }
        readProperties(*element);
        elements_.push_back(element.get());
        dictionary_.addMetaElement(label, std::move(element));
    }

    std::uint16_t localTag() {
        const std::uint16_t tag = in_.u16("a local tag");
        if (tag == 0) {
            in_.corrupt("local tag 00.00");
        }
        return tag;
    }

    void readAttribute() {
        const std::uint32_t index = in_.u32("an attribute's element");
        if (index >= elements_.size()) {
            in_.corrupt("element " + std::to_string(index) + " of " +
                        std::to_string(elements_.size()));
        }
        const MetaElement& element = *elements_[index];
        const std::uint8_t status = in_.u8("a required status");
        if (status > AttributeRequiredStatus::BestEffort) {
            in_.corrupt("required status " + std::to_string(status) + ", which is none");
        }
        const std::uint8_t hasTag = in_.u8("whether an attribute has a local tag");
        const Types::LocalTag* tag = nullptr;
        if (hasTag > 1) {
            in_.corrupt("a local tag flag of " + std::to_string(hasTag));
        } else if (hasTag == 1 &&
                   (tag = dictionary_.localTag(element.universalLabel())) == nullptr) {
            in_.corrupt("an attribute with the local tag of an element that has none");
        }
        Templates::auto_ptr<const Types::BaseType> value = readValue();
        MetaAttributePtr attribute(new MetaAttribute(
            element, static_cast<AttributeRequiredStatus::Status>(status), std::move(value), tag));
        readProperties(*attribute);
        attributes_.push_back(std::move(attribute));
    }

    void readSet() {
        const KLV::Key key(in_.take(KLV::Key::kSize, "a set key"));
        MetaMetadataSet set(key);
        readProperties(set);
        const std::uint32_t count = in_.count(4, "set attributes");
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint32_t index = in_.u32("a set attribute");
            if (index >= attributes_.size()) {
                in_.corrupt("attribute " + std::to_string(index) + " of " +
                            std::to_string(attributes_.size()));
            }
            set.addMetaAttribute(attributes_[index]);
        }
        dictionary_.addMetaMetadataSet(key, set);
    }

    std::string_view textOf(const char* what) {
        const std::uint32_t size = in_.count(1, what);
        return std::string_view(reinterpret_cast<const char*>(in_.take(size, what)), size);
    }

    LabelBytes labelBytes(const char* what) {
        LabelBytes label;
        std::memcpy(label.data(), in_.take(16, what), 16);
        return label;
    }

    void readRegisteredTypes() {
        const std::uint8_t present = in_.u8("whether registered types follow");
        if (present != 1) {
            in_.corrupt("a registered types flag of " + std::to_string(present));
        }
        TypeDefinitions::Builder builder;
        builder.reserveTexts(in_.left());  // the texts are most of what is left
        const std::uint32_t types = in_.count(kMinType, "registered types");
        builder.reserve(types, 0, 0);
        for (std::uint32_t i = 0; i < types; ++i) {
            TypeDefinitions::Builder::Type type;
            type.label = labelBytes("a type label");
            const std::uint8_t kind = in_.u8("a type kind");
            if (kind >= kTypeKindCount) {
                in_.corrupt("type kind " + std::to_string(kind) + ", which is none");
            }
            type.kind = static_cast<TypeKind>(kind);
            const std::uint8_t flags = in_.u8("type flags");
            if ((flags & ~(kTypeSigned | kTypeHasBase)) != 0) {
                in_.corrupt("type flags " + std::to_string(flags) + " this library does not know");
            }
            type.isSigned = (flags & kTypeSigned) != 0;
            type.size = in_.u32("a type size");
            if ((flags & kTypeHasBase) != 0) {
                type.base = labelBytes("a base type");
            }
            type.symbol = textOf("a type symbol");
            type.name = textOf("a type name");
            type.namespaceURI = textOf("a type namespace");
            builder.addType(type);
            const std::uint32_t members = in_.count(kMinMember, "record members");
            for (std::uint32_t m = 0; m < members; ++m) {
                const std::string_view symbol = textOf("a member symbol");
                const std::string_view name = textOf("a member name");
                builder.addMember(symbol, name, labelBytes("a member type"));
            }
            const std::uint32_t items = in_.count(kMinItem, "enumeration items");
            for (std::uint32_t n = 0; n < items; ++n) {
                const std::string_view symbol = textOf("an item symbol");
                const std::string_view name = textOf("an item name");
                builder.addItem(symbol, name, textOf("an item value"));
            }
        }
        const std::uint32_t elementTypes = in_.count(kElementTypeSize, "element types");
        for (std::uint32_t i = 0; i < elementTypes; ++i) {
            const LabelBytes element = labelBytes("an element label");
            const LabelBytes type = labelBytes("an element's type");
            const std::uint8_t unique = in_.u8("whether an element is a unique identifier");
            if (unique > 1) {
                in_.corrupt("a unique identifier flag of " + std::to_string(unique));
            }
            builder.addElementType(element, type, unique == 1);
        }
        const std::uint32_t symbols = in_.count(kMinSymbol, "registered symbols");
        for (std::uint32_t i = 0; i < symbols; ++i) {
            const LabelBytes label = labelBytes("a label");
            builder.addRegisteredSymbol(label, textOf("a registered symbol"));
        }
        const std::uint32_t labels = in_.count(kMinLabel, "labels");
        builder.reserve(0, labels, elementTypes);
        for (std::uint32_t i = 0; i < labels; ++i) {
            const LabelBytes label = labelBytes("a label");
            const std::string_view symbol = textOf("a label symbol");
            builder.addLabel(label, symbol, textOf("a label name"));
        }
        // The writer gives every label once.
        TypeDefinitions built = builder.build();
        if (builder.duplicates() != 0) {
            in_.corrupt(std::to_string(builder.duplicates()) + " registered labels given twice");
        }
        dictionary_.setTypeDefinitions(std::move(built));
    }

    Templates::auto_ptr<const Types::BaseType> readValue() {
        const std::uint8_t code = in_.u8("a value code");
        if (code >= kValueCodes) {
            in_.corrupt("value code " + std::to_string(code) + ", which is none");
        }
        const auto value = static_cast<ValueCode>(code);
        if (value == ValueCode::Array || value == ValueCode::Batch) {
            return readCollection(value);
        }
        return readSimple(value);
    }

    Templates::auto_ptr<const Types::BaseType> readCollection(ValueCode code) {
        const auto itemSize = static_cast<std::int32_t>(in_.u32("an item size"));
        const std::uint32_t count = in_.count(1, "collection items");
        Templates::auto_ptr<Types::Collection> collection;
        if (code == ValueCode::Array) {
            collection.reset(new Types::Array(itemSize));
        } else {
            collection.reset(new Types::Batch(itemSize));
        }
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint8_t code = in_.u8("a value code");
            if (code >= kValueCodes) {
                in_.corrupt("value code " + std::to_string(code) + ", which is none");
            }
            collection->append(readSimple(static_cast<ValueCode>(code)));
        }
        return collection;
    }

    template <class T>
    Templates::auto_ptr<Types::SimpleDataType> number() {
        const std::uint64_t raw = in_.u64("a number");
        using Value = typename T::value_type;
        const auto value = static_cast<Value>(raw);
        if (static_cast<std::uint64_t>(value) != raw) {
            in_.corrupt("a number out of its type's range");
        }
        return Templates::auto_ptr<Types::SimpleDataType>(new T(value));
    }

    String bytes() {
        const std::uint32_t size = in_.count(1, "string bytes");
        const unsigned char* at = in_.take(size, "a string");
        if (std::memchr(at, 0, size) != nullptr) {
            in_.corrupt("an 8-bit string holding a NUL");
        }
        return String(reinterpret_cast<const char*>(at), size);
    }

    template <class T, std::size_t N>
    Templates::auto_ptr<Types::SimpleDataType> uid() {
        return Templates::auto_ptr<Types::SimpleDataType>(new T(in_.take(N, "an identifier")));
    }

    // Also an empty item of a collection (None), but not a collection.
    Templates::auto_ptr<Types::SimpleDataType> readSimple(ValueCode code) {
        using Ptr = Templates::auto_ptr<Types::SimpleDataType>;
        switch (code) {
            case ValueCode::None:
                return nullptr;
            case ValueCode::Boolean: {
                const std::uint8_t value = in_.u8("a Boolean");
                if (value > 1) {
                    in_.corrupt("a Boolean of " + std::to_string(value));
                }
                return Ptr(new Types::Boolean(value == 1));
            }
            case ValueCode::Int8:
                return number<Types::Int8>();
            case ValueCode::Int16:
                return number<Types::Int16>();
            case ValueCode::Int32:
                return number<Types::Int32>();
            case ValueCode::Int64:
                return number<Types::Int64>();
            case ValueCode::UInt8:
                return number<Types::UInt8>();
            case ValueCode::UInt16:
                return number<Types::UInt16>();
            case ValueCode::UInt32:
                return number<Types::UInt32>();
            case ValueCode::UInt64:
                return number<Types::UInt64>();
            case ValueCode::Length:
                return Ptr(new Types::Length(static_cast<long long>(in_.u64("a length"))));
            case ValueCode::Position:
                return Ptr(new Types::Position(static_cast<long long>(in_.u64("a position"))));
            case ValueCode::Rational: {
                const auto numerator = static_cast<std::int32_t>(in_.u32("a numerator"));
                const auto denominator = static_cast<std::int32_t>(in_.u32("a denominator"));
                return Ptr(new Types::Rational(numerator, denominator));
            }
            case ValueCode::UTF16:
                return Ptr(new Types::UTF16(in_.u16("a UTF-16 unit")));
            case ValueCode::UTF16String:
                return Ptr(new Types::UTF16String(string(in_.u32("a string"))));
            case ValueCode::UTF8String:
                return Ptr(new Types::UTF8String(string(in_.u32("a string"))));
            case ValueCode::ISO7String:
                return Ptr(new Types::ISO7String(bytes().c_str()));
            case ValueCode::ISO8String:
                return Ptr(new Types::ISO8String(bytes().c_str()));
            case ValueCode::UniversalLabel:
                return uid<Types::UniversalLabel, 16>();
            case ValueCode::AUID:
                return uid<Types::AUID, 16>();
            case ValueCode::UUID:
                return uid<Types::UUID, 16>();
            case ValueCode::UMID32:
                return uid<Types::UMID32, 32>();
            case ValueCode::UMID64:
                return uid<Types::UMID64, 64>();
            case ValueCode::LocalTag:
                return Ptr(new Types::LocalTag(localTag()));
            case ValueCode::Array:
            case ValueCode::Batch:
                break;
        }
        in_.corrupt("a collection inside a collection");
    }

    Input& in_;
    Dictionary& dictionary_;
    std::uint32_t version_;
    const XMLCh* units_ = nullptr;
    std::uint32_t unitCount_ = 0;
    Templates::vector<std::uint32_t> starts_;
    Templates::vector<const MetaElement*> elements_;
    Templates::vector<MetaAttributePtr> attributes_;
};

// Checks the header and the checksum, then hands the content on.
template <class Use>
void withContent(const unsigned char* data, std::size_t size, const std::string& name, Use use) {
    if (!hasCompiledDictionarySignature(data, size)) {
        refuse("\"" + name +
               "\" is not a compiled dictionary: its first bytes are not the signature");
    }
    const std::string called = "Compiled dictionary \"" + name + "\"";
    if (size < kHeaderSize) {
        refuse(called + " is truncated: " + std::to_string(size) +
               " bytes, where the header alone takes " + std::to_string(kHeaderSize));
    }
    const auto version = static_cast<std::uint32_t>(little(data + 8, 4));
    if (version < kOldestCompiledDictionaryFormatVersion ||
        version > kCompiledDictionaryFormatVersion) {
        refuse(called + " is of format version " + std::to_string(version) +
               (version < kOldestCompiledDictionaryFormatVersion ? ", older" : ", newer") +
               " than the versions this library reads (" +
               std::to_string(kOldestCompiledDictionaryFormatVersion) + " to " +
               std::to_string(kCompiledDictionaryFormatVersion) + "): compile it again");
    }
    if (little(data + 12, 4) != 0) {
        refuse(called + " is corrupt: its header has flags this library does not know");
    }
    const std::uint64_t contentSize = little(data + 16, 8);
    const std::size_t there = size - kHeaderSize;
    if (contentSize > there) {
        refuse(called + " is truncated: its header announces " + std::to_string(contentSize) +
               " bytes of content, " + std::to_string(there) + " are there");
    }
    if (contentSize < there) {
        refuse(called + " is corrupt: " + std::to_string(there - contentSize) +
               " bytes follow its content");
    }
    if (checksum(data + kHeaderSize, there) != little(data + 24, 8)) {
        refuse(called + " is corrupt: its content does not match its checksum");
    }
    Input in(data + kHeaderSize, there, kHeaderSize, name);
    use(in, version);
}

// A file's bytes, read whole into pages made present in one call: on a virtual machine a page
// fault per 4 KiB costs more than the read. (Not a map of the file itself, which a writer
// truncating it could turn into a fault of the process.)
class FileBytes {
  public:
    explicit FileBytes(const char* path) {
        if (path == nullptr) {
            VELMAR_SDK_THROW(Exceptions::ParseError, "Null compiled dictionary path");
        }
        const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
        struct stat status {};
        int error = 0;
        if (fd < 0 || ::fstat(fd, &status) != 0) {
            error = errno;
        } else if (S_ISDIR(status.st_mode)) {
            error = EISDIR;
        } else if (!S_ISREG(status.st_mode)) {
            error = EINVAL;
        } else if (status.st_size > 0) {
            capacity_ = static_cast<std::size_t>(status.st_size);
            void* pages = ::mmap(nullptr, capacity_, PROT_READ | PROT_WRITE,
                                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
            if (pages == MAP_FAILED) {
                ::close(fd);
                throw std::bad_alloc();
            }
            data_ = static_cast<unsigned char*>(pages);
            while (size_ < capacity_) {
                const ssize_t n = ::read(fd, data_ + size_, capacity_ - size_);
                if (n < 0 && errno == EINTR) {
                    continue;
                }
                if (n <= 0) {
                    error = n < 0 ? errno : 0;  // at 0 it shrank since
                    break;
                }
                size_ += static_cast<std::size_t>(n);
            }
        }
        if (fd >= 0) {
            ::close(fd);
        }
        if (error != 0) {
            release();
            VELMAR_SDK_THROW(Exceptions::ParseError,
                             (std::string("Cannot read compiled dictionary \"") + path +
                              "\": " + std::strerror(error))
                                 .c_str());
        }
    }
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;
    ~FileBytes() { release(); }

    const unsigned char* data() const { return data_; }
    std::size_t size() const { return size_; }

  private:
    void release() noexcept {
        if (data_ != nullptr) {
            ::munmap(data_, capacity_);
            data_ = nullptr;
        }
    }
    unsigned char* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace

bool hasCompiledDictionarySignature(const unsigned char* data, std::size_t size) {
    return data != nullptr && size >= sizeof kSignature &&
           std::memcmp(data, kSignature, sizeof kSignature) == 0;
}

void loadCompiledDictionary(const unsigned char* data, std::size_t size, Dictionary& dictionary,
                            const char* name) {
    const std::string called(name != nullptr ? name : "(in memory)");
    // The strings are used in place as 16-bit units.
    if (reinterpret_cast<std::uintptr_t>(data) % alignof(XMLCh) != 0) {
        const Templates::vector<unsigned char> aligned(data, data + size);
        loadCompiledDictionary(aligned.data(), aligned.size(), dictionary, called.c_str());
        return;
    }
    try {
        withContent(data, size, called, [&](Input& in, std::uint32_t version) {
            ContentReader(in, dictionary, version).read();
        });
    } catch (const std::bad_alloc&) {
        VELMAR_SDK_THROW(Exceptions::ParseError,
                         ("Out of memory loading compiled dictionary \"" + called + "\"").c_str());
    }
}

void loadCompiledDictionary(const char* path, Dictionary& dictionary) {
    std::optional<FileBytes> bytes;
    try {
        bytes.emplace(path);
    } catch (const std::bad_alloc&) {
        VELMAR_SDK_THROW(
            Exceptions::ParseError,
            (std::string("Out of memory reading compiled dictionary \"") + path + "\"").c_str());
    }
    loadCompiledDictionary(bytes->data(), bytes->size(), dictionary, path);
}

String compiledDictionaryNote(const char* path) {
    const FileBytes bytes(path);
    String note;
    withContent(bytes.data(), bytes.size(), path, [&](Input& in, std::uint32_t version) {
        Dictionary unused;
        ContentReader reader(in, unused, version);
        reader.readStrings();
        note = Utils::toUtf8(reader.note());
    });
    return note;
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
