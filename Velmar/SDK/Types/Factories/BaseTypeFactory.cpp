#include "Velmar/SDK/Types/Factories/BaseTypeFactory.h"

#include <string>

#include "Velmar/SDK/Exceptions/UnsupportedDataType.h"

namespace Velmar::SDK::Types::Factories {

namespace {
[[noreturn]] void refuse(const char* what, Identifiers::Identifier identifier) {
    const char* name = Identifiers::identifierToString(identifier);
    std::string message = std::string("Not a ") + what +
                          " data type: " + std::to_string(static_cast<int>(identifier)) + " (" +
                          (name != nullptr ? name : "unknown") + ")";
    VELMAR_SDK_THROW(Exceptions::UnsupportedDataType, message.c_str());
}
}  // namespace

BaseTypeFactory& BaseTypeFactory::instance() {
    static BaseTypeFactory factory;
    return factory;
}

BaseTypeFactory::~BaseTypeFactory() = default;

bool BaseTypeFactory::isSimpleType(Identifiers::Identifier identifier) const {
    auto value = static_cast<unsigned>(identifier);
    return value >= 2 && value < static_cast<unsigned>(Identifiers::kIdentifierCount) &&
           identifier != Identifiers::Unknown;
}

bool BaseTypeFactory::isCollectionType(Identifiers::Identifier identifier) const {
    return identifier == Identifiers::Array || identifier == Identifiers::Batch;
}

Identifiers::Identifier BaseTypeFactory::validateSimpleType(
    Identifiers::Identifier identifier) const {
    if (!isSimpleType(identifier)) {
        refuse("simple", identifier);
    }
    return identifier;
}

Identifiers::Identifier BaseTypeFactory::validateCollectionType(
    Identifiers::Identifier identifier) const {
    if (!isCollectionType(identifier)) {
        refuse("collection", identifier);
    }
    return identifier;
}

}  // namespace Velmar::SDK::Types::Factories
