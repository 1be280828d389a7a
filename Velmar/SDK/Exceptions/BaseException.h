#pragma once

#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Templates/String.h"

namespace Velmar::SDK::Exceptions {

// Root of the toolkit's exception family. Thrown by value, caught by reference; each carries a
// 16-bit message and the source position of its throw.
class VELMAR_SDK_API BaseException {
  public:
    BaseException(const XMLCh* message, const char* sourceFile, int sourceLine);
    BaseException(const char* message, const char* sourceFile, int sourceLine);
    BaseException(const BaseException& other);
    BaseException& operator=(const BaseException&) = delete;

    virtual ~BaseException();
    // The message alone.
    virtual const XMLCh* message() const;
    // The message followed by the source position, for logs.
    virtual const XMLCh* what() const;
    virtual int errorCode() const;

    const char* sourceFile() const { return sourceFile_.c_str(); }
    int sourceLine() const { return sourceLine_; }

  private:
    WString message_;
    WString what_;
    String sourceFile_;
    int sourceLine_;
};

}  // namespace Velmar::SDK::Exceptions

// Throws with this source position, in the form every exception of the family takes.
#define VELMAR_SDK_THROW(ExceptionClass, message) \
    throw ExceptionClass((message), __FILE__, __LINE__)
