#pragma once

#include <cstddef>
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
    const WString& propertyName(std::size_t index) const { return properties_.at(index).name(); }
    const WString& propertyValue(std::size_t index) const { return properties_.at(index).value; }
    // Room for this many properties in all, for a caller that knows how many come.
    void reserveProperties(std::size_t count) { properties_.reserve(count); }

  private:
    // The names the loaders give ("name", "XMLTagName", ...) are held once for the process and
    // pointed to, rather than copied into each of the thousands of elements that have them;
    // any other name is the property's own copy.
    struct Property {
        const WString* sharedName = nullptr;
        WString ownName;
        WString value;
        const WString& name() const { return sharedName != nullptr ? *sharedName : ownName; }
    };
    Templates::vector<Property> properties_;
};

}  // namespace Velmar::SDK::MetaMetadata
