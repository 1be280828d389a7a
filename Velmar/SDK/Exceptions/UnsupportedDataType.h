#pragma once

#include "Velmar/SDK/Exceptions/BaseException.h"

namespace Velmar::SDK::Exceptions {

// A data type identifier that the type factory does not accept where it was offered.
class VELMAR_SDK_API UnsupportedDataType : public BaseException {
  public:
    using BaseException::BaseException;
    ~UnsupportedDataType() override;
    int errorCode() const override;  // 41
};

}  // namespace Velmar::SDK::Exceptions
