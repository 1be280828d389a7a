#pragma once

#include <iosfwd>
#include <string>

#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace xsddict {

// A line per set indented by depth ("Name @offset"), per item ("tag name (type) = value" or
// "hex(size) ..."), per finding.
void printMxfText(const Velmar::MXF::Model::HeaderMetadata& header, std::ostream& out);
// A line per finding, as printMxfText ends.
void printMxfFindings(const Velmar::MXF::Model::HeaderMetadata& header, std::ostream& out);
}  // namespace xsddict
