#include "Mxf.h"

#include <ostream>

#include "Json.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

namespace MXF = Velmar::MXF;
namespace MM = Velmar::SDK::MetaMetadata;
namespace Id = Velmar::SDK::Types::Identifiers;

namespace {

std::string dotted(const MXF::Bytes16& bytes) {
    return MXF::dottedHex(bytes.data(), bytes.size());
}

std::string tagText(std::uint16_t tag) {
    const std::uint8_t bytes[2] = {static_cast<std::uint8_t>(tag >> 8),
                                   static_cast<std::uint8_t>(tag & 0xff)};
    return MXF::dottedHex(bytes, 2);
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

std::string name(const MM::MetaElement* element) {
    return element == nullptr ? ""
                              : Velmar::SDK::Utils::toUtf8(element->getProperty(u"name")).c_str();
}

std::string orNull(const std::string& text) {
    return text.empty() ? "null" : jsonString(text);
}

void writePartition(const MXF::Partition& p, std::ostream& out) {
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

void writeItem(const MXF::Item& item, std::ostream& out) {
    out << "{\"offset\": " << item.offset << ", \"tag\": \"" << tagText(item.tag)
        << "\", \"ul\": " << (item.label ? "\"" + dotted(*item.label) + "\"" : "null")
        << ", \"name\": " << orNull(name(item.element))
        << ", \"type\": " << (item.element ? typeName(item.element->dataType()) : "null")
        << ", \"subType\": " << (item.element ? typeName(subType(*item.element)) : "null")
        << ", \"size\": " << item.bytes.size() << ", ";
    if (item.value) {
        out << "\"value\": " << item.value->toJson() << "}";
    } else {
        out << "\"hex\": \"" << MXF::plainHex(item.bytes.data(), item.bytes.size()) << "\"}";
    }
}

void writeIndexSegment(const MXF::IndexSegment& s, std::ostream& out) {
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

void writeMxfJson(const std::string& file, const MXF::HeaderMetadata& header, std::ostream& out,
                  JsonLayout layout) {
    // Line breaks and the indentation after them; one line for JSON Lines.
    const bool lines = layout == JsonLayout::OneLine;
    const char* const nl1 = lines ? " " : "\n ";
    const char* const nl2 = lines ? " " : "\n  ";
    const char* const nl3 = lines ? " " : "\n   ";
    const char* const nl4 = lines ? " " : "\n    ";
    out << "{\"file\": " << jsonPath(file) << ", \"size\": " << header.fileSize
        << ", \"runIn\": " << header.runIn << "," << nl1 << "\"partitions\": [";
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
        const MXF::LocalSet& set = header.sets[i];
        out << (i ? "," : "") << nl2 << "{\"offset\": " << set.offset << ", \"key\": \""
            << dotted(set.key) << "\", \"name\": " << orNull(set.name()) << ", \"instanceUID\": "
            << (set.instanceUID ? "\"" + MXF::uuidText(*set.instanceUID) + "\"" : "null")
            << ", \"depth\": " << set.depth
            << ", \"parent\": " << (set.parent ? "\"" + MXF::uuidText(*set.parent) + "\"" : "null")
            << "," << nl3 << "\"items\": [";
        for (std::size_t j = 0; j < set.items.size(); ++j) {
            out << (j ? "," : "") << nl4;
            writeItem(set.items[j], out);
        }
        out << "]}";
    }
    out << "],";
    if (header.walk) {
        const MXF::Walk& walk = *header.walk;
        out << nl1 << "\"walk\": {\"klvs\": " << walk.klvs
            << ", \"essenceElements\": " << walk.essenceElements
            << ", \"essenceBytes\": " << walk.essenceBytes << ", \"essenceTrackNumbers\": [";
        for (std::size_t i = 0; i < walk.essenceTrackNumbers.size(); ++i) {
            const std::uint32_t n = walk.essenceTrackNumbers[i];
            const std::uint8_t bytes[4] = {
                static_cast<std::uint8_t>(n >> 24), static_cast<std::uint8_t>(n >> 16),
                static_cast<std::uint8_t>(n >> 8), static_cast<std::uint8_t>(n)};
            out << (i ? ", " : "") << "\"" << MXF::plainHex(bytes, 4) << "\"";
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
        const MXF::Finding& f = header.findings[i];
        out << (i ? "," : "") << nl2 << "{\"rule\": \"" << f.rule
            << "\", \"set\": " << (f.setOffset ? std::to_string(*f.setOffset) : "null")
            << ", \"setName\": " << orNull(f.setName)
            << ", \"tag\": " << (f.tag ? "\"" + tagText(*f.tag) + "\"" : "null")
            << ", \"item\": " << orNull(f.itemName) << ", \"message\": " << jsonString(f.message)
            << "}";
    }
    out << "]}\n";
}

void printMxfText(const MXF::HeaderMetadata& header, std::ostream& out) {
    for (const MXF::LocalSet& set : header.sets) {
        const std::string indent(2 * set.depth, ' ');
        out << indent << (set.name().empty() ? dotted(set.key) : set.name()) << " @" << set.offset
            << "\n";
        for (const MXF::Item& item : set.items) {
            out << indent << "  " << tagText(item.tag) << " "
                << (item.element ? name(item.element) : "?") << " ("
                << (item.element && Id::identifierToString(item.element->dataType())
                        ? Id::identifierToString(item.element->dataType())
                        : "?")
                << ") ";
            if (item.value) {
                out << "= " << item.value->toJson() << "\n";
            } else {
                out << "hex(" << item.bytes.size() << ") "
                    << MXF::plainHex(item.bytes.data(),
                                     std::min<std::size_t>(item.bytes.size(), 32))
                    << (item.bytes.size() > 32 ? "..." : "") << "\n";
            }
        }
    }
    if (header.walk) {
        const MXF::Walk& walk = *header.walk;
        out << "walk: " << walk.klvs << " KLVs, " << walk.essenceElements << " essence elements ("
            << walk.essenceBytes << " bytes), " << walk.indexSegments.size()
            << " index table segments\n";
        for (const MXF::IndexSegment& s : walk.indexSegments) {
            out << "  index segment @" << s.offset << ": IndexSID " << s.indexSID << ", BodySID "
                << s.bodySID << ", edit rate " << s.editRateNumerator << "/"
                << s.editRateDenominator << ", edit units " << s.startPosition << " + "
                << s.duration << ", "
                << (s.editUnitByteCount != 0 ? std::to_string(s.editUnitByteCount) + " bytes each"
                                             : std::to_string(s.entries.size()) + " entries")
                << "\n";
        }
    }
    printMxfFindings(header, out);
    out << header.findings.size() << (header.findings.size() == 1 ? " finding" : " findings")
        << "\n";
}

void printMxfFindings(const MXF::HeaderMetadata& header, std::ostream& out) {
    for (const MXF::Finding& f : header.findings) {
        out << f.rule << ": "
            << (f.setOffset ? f.setName + " @" + std::to_string(*f.setOffset) : "")
            << (f.tag ? " " + tagText(*f.tag) : "") << (f.itemName.empty() ? "" : " " + f.itemName)
            << ": " << f.message << "\n";
    }
}

void writeRefusalJson(const std::string& file, const MXF::FileRefused& refusal, std::ostream& out) {
    out << "{\"file\": " << jsonPath(file) << ", \"refused\": {\"rule\": \"" << refusal.rule()
        << "\", \"offset\": " << refusal.offset()
        << ", \"message\": " << jsonString(Velmar::SDK::WString(refusal.message())) << "}}\n";
}

}  // namespace xsddict
