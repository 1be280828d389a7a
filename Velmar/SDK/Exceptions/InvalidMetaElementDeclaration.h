#pragma once

#include "Velmar/SDK/Exceptions/BaseException.h"

namespace Velmar::SDK::Exceptions {

// An element declaration the loader cannot turn into a meta-element.
class VELMAR_SDK_API InvalidMetaElementDeclaration : public BaseException {
  public:
    using BaseException::BaseException;
    ~InvalidMetaElementDeclaration() override;
    int errorCode() const override;  // 20
};

}  // namespace Velmar::SDK::Exceptions
