#pragma once

#include "Velmar/SDK/Exceptions/BaseException.h"

namespace Velmar::SDK::Exceptions {

// The schema could not be read: parser and XPath engine failures, failed checks on the document.
class VELMAR_SDK_API ParseError : public BaseException {
  public:
    using BaseException::BaseException;
    ~ParseError() override;
    int errorCode() const override;  // 33
};

}  // namespace Velmar::SDK::Exceptions
