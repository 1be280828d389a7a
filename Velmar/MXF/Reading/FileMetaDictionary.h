#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Reading {

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
        std::optional<Model::Bytes16> renamed;  // of a Rename: the type it renames
    };
    struct Property {
        Model::Bytes16 identification{};
        std::string name;
        Model::Bytes16 type{};
    };

    // From the sets of the header metadata, in file order; `labelOf` gives an item's label by
    // its tag (the primer's, else a static tag's), or none.
    FileMetaDictionary(const std::vector<Model::LocalSet>& sets,
                       const std::function<std::optional<Model::Bytes16>(std::uint16_t)>& labelOf);

    bool empty() const { return classes_.empty() && properties_.empty(); }
    const std::string* className(const Model::Bytes16& identification) const;
    const Property* property(const Model::Bytes16& identification) const;
    const Property* propertyByTag(std::uint16_t localIdentification) const;
    const Type* type(const Model::Bytes16& identification) const;

  private:
    std::map<Model::Bytes16, std::string> classes_;
    std::map<Model::Bytes16, Property> properties_;
    std::map<std::uint16_t, Model::Bytes16> tags_;
    std::map<Model::Bytes16, Type> types_;
};

}  // namespace Velmar::MXF::Reading
