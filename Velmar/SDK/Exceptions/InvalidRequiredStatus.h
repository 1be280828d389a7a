#pragma once

#include "Velmar/SDK/Exceptions/BaseException.h"

namespace Velmar::SDK::Exceptions {

// A "use" annotation word that names no required status.
class VELMAR_SDK_API InvalidRequiredStatus : public BaseException {
  public:
    using BaseException::BaseException;
    ~InvalidRequiredStatus() override;
    int errorCode() const override;  // 42
};

}  // namespace Velmar::SDK::Exceptions
