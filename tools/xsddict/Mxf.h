#pragma once

#include <iosfwd>
#include <string>

#include "Velmar/MXF/HeaderMetadata.h"

namespace xsddict {

// The reader's JSON: file, size, runIn, partitions, randomIndexPack, primer, sets in tree order
// with their items, findings.
void writeMxfJson(const std::string& file, const Velmar::MXF::HeaderMetadata& header,
                  std::ostream& out);
// A line per set indented by depth ("Name @offset"), per item ("tag name (type) = value" or
// "hex(size) ..."), per finding.
void printMxfText(const Velmar::MXF::HeaderMetadata& header, std::ostream& out);
// A refusal: {"file", "refused": {"rule", "offset", "message"}}.
void writeRefusalJson(const std::string& file, const Velmar::MXF::FileRefused& refusal,
                      std::ostream& out);

}  // namespace xsddict
