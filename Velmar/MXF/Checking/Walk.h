#pragma once

#include "../KLV/ByteSource.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Checking {

// Steps through every KLV from the header partition to the file's end (result.runIn must be
// set): refuses what cannot be stepped over, sets result.partitions to every partition pack
// met and result.randomIndex to the pack that ends the file, if one does, and adds result.walk
// and the findings of its checks.
void walkFile(KLV::ByteSource& source, Model::HeaderMetadata& result);

// What the walk found of the essence against what the header metadata says of it: each
// essence element's track number among the tracks', each track's among the essence's, and
// each descriptor's essence container among the header partition's. Adds findings.
void checkEssenceAgainstMetadata(Model::HeaderMetadata& result,
                                 const std::vector<Model::LocalSet>& sets);

}  // namespace Velmar::MXF::Checking
