#pragma once

// The walk: every packet of a file stepped over, and what they say of each other checked.

#include "../KLV/ByteSource.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Checking {

// Steps through every KLV from the header partition to the file's end (result.runIn must be
// set): refuses what cannot be stepped over, sets result.partitions to every partition pack
// met and result.randomIndex to the pack that ends the file, if one does, and adds result.walk
// and the findings of its checks.
void walkFile(KLV::ByteSource& source, Model::HeaderMetadata& result);

}  // namespace Velmar::MXF::Checking
