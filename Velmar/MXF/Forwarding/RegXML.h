#pragma once

// Kept for one release: RegXML is written by "Velmar/MXF/RegXML/RegXMLWriting.h"
// (Velmar::MXF::RegXML).
#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/MXF/RegXML/RegXMLWriting.h"

namespace Velmar::MXF {
using RegXML::kRegXMLBaselineNamespace;
using RegXML::RegXMLOptions;
using RegXML::writeRegXML;
}  // namespace Velmar::MXF
