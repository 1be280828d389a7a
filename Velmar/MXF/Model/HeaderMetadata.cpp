// The small members of the model's records.

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Model {
const char* Region::kindName() const {
    switch (kind) {
        case Kind::RunIn:
            return "runIn";
        case Kind::PartitionPack:
            return "partitionPack";
        case Kind::HeaderMetadata:
            return "headerMetadata";
        case Kind::IndexTable:
            return "indexTable";
        case Kind::Essence:
            return "essence";
        case Kind::GenericStream:
            return "genericStream";
        case Kind::Fill:
            return "fill";
        case Kind::RandomIndex:
            return "randomIndex";
        case Kind::Other:
            return "other";
        case Kind::Cut:
            return "cut";
        case Kind::Mixed:
            return "mixed";
    }
    return "other";
}

const char* Partition::kindName() const {
    switch (kind) {
        case Kind::Header:
            return "header";
        case Kind::Body:
            return "body";
        case Kind::Footer:
            return "footer";
        case Kind::GenericStream:
            return "genericStream";
    }
    return "body";
}

const char* severityName(Severity severity) {
    return severity == Severity::Error     ? "error"
           : severity == Severity::Warning ? "warning"
                                           : "info";
}

std::string Partition::statusName() const {
    return std::string(closed ? "closed" : "open") + (complete ? " complete" : " incomplete");
}

const Bytes16* Primer::label(std::uint16_t tag) const {
    for (const auto& entry : entries) {
        if (entry.first == tag) {
            return &entry.second;
        }
    }
    return nullptr;
}

std::string LocalSet::name() const {
    if (definition == nullptr) {
        return fileDefinition ? fileDefinition->name : std::string();
    }
    return SDK::Utils::toUtf8(definition->getProperty(u"name")).c_str();
}

std::string Item::name() const {
    if (element == nullptr) {
        return fileDefinition ? fileDefinition->name : std::string();
    }
    return SDK::Utils::toUtf8(element->getProperty(u"name")).c_str();
}

}  // namespace Velmar::MXF::Model
