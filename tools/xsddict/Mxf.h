#pragma once

#include <iosfwd>
#include <string>

#include "Velmar/MXF/HeaderMetadata.h"

namespace xsddict {

enum class JsonLayout {
    Indented,  // a document over lines, one per partition, set, item and finding
    OneLine,   // JSON Lines
};

// The reader's JSON: file, size, runIn, partitions, randomIndexPack, primer, sets in tree order
// with their items, findings.
void writeMxfJson(const std::string& file, const Velmar::MXF::HeaderMetadata& header,
                  std::ostream& out, JsonLayout layout = JsonLayout::Indented);
// A line per set indented by depth ("Name @offset"), per item ("tag name (type) = value" or
// "hex(size) ..."), per finding.
void printMxfText(const Velmar::MXF::HeaderMetadata& header, std::ostream& out);
// A line per finding, as printMxfText ends.
void printMxfFindings(const Velmar::MXF::HeaderMetadata& header, std::ostream& out);
// A refusal: {"file", "refused": {"rule", "offset", "message"}}.
void writeRefusalJson(const std::string& file, const Velmar::MXF::FileRefused& refusal,
                      std::ostream& out);

}  // namespace xsddict
