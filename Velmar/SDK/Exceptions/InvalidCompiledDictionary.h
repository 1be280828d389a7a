#pragma once

#include "Velmar/SDK/Exceptions/BaseException.h"

namespace Velmar::SDK::Exceptions {

// A compiled dictionary that cannot be loaded: not one at all, truncated, corrupt, or of a
// format version this library does not read. The message names the file and what is wrong.
class VELMAR_SDK_API InvalidCompiledDictionary : public BaseException {
  public:
    using BaseException::BaseException;
    ~InvalidCompiledDictionary() override;
    int errorCode() const override;  // 34
};

}  // namespace Velmar::SDK::Exceptions
