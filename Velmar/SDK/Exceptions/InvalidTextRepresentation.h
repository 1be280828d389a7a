#pragma once

#include "Velmar/SDK/Exceptions/BaseException.h"

namespace Velmar::SDK::Exceptions {

// A value text that its class cannot read; the message quotes the text and names the class.
class VELMAR_SDK_API InvalidTextRepresentation : public BaseException {
  public:
    using BaseException::BaseException;
    ~InvalidTextRepresentation() override;
    int errorCode() const override;  // 40
};

}  // namespace Velmar::SDK::Exceptions
