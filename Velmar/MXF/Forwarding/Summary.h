#pragma once

// Kept for one release: the summary is in "Velmar/MXF/Report/Summary.h" (Velmar::MXF::Report).
#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/MXF/Report/Summary.h"

namespace Velmar::MXF {
using Report::FileSummary;
using Report::Rational;
using Report::summarize;
using Report::TrackSummary;
}  // namespace Velmar::MXF
