#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/Templates/vector.h"

namespace Velmar::SDK::MetaMetadata {

// Named text properties in the order they were first added. Adding a name again replaces its
// value in place; asking for a name not held gives the empty text, never null.
class VELMAR_SDK_API PropertyMap {
  public:
    PropertyMap();
    PropertyMap(const PropertyMap& other);
    virtual PropertyMap& operator=(const PropertyMap& other);
    virtual ~PropertyMap();
    virtual void addProperty(const XMLCh* name, const XMLCh* value);
    // The same for texts whose lengths are known (they need not be null-terminated).
    void addProperty(std::u16string_view name, std::u16string_view value);
    virtual const XMLCh* getProperty(const XMLCh* name) const;

    bool hasProperty(const XMLCh* name) const;
    std::size_t propertyCount() const { return properties_.size(); }
    const WString& propertyName(std::size_t index) const { return nameOf(properties_.at(index)); }
    const WString& propertyValue(std::size_t index) const { return properties_.at(index).value; }
    // Room for this many properties in all, for a caller that knows how many come.
    void reserveProperties(std::size_t count) { properties_.reserve(count); }

  private:
    // The names the loaders give ("name", "XMLTagName", ...) are held once for the process and
    // named by number, rather than copied into each of the thousands of elements that have
    // them; any other name is one of the map's own. A property is then its value and a number.
    struct Property {
        std::uint32_t name;  // a shared name's number, or kOwnName + its place in ownNames_
        WString value;
    };
    static constexpr std::uint32_t kOwnName = 1u << 16;
    const WString& nameOf(const Property& property) const;
    std::uint32_t nameNumber(std::u16string_view name);
    Templates::vector<Property> properties_;
    Templates::vector<WString> ownNames_;
};

}  // namespace Velmar::SDK::MetaMetadata
