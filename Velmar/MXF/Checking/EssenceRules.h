#pragma once

// The essence a walk found held against the header metadata's tracks and descriptors.
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Checking {

// What the walk found of the essence against what the header metadata says of it: each
// essence element's track number among the tracks', each track's among the essence's, and
// each descriptor's essence container among the header partition's. Adds findings.
void checkEssenceAgainstMetadata(Model::HeaderMetadata& result,
                                 const std::vector<Model::LocalSet>& sets);

}  // namespace Velmar::MXF::Checking
