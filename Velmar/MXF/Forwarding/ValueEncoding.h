#pragma once

// Kept for one release: values are encoded by "Velmar/MXF/Values/Encoding.h" (Velmar::MXF::Values).
#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/MXF/Values/Encoding.h"

namespace Velmar::MXF {
using Values::decodeItemValue;
using Values::encodeItemValue;
using Values::ValueRefused;
}  // namespace Velmar::MXF
