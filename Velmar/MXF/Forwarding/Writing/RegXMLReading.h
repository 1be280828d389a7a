#pragma once

// Kept for one release: applyRegXML is in "Velmar/MXF/RegXML/RegXMLReading.h"
// (Velmar::MXF::RegXML).
#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/MXF/RegXML/RegXMLReading.h"

namespace Velmar::MXF::Writing {
using RegXML::applyRegXML;
}  // namespace Velmar::MXF::Writing
