#include "FileMetaDictionary.h"

#include "../KLV/Labels.h"
#include "../Values/BigEndian.h"
#include "../Values/Decoding.h"

namespace Velmar::MXF::Reading {

using namespace Model;
using namespace Values;
using namespace KLV;

namespace {

// The meta-definition groups, 06.0e.2b.34.02.53.01.01.0d.01.01.01.02.XX.00.00, XX below.
constexpr std::uint8_t kMetaDefinition[13] = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x53, 0x01,
                                              0x01, 0x0d, 0x01, 0x01, 0x01, 0x02};
constexpr std::uint8_t kClass = 0x01, kProperty = 0x02, kInteger = 0x04, kStrong = 0x05,
                       kWeak = 0x06, kString = 0x0b, kRename = 0x0e;

// The items they hold, by element label.
constexpr std::uint8_t kIdentification[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                              0x06, 0x01, 0x01, 0x07, 0x13, 0x00, 0x00, 0x00};
constexpr std::uint8_t kName[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                    0x03, 0x02, 0x04, 0x01, 0x02, 0x01, 0x00, 0x00};
constexpr std::uint8_t kPropertyType[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                            0x06, 0x01, 0x01, 0x07, 0x04, 0x00, 0x00, 0x00};
constexpr std::uint8_t kLocalIdentification[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                                   0x06, 0x01, 0x01, 0x07, 0x05, 0x00, 0x00, 0x00};
constexpr std::uint8_t kSize[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                    0x03, 0x01, 0x02, 0x03, 0x01, 0x00, 0x00, 0x00};
constexpr std::uint8_t kIsSigned[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                        0x03, 0x01, 0x02, 0x03, 0x02, 0x00, 0x00, 0x00};
constexpr std::uint8_t kRenamedType[16] = {0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                                           0x06, 0x01, 0x01, 0x07, 0x12, 0x00, 0x00, 0x00};

// The kind of meta definition a set's key names, or 0.
std::uint8_t definitionKind(const Bytes16& key) {
    for (int i = 0; i < 13; ++i) {
        if (i != 5 && i != 7 && key[i] != kMetaDefinition[i]) {
            return 0;
        }
    }
    return key[14] == 0 && key[15] == 0 ? key[13] : 0;
}

}  // namespace

FileMetaDictionary::FileMetaDictionary(
    const std::vector<LocalSet>& sets,
    const std::function<std::optional<Bytes16>(std::uint16_t)>& labelOf) {
    for (const LocalSet& set : sets) {
        const std::uint8_t kind = definitionKind(set.key);
        if (kind == 0) {
            continue;
        }
        std::optional<Bytes16> identification;
        std::optional<Bytes16> propertyType;
        std::optional<Bytes16> renamed;
        std::optional<std::uint16_t> localTag;
        std::string name;
        Type type;
        for (const Item& item : set.items) {
            const std::optional<Bytes16> label = labelOf(item.tag);
            if (!label) {
                continue;
            }
            const std::vector<std::uint8_t>& b = item.bytes;
            if (sameLabel(label->data(), kIdentification) && b.size() == 16) {
                identification = bytes16(b.data());
            } else if (sameLabel(label->data(), kName)) {
                bool replaced = false;
                name = decodeText(b.data(), b.size(), TextEncoding::UTF16BE, replaced);
            } else if (sameLabel(label->data(), kPropertyType) && b.size() == 16) {
                propertyType = bytes16(b.data());
            } else if (sameLabel(label->data(), kLocalIdentification) && b.size() == 2) {
                localTag = static_cast<std::uint16_t>(bigEndian(b.data(), 2));
            } else if (sameLabel(label->data(), kSize) && b.size() == 1) {
                type.size = b[0];
            } else if (sameLabel(label->data(), kIsSigned) && b.size() == 1) {
                type.isSigned = b[0] != 0;
            } else if (sameLabel(label->data(), kRenamedType) && b.size() == 16) {
                renamed = bytes16(b.data());
            }
        }
        if (!identification) {
            continue;
        }
        if (kind == kClass) {
            classes_.emplace(*identification, name);
        } else if (kind == kProperty && propertyType) {
            properties_.emplace(*identification, Property{*identification, name, *propertyType});
            if (localTag && *localTag != 0) {
                tags_.emplace(*localTag, *identification);
            }
        } else if (kind > kProperty) {
            type.name = name;
            type.kind = kind == kInteger  ? Type::Kind::Integer
                        : kind == kString ? Type::Kind::String
                        : kind == kStrong ? Type::Kind::StrongReference
                        : kind == kWeak   ? Type::Kind::WeakReference
                        : kind == kRename ? Type::Kind::Rename
                                          : Type::Kind::Other;
            type.renamed = renamed;
            types_.emplace(*identification, type);
        }
    }
}

const std::string* FileMetaDictionary::className(const Bytes16& identification) const {
    const auto it = classes_.find(identification);
    return it == classes_.end() ? nullptr : &it->second;
}

const FileMetaDictionary::Property* FileMetaDictionary::property(
    const Bytes16& identification) const {
    const auto it = properties_.find(identification);
    return it == properties_.end() ? nullptr : &it->second;
}

const FileMetaDictionary::Property* FileMetaDictionary::propertyByTag(
    std::uint16_t localIdentification) const {
    const auto it = tags_.find(localIdentification);
    return it == tags_.end() ? nullptr : property(it->second);
}

const FileMetaDictionary::Type* FileMetaDictionary::type(const Bytes16& identification) const {
    const auto it = types_.find(identification);
    return it == types_.end() ? nullptr : &it->second;
}

}  // namespace Velmar::MXF::Reading
