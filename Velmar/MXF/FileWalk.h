#pragma once

#include "ByteSource.h"
#include "Velmar/MXF/HeaderMetadata.h"

namespace Velmar::MXF {

// Steps through every KLV from the header partition to the file's end (result.runIn must be
// set): refuses what cannot be stepped over, sets result.partitions to every partition pack
// met and result.randomIndex to the pack that ends the file, if one does, and adds result.walk
// and the findings of its checks.
void walkFile(ByteSource& source, HeaderMetadata& result);

// What the walk found of the essence against what the header metadata says of it: each
// essence element's track number among the tracks', each track's among the essence's, and
// each descriptor's essence container among the header partition's. Adds findings.
void checkEssenceAgainstMetadata(HeaderMetadata& result, const std::vector<LocalSet>& sets);

}  // namespace Velmar::MXF
