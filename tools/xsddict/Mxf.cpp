#include "Mxf.h"

#include <ostream>

#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

namespace MXF = Velmar::MXF;
namespace MM = Velmar::SDK::MetaMetadata;
namespace Id = Velmar::SDK::Types::Identifiers;

namespace {

std::string dotted(const MXF::Model::Bytes16& bytes) {
    return MXF::Values::dottedHex(bytes.data(), bytes.size());
}

}  // namespace

void printMxfText(const MXF::Model::HeaderMetadata& header, std::ostream& out) {
    for (const MXF::Model::LocalSet& set : header.sets) {
        const std::string indent(2 * set.depth, ' ');
        out << indent << (set.name().empty() ? dotted(set.key) : set.name()) << " @" << set.offset
            << "\n";
        for (const MXF::Model::Item& item : set.items) {
            out << indent << "  " << MXF::Values::tagText(item.tag) << " "
                << (item.name().empty() ? "?" : item.name()) << " ("
                << (item.element && Id::identifierToString(item.element->dataType())
                        ? Id::identifierToString(item.element->dataType())
                    : item.fileDefinition ? item.fileDefinition->type + ", defined by the file"
                                          : "?")
                << ") ";
            if (item.value) {
                out << "= " << item.value->toJson() << "\n";
            } else {
                out << "hex(" << item.bytes.size() << ") "
                    << MXF::Values::plainHex(item.bytes.data(),
                                             std::min<std::size_t>(item.bytes.size(), 32))
                    << (item.bytes.size() > 32 ? "..." : "") << "\n";
            }
        }
    }
    if (header.walk) {
        const MXF::Model::Walk& walk = *header.walk;
        out << "walk: " << walk.klvs << " KLVs, " << walk.essenceElements << " essence elements ("
            << walk.essenceBytes << " bytes"
            << (walk.encryptedElements
                    ? ", " + std::to_string(walk.encryptedElements) + " encrypted"
                    : "")
            << "), " << walk.indexSegments.size() << " index table segments";
        if (walk.genericStreamPackets != 0) {
            out << ", " << walk.genericStreamPackets << " generic stream packets ("
                << walk.genericStreamBytes << " bytes)";
        }
        if (walk.truncatedAt) {
            out << ", cut short at " << *walk.truncatedAt;
        }
        out << "\n";
        for (const MXF::Model::IndexSegment& s : walk.indexSegments) {
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
    std::size_t bySeverity[3] = {0, 0, 0};
    for (const MXF::Model::Finding& f : header.findings) {
        ++bySeverity[static_cast<int>(f.severity)];
    }
    out << header.findings.size() << (header.findings.size() == 1 ? " finding" : " findings");
    if (!header.findings.empty()) {
        out << ": " << bySeverity[0] << (bySeverity[0] == 1 ? " error, " : " errors, ")
            << bySeverity[1] << (bySeverity[1] == 1 ? " warning, " : " warnings, ") << bySeverity[2]
            << " info";
    }
    out << "\n";
}

void printMxfFindings(const MXF::Model::HeaderMetadata& header, std::ostream& out) {
    for (const MXF::Model::Finding& f : header.findings) {
        // A finding of the file as a whole names its place alone: "@18432", not " @18432".
        const std::string place = f.setOffset ? (f.setName.empty() ? "" : f.setName + " ") + "@" +
                                                    std::to_string(*f.setOffset)
                                              : "";
        out << MXF::Model::severityName(f.severity) << " " << f.rule << ": " << place
            << (f.tag ? " " + MXF::Values::tagText(*f.tag) : "")
            << (f.itemName.empty() ? "" : " " + f.itemName) << ": " << f.message << "\n";
    }
}

}  // namespace xsddict
