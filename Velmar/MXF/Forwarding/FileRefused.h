#pragma once

// Kept for one release: FileRefused is Velmar::MXF::Model::FileRefused, in
// "Velmar/MXF/Model/FileRefused.h".
#include "Velmar/MXF/Model/FileRefused.h"

namespace Velmar::MXF {
using Model::FileRefused;
}  // namespace Velmar::MXF
