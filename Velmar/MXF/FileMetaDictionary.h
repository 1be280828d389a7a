#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Velmar/MXF/HeaderMetadata.h"

namespace Velmar::MXF {

// What a file's own metadictionary defines (the AAF-style MetaDictionary that some writers
// embed in the header metadata: class, property and type definitions), so that sets and items
// the dictionary lacks can be named and typed by the file. Definitions are found by their
// identification (an AUID as stored) and properties also by their local identification.
class FileMetaDictionary {
  public:
    struct Type {
        enum class Kind { Integer, String, StrongReference, WeakReference, Rename, Other };
        std::string name;
        Kind kind = Kind::Other;
        std::uint32_t size = 0;  // of an Integer
        bool isSigned = false;
        std::optional<Bytes16> renamed;  // of a Rename: the type it renames
    };
    struct Property {
        Bytes16 identification{};
        std::string name;
        Bytes16 type{};
    };

    // From the sets of the header metadata, in file order; `labelOf` gives an item's label by
    // its tag (the primer's, else a static tag's), or none.
    FileMetaDictionary(const std::vector<LocalSet>& sets,
                       const std::function<std::optional<Bytes16>(std::uint16_t)>& labelOf);

    bool empty() const { return classes_.empty() && properties_.empty(); }
    const std::string* className(const Bytes16& identification) const;
    const Property* property(const Bytes16& identification) const;
    const Property* propertyByTag(std::uint16_t localIdentification) const;
    const Type* type(const Bytes16& identification) const;

  private:
    std::map<Bytes16, std::string> classes_;
    std::map<Bytes16, Property> properties_;
    std::map<std::uint16_t, Bytes16> tags_;
    std::map<Bytes16, Type> types_;
};

}  // namespace Velmar::MXF
