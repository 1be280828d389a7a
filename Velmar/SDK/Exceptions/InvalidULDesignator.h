#pragma once

#include "Velmar/SDK/Exceptions/BaseException.h"

namespace Velmar::SDK::Exceptions {

// A "UL Designator" annotation that is not 47 code units long.
class VELMAR_SDK_API InvalidULDesignator : public BaseException {
  public:
    using BaseException::BaseException;
    ~InvalidULDesignator() override;
    int errorCode() const override;  // 25
};

}  // namespace Velmar::SDK::Exceptions
