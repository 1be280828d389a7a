#pragma once

// Kept for one release: RegXML's text forms are in "Velmar/MXF/Values/Text.h"
// (Velmar::MXF::Values::RegXMLText).
#include "Velmar/MXF/Values/Text.h"

namespace Velmar::MXF {
namespace RegXMLText = Values::RegXMLText;
}  // namespace Velmar::MXF
