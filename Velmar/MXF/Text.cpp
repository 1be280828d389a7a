// Text forms of what the reader gives, and the small members of its records.

#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF {

namespace {
// Two lowercase digits a byte, with the separator (if any) between neighbours. By table: most
// of what a read prints is labels and identifiers, and a formatted print per byte showed.
std::string hexBytes(const std::uint8_t* bytes, std::size_t size, char separator) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out(size == 0 ? 0 : size * (separator != 0 ? 3 : 2) - (separator != 0), '\0');
    char* at = out.data();
    for (std::size_t i = 0; i < size; ++i) {
        if (i != 0 && separator != 0) {
            *at++ = separator;
        }
        *at++ = kDigits[bytes[i] >> 4];
        *at++ = kDigits[bytes[i] & 0x0f];
    }
    return out;
}
}  // namespace

std::string dottedHex(const std::uint8_t* bytes, std::size_t size) {
    return hexBytes(bytes, size, '.');
}

std::string tagText(std::uint16_t tag) {
    const std::uint8_t bytes[2] = {static_cast<std::uint8_t>(tag >> 8),
                                   static_cast<std::uint8_t>(tag & 0xff)};
    return dottedHex(bytes, 2);
}

std::string plainHex(const std::uint8_t* bytes, std::size_t size) {
    return hexBytes(bytes, size, 0);
}

std::string uuidText(const Bytes16& bytes) {
    const std::string hex = plainHex(bytes.data(), bytes.size());
    return hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-" + hex.substr(12, 4) + "-" +
           hex.substr(16, 4) + "-" + hex.substr(20);
}

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

std::optional<ReadOptions::Metadata> metadataPartitionNamed(std::string_view name) {
    using Metadata = ReadOptions::Metadata;
    return name == "header"   ? std::optional<Metadata>(Metadata::Header)
           : name == "footer" ? std::optional<Metadata>(Metadata::Footer)
           : name == "body"   ? std::optional<Metadata>(Metadata::Body)
           : name == "auto"   ? std::optional<Metadata>(Metadata::FirstClosedComplete)
                              : std::nullopt;
}

const char* severityName(Severity severity) {
    return severity == Severity::Error     ? "error"
           : severity == Severity::Warning ? "warning"
                                           : "info";
}

Severity ruleSeverity(const std::string& rule) {
    // Tolerated by readers: a rule broken where the meaning is still clear.
    static const char* const kWarnings[] = {
        "required-missing",          "non-conformant-key", "not-an-attribute",  "unknown-tag",
        "unknown-enumeration-value", "kag-alignment",      "essence-container", "invalid-text"};
    // Only unknown to the dictionary: nothing wrong with the file for that.
    static const char* const kInfo[] = {"unknown-set", "unknown-element"};
    for (const char* r : kWarnings) {
        if (rule == r) {
            return Severity::Warning;
        }
    }
    for (const char* r : kInfo) {
        if (rule == r) {
            return Severity::Info;
        }
    }
    return Severity::Error;
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

}  // namespace Velmar::MXF
