#pragma once

// Kept for one release: Value is Velmar::MXF::Model::Value, in "Velmar/MXF/Model/Value.h".
#include "Velmar/MXF/Model/Value.h"

namespace Velmar::MXF {
using Model::Value;
}  // namespace Velmar::MXF
