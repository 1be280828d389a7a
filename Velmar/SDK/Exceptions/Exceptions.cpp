#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/Exceptions/InvalidCompiledDictionary.h"
#include "Velmar/SDK/Exceptions/InvalidMetaElementDeclaration.h"
#include "Velmar/SDK/Exceptions/InvalidRequiredStatus.h"
#include "Velmar/SDK/Exceptions/InvalidTextRepresentation.h"
#include "Velmar/SDK/Exceptions/InvalidULDesignator.h"
#include "Velmar/SDK/Exceptions/ParseError.h"
#include "Velmar/SDK/Exceptions/UnsupportedDataType.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::SDK::Exceptions {

namespace {
WString positioned(const WString& message, const String& file, int line) {
    WString text = message;
    text += u" (";
    text += Utils::stringToWstring(file.c_str());
    text += u':';
    text += Utils::stringToWstring(std::to_string(line).c_str());
    text += u')';
    return text;
}
}  // namespace

BaseException::BaseException(const XMLCh* message, const char* sourceFile, int sourceLine)
    : message_(message != nullptr ? message : u""),
      sourceFile_(sourceFile != nullptr ? sourceFile : ""),
      sourceLine_(sourceLine) {
    what_ = positioned(message_, sourceFile_, sourceLine_);
}

BaseException::BaseException(const char* message, const char* sourceFile, int sourceLine)
    : BaseException(Utils::bytesToWstring(message).c_str(), sourceFile, sourceLine) {}

BaseException::BaseException(const BaseException& other) = default;
BaseException::~BaseException() = default;

const XMLCh* BaseException::message() const {
    return message_.c_str();
}
const XMLCh* BaseException::what() const {
    return what_.c_str();
}
int BaseException::errorCode() const {
    return 1;
}

#define VELMAR_SDK_EXCEPTION_CODE(ExceptionClass, code) \
    ExceptionClass::~ExceptionClass() = default;        \
    int ExceptionClass::errorCode() const {             \
        return code;                                    \
    }

VELMAR_SDK_EXCEPTION_CODE(InvalidMetaElementDeclaration, 20)
VELMAR_SDK_EXCEPTION_CODE(InvalidULDesignator, 25)
VELMAR_SDK_EXCEPTION_CODE(ParseError, 33)
VELMAR_SDK_EXCEPTION_CODE(InvalidCompiledDictionary, 34)
VELMAR_SDK_EXCEPTION_CODE(InvalidTextRepresentation, 40)
VELMAR_SDK_EXCEPTION_CODE(UnsupportedDataType, 41)
VELMAR_SDK_EXCEPTION_CODE(InvalidRequiredStatus, 42)

}  // namespace Velmar::SDK::Exceptions
