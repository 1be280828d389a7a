#pragma once

#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Platform/Types.h"

namespace Velmar::SDK::MetaMetadata {

// The words of a member's "use" annotation: exactly "required", "optional" or "best effort".
class VELMAR_SDK_API AttributeRequiredStatus {
  public:
    enum Status { Required, Optional, BestEffort };

    static AttributeRequiredStatus& instance();

    virtual ~AttributeRequiredStatus();
    // Any other word is refused with InvalidRequiredStatus quoting it.
    virtual Status stringToStatus(const XMLCh* text) const;
    virtual const XMLCh* statusToString(Status status) const;

  protected:
    AttributeRequiredStatus() = default;
};

}  // namespace Velmar::SDK::MetaMetadata
