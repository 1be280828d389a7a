// The reader's JSON, as xsddict mxf --json writes it and programs read it.
#include "Velmar/MXF/Report/Json.h"

#include <ostream>

#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Report {

using namespace Model;
using namespace Values;

namespace MM = SDK::MetaMetadata;
namespace Id = SDK::Types::Identifiers;

namespace {

std::string jsonString(const std::string& utf8) {
    return SDK::Utils::jsonQuoted(utf8);
}

// A path as given, read as UTF-8: bytes that are no UTF-8 become U+FFFD, as JSON text is Unicode.
std::string jsonPath(const std::string& path) {
    return jsonString(SDK::Utils::toUtf8(SDK::Utils::stringToWstring(path.c_str())).c_str());
}

std::string dotted(const Bytes16& bytes) {
    return dottedHex(bytes.data(), bytes.size());
}

std::string typeName(Id::Identifier type) {
    const char* name = Id::identifierToString(type);
    return name == nullptr ? "null" : jsonString(std::string(name));
}

Id::Identifier subType(const MM::MetaElement& element) {
    MM::Visitors::GetMetaElementVisitor<MM::MetaCollectionElement> collection;
    element.accept(collection);
    return collection.result() != nullptr ? collection.result()->dataSubType() : Id::Unknown;
}

std::string orNull(const std::string& text) {
    return text.empty() ? "null" : jsonString(text);
}

void writePartition(const Partition& p, std::ostream& out) {
    out << "{\"offset\": " << p.offset << ", \"kind\": \"" << p.kindName() << "\", \"status\": \""
        << p.statusName() << "\", \"version\": \"" << p.majorVersion << "." << p.minorVersion
        << "\", \"kagSize\": " << p.kagSize << ", \"thisPartition\": " << p.thisPartition
        << ", \"previousPartition\": " << p.previousPartition
        << ", \"footerPartition\": " << p.footerPartition
        << ", \"headerByteCount\": " << p.headerByteCount
        << ", \"indexByteCount\": " << p.indexByteCount << ", \"indexSID\": " << p.indexSID
        << ", \"bodyOffset\": " << p.bodyOffset << ", \"bodySID\": " << p.bodySID
        << ", \"operationalPattern\": \"" << dotted(p.operationalPattern)
        << "\", \"essenceContainers\": [";
    for (std::size_t i = 0; i < p.essenceContainers.size(); ++i) {
        out << (i ? ", " : "") << "\"" << dotted(p.essenceContainers[i]) << "\"";
    }
    out << "]}";
}

void writeItem(const Item& item, std::ostream& out) {
    out << "{\"offset\": " << item.offset << ", \"tag\": \"" << tagText(item.tag)
        << "\", \"ul\": " << (item.label ? "\"" + dotted(*item.label) + "\"" : "null")
        << ", \"name\": " << orNull(item.name()) << ", \"type\": "
        << (item.element          ? typeName(item.element->dataType())
            : item.fileDefinition ? jsonString(item.fileDefinition->type)
                                  : "null")
        << ", \"subType\": " << (item.element ? typeName(subType(*item.element)) : "null")
        << (item.fileDefinition ? ", \"definedBy\": \"file\"" : "")
        << ", \"size\": " << item.bytes.size() << ", ";
    if (item.value) {
        out << "\"value\": " << item.value->toJson() << "}";
    } else {
        out << "\"hex\": \"" << plainHex(item.bytes.data(), item.bytes.size()) << "\"}";
    }
}

void writeIndexSegment(const IndexSegment& s, std::ostream& out) {
    out << "{\"offset\": " << s.offset << ", \"indexSID\": " << s.indexSID
        << ", \"bodySID\": " << s.bodySID << ", \"editRate\": [" << s.editRateNumerator << ", "
        << s.editRateDenominator << "], \"startPosition\": " << s.startPosition
        << ", \"duration\": " << s.duration << ", \"editUnitByteCount\": " << s.editUnitByteCount
        << ", \"sliceCount\": " << unsigned{s.sliceCount}
        << ", \"posTableCount\": " << unsigned{s.posTableCount} << ", \"deltaEntries\": [";
    for (std::size_t i = 0; i < s.deltaEntries.size(); ++i) {
        const auto& d = s.deltaEntries[i];
        out << (i ? ", " : "") << "{\"posTableIndex\": " << int{d.posTableIndex}
            << ", \"slice\": " << unsigned{d.slice} << ", \"elementDelta\": " << d.elementDelta
            << "}";
    }
    out << "], \"entries\": [";
    for (std::size_t i = 0; i < s.entries.size(); ++i) {
        const auto& e = s.entries[i];
        out << (i ? ", " : "") << "{\"temporalOffset\": " << int{e.temporalOffset}
            << ", \"keyFrameOffset\": " << int{e.keyFrameOffset}
            << ", \"flags\": " << unsigned{e.flags} << ", \"streamOffset\": " << e.streamOffset
            << "}";
    }
    out << "]}";
}

}  // namespace

void writeJson(std::ostream& out, const std::string& file, const HeaderMetadata& header,
               JsonLayout layout) {
    // Line breaks and the indentation after them; one line for JSON Lines.
    const bool lines = layout == JsonLayout::OneLine;
    const char* const nl1 = lines ? " " : "\n ";
    const char* const nl2 = lines ? " " : "\n  ";
    const char* const nl3 = lines ? " " : "\n   ";
    const char* const nl4 = lines ? " " : "\n    ";
    out << "{\"file\": " << jsonPath(file) << ", \"format\": " << kJsonFormat
        << ", \"size\": " << header.fileSize << ", \"runIn\": " << header.runIn << "," << nl1
        << "\"partitions\": [";
    for (std::size_t i = 0; i < header.partitions.size(); ++i) {
        out << (i ? "," : "") << nl2;
        writePartition(header.partitions[i], out);
    }
    out << "]," << nl1 << "\"randomIndexPack\": ";
    if (header.randomIndex) {
        out << "[";
        for (std::size_t i = 0; i < header.randomIndex->size(); ++i) {
            const auto& entry = (*header.randomIndex)[i];
            out << (i ? ", " : "") << "{\"bodySID\": " << entry.bodySID
                << ", \"offset\": " << entry.byteOffset << "}";
        }
        out << "]";
    } else {
        out << "null";
    }
    out << "," << nl1 << "\"primer\": {\"partition\": " << header.primer.partitionOffset
        << ", \"offset\": " << header.primer.offset << ", \"entries\": {";
    for (std::size_t i = 0; i < header.primer.entries.size(); ++i) {
        const auto& entry = header.primer.entries[i];
        out << (i ? ", " : "") << "\"" << tagText(entry.first) << "\": \"" << dotted(entry.second)
            << "\"";
    }
    out << "}}," << nl1 << "\"sets\": [";
    for (std::size_t i = 0; i < header.sets.size(); ++i) {
        const LocalSet& set = header.sets[i];
        out << (i ? "," : "") << nl2 << "{\"offset\": " << set.offset << ", \"key\": \""
            << dotted(set.key) << "\", \"name\": " << orNull(set.name())
            << (set.fileDefinition ? ", \"definedBy\": \"file\"" : "") << ", \"instanceUID\": "
            << (set.instanceUID ? "\"" + uuidText(*set.instanceUID) + "\"" : "null")
            << ", \"depth\": " << set.depth
            << ", \"parent\": " << (set.parent ? "\"" + uuidText(*set.parent) + "\"" : "null")
            << "," << nl3 << "\"items\": [";
        for (std::size_t j = 0; j < set.items.size(); ++j) {
            out << (j ? "," : "") << nl4;
            writeItem(set.items[j], out);
        }
        out << "]}";
    }
    out << "],";
    if (header.walk) {
        const Walk& walk = *header.walk;
        out << nl1 << "\"walk\": {\"klvs\": " << walk.klvs
            << ", \"essenceElements\": " << walk.essenceElements
            << ", \"essenceBytes\": " << walk.essenceBytes
            << ", \"encryptedElements\": " << walk.encryptedElements
            << ", \"genericStreamPackets\": " << walk.genericStreamPackets
            << ", \"genericStreamBytes\": " << walk.genericStreamBytes << ", \"truncatedAt\": "
            << (walk.truncatedAt ? std::to_string(*walk.truncatedAt) : "null")
            << ", \"essenceTrackNumbers\": [";
        for (std::size_t i = 0; i < walk.essenceTrackNumbers.size(); ++i) {
            const std::uint32_t n = walk.essenceTrackNumbers[i];
            const std::uint8_t bytes[4] = {
                static_cast<std::uint8_t>(n >> 24), static_cast<std::uint8_t>(n >> 16),
                static_cast<std::uint8_t>(n >> 8), static_cast<std::uint8_t>(n)};
            out << (i ? ", " : "") << "\"" << plainHex(bytes, 4) << "\"";
        }
        out << "], \"indexSegments\": [";
        for (std::size_t i = 0; i < walk.indexSegments.size(); ++i) {
            out << (i ? "," : "") << nl2;
            writeIndexSegment(walk.indexSegments[i], out);
        }
        out << "]},";
    }
    out << nl1 << "\"findings\": [";
    for (std::size_t i = 0; i < header.findings.size(); ++i) {
        const Finding& f = header.findings[i];
        out << (i ? "," : "") << nl2 << "{\"rule\": \"" << f.rule << "\", \"severity\": \""
            << severityName(f.severity)
            << "\", \"set\": " << (f.setOffset ? std::to_string(*f.setOffset) : "null")
            << ", \"setName\": " << orNull(f.setName)
            << ", \"tag\": " << (f.tag ? "\"" + tagText(*f.tag) + "\"" : "null")
            << ", \"item\": " << orNull(f.itemName) << ", \"message\": " << jsonString(f.message)
            << "}";
    }
    out << "]}\n";
}

void writeRefusalJson(std::ostream& out, const std::string& file, const FileRefused& refusal) {
    out << "{\"file\": " << jsonPath(file) << ", \"format\": " << kJsonFormat
        << ", \"refused\": {\"rule\": \"" << refusal.rule()
        << "\", \"offset\": " << refusal.offset()
        << ", \"message\": " << jsonString(SDK::Utils::toUtf8(refusal.message()).c_str()) << "}}\n";
}

}  // namespace Velmar::MXF::Report
