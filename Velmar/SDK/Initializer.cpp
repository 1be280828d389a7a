#include "Velmar/SDK/Initializer.h"

#include "Velmar/SDK/MetaMetadata/AttributeRequiredStatus.h"
#include "Velmar/SDK/Types/Factories/BaseTypeFactory.h"

namespace Velmar::SDK {

Initializer::Initializer() {
    MetaMetadata::AttributeRequiredStatus::instance();
    Types::Factories::BaseTypeFactory::instance();
}

Initializer& Initializer::instance() {
    static Initializer initializer;
    return initializer;
}

}  // namespace Velmar::SDK
