#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Velmar/SDK/Platform/Export.h"

namespace Velmar::SDK::MetaMetadata {

// A universal label as 16 bytes, in the order a file stores them.
using LabelBytes = std::array<std::uint8_t, 16>;

// What a registered type is, in the words of the types register.
enum class TypeKind : std::uint8_t {
    Integer,                // size bytes, big-endian, signed or not
    Float,                  // IEEE 754 of size bytes (2, 4 or 8)
    Character,              // one code unit of a string type
    String,                 // base: its character type
    Record,                 // members, in order
    Enumeration,            // base: its integer (or string) type; items: symbol and value
    ExtendibleEnumeration,  // an AUID whose known values (items) are labels
    FixedArray,             // size elements of base
    VariableArray,          // base elements, counted in the file
    Set,                    // base elements, counted, in no order
    Rename,                 // base, under another name
    Indirect,               // a value that names its own type
    Opaque,
    Stream,
    StrongReference,  // base: the label of the set it owns
    WeakReference,    // base: the label of the set it names
};
constexpr std::size_t kTypeKindCount = 16;

// "Integer", "Record", ... as the types register writes them ("ExtendibleEnumeration" and
// "Float" have no word of their own there).
VELMAR_SDK_API const char* typeKindName(TypeKind kind);
VELMAR_SDK_API std::optional<TypeKind> typeKindFromName(std::string_view name);

// A view of contiguous entries held by the TypeDefinitions it came from.
template <class T>
class Span {
  public:
    Span() = default;
    Span(const T* begin, std::size_t size) : begin_(begin), size_(size) {}
    const T* begin() const { return begin_; }
    const T* end() const { return begin_ + size_; }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    const T& operator[](std::size_t index) const { return begin_[index]; }

  private:
    const T* begin_ = nullptr;
    std::size_t size_ = 0;
};

// A member of a record.
struct TypeMember {
    std::string_view symbol;
    std::string_view name;
    LabelBytes type{};
};

// An item of an enumeration: the value as the register writes it ("3", "7777", a label's
// URN, a code word) and, where it is a whole number or a label, that value.
struct TypeItem {
    std::string_view symbol;
    std::string_view name;
    std::string_view text;
    std::optional<std::int64_t> number;
    std::optional<LabelBytes> label;
};

// One registered type. Texts are UTF-8, held by the TypeDefinitions it came from.
struct TypeDefinition {
    LabelBytes label{};
    std::string_view symbol;
    std::string_view name;
    std::string_view namespaceURI;
    TypeKind kind = TypeKind::Opaque;
    bool isSigned = false;   // Integer
    std::uint32_t size = 0;  // bytes of an Integer or Float; elements of a FixedArray; else 0
    std::optional<LabelBytes> base;  // see TypeKind
    Span<TypeMember> members;        // Record
    Span<TypeItem> items;            // Enumeration, ExtendibleEnumeration
};

// A registered label and its names.
struct LabelDefinition {
    LabelBytes label{};
    std::string_view symbol;
    std::string_view name;
};

// The registered types and labels of a dictionary, and which type each element has: what a
// reader needs to decode every value by its type and to name it. Lookups by label try the
// exact bytes first, then the label without its version byte (the eighth), the highest version
// winning, as files and registers differ there. Filled once through a Builder, then read-only,
// so that any number of threads may look up at once; it can be moved, and what it gave stays
// valid.
class VELMAR_SDK_API TypeDefinitions {
  public:
    class Builder;

    TypeDefinitions();
    TypeDefinitions(TypeDefinitions&& other) noexcept;
    TypeDefinitions& operator=(TypeDefinitions&& other) noexcept;
    TypeDefinitions(const TypeDefinitions&) = delete;
    TypeDefinitions& operator=(const TypeDefinitions&) = delete;
    ~TypeDefinitions();

    bool empty() const;
    // In order of their labels.
    Span<TypeDefinition> types() const;
    Span<LabelDefinition> labels() const;

    const TypeDefinition* type(const LabelBytes& label) const;
    const TypeDefinition* type(const std::uint8_t* label16) const;
    // Whether the register marks the element as its set's unique identifier (a package's
    // PackageID, a definition's identification).
    bool uniqueIdentifier(const LabelBytes& elementLabel) const;
    // The type registered for the element of this label; null when none is.
    const TypeDefinition* elementType(const LabelBytes& elementLabel) const;
    const TypeDefinition* elementType(const std::uint8_t* elementLabel16) const;
    const LabelDefinition* label(const LabelBytes& label) const;
    const LabelDefinition* label(const std::uint8_t* label16) const;
    // The register's symbol of an element or a set whose declaration had to take another name
    // (two elements of one symbol in different namespaces); empty when it kept its symbol.
    std::string_view registeredSymbol(const LabelBytes& label) const;

    // What a type stands for once its renames are followed (at most 32 deep; a longer or
    // circular chain, or a rename of a type not held, gives null).
    const TypeDefinition* resolve(const TypeDefinition& type) const;

    // How many element types and renamed symbols are held, and each in label order.
    struct ElementType {
        LabelBytes element{};
        LabelBytes type{};
        bool uniqueIdentifier = false;
    };
    struct Symbol {
        LabelBytes label{};
        std::string_view symbol;
    };
    Span<ElementType> elementTypes() const;
    Span<Symbol> registeredSymbols() const;

  private:
    struct Store;
    Store* store_;
};

// Fills a TypeDefinitions: types with their members and items, element types, renamed
// symbols and labels, in any order. A label given twice keeps the first and counts the later
// one in duplicates().
class VELMAR_SDK_API TypeDefinitions::Builder {
  public:
    Builder();
    Builder(const Builder&) = delete;
    Builder& operator=(const Builder&) = delete;
    ~Builder();

    struct Type {
        LabelBytes label{};
        std::string_view symbol, name, namespaceURI;
        TypeKind kind = TypeKind::Opaque;
        bool isSigned = false;
        std::uint32_t size = 0;
        std::optional<LabelBytes> base;
    };
    // Members and items go to the type added last.
    void addType(const Type& type);
    void addMember(std::string_view symbol, std::string_view name, const LabelBytes& type);
    void addItem(std::string_view symbol, std::string_view name, std::string_view text);
    void addElementType(const LabelBytes& element, const LabelBytes& type,
                        bool uniqueIdentifier = false);
    void addRegisteredSymbol(const LabelBytes& label, std::string_view symbol);
    void addLabel(const LabelBytes& label, std::string_view symbol, std::string_view name);
    void reserve(std::size_t types, std::size_t labels, std::size_t elementTypes);
    // Room for this many bytes of texts in all.
    void reserveTexts(std::size_t bytes);

    std::size_t duplicates() const { return duplicates_; }
    // Sorts, drops later duplicates and hands the whole over; the builder is empty after.
    TypeDefinitions build();

  private:
    TypeDefinitions::Store* store_;
    std::size_t duplicates_ = 0;
};

// A label's text form, "urn:smpte:ul:060e2b34.04010101.0d010201.01010100"; and back (also
// accepting the dotted form "06.0e.2b.34...."), or nothing when the text is neither.
VELMAR_SDK_API std::string labelUrn(const LabelBytes& label);
VELMAR_SDK_API std::optional<LabelBytes> labelFromText(std::string_view text);

}  // namespace Velmar::SDK::MetaMetadata
