#pragma once

#include <cstddef>
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
    virtual const XMLCh* getProperty(const XMLCh* name) const;

    bool hasProperty(const XMLCh* name) const;
    std::size_t propertyCount() const { return properties_.size(); }
    const WString& propertyName(std::size_t index) const { return properties_.at(index).name(); }
    const WString& propertyValue(std::size_t index) const { return properties_.at(index).value; }

  private:
    // The names the loader writes are held once for every map, not copied into each: a
    // register-size dictionary has some forty thousand properties.
    struct Property {
        const WString* sharedName = nullptr;
        WString ownName;
        WString value;
        const WString& name() const { return sharedName != nullptr ? *sharedName : ownName; }
    };
    Templates::vector<Property> properties_;
};

}  // namespace Velmar::SDK::MetaMetadata
