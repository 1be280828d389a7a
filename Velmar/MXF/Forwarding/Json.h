#pragma once

// Kept for one release: the JSON document is written by "Velmar/MXF/Report/Json.h"
// (Velmar::MXF::Report).
#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/MXF/Report/Json.h"

namespace Velmar::MXF {
using Report::JsonLayout;
using Report::writeJson;
using Report::writeRefusalJson;
}  // namespace Velmar::MXF
