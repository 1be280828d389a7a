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
    const WString& propertyName(std::size_t index) const { return properties_.at(index).first; }
    const WString& propertyValue(std::size_t index) const { return properties_.at(index).second; }

  private:
    Templates::vector<std::pair<WString, WString>> properties_;
};

}  // namespace Velmar::SDK::MetaMetadata
