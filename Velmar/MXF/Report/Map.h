#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Report {

// A finding's mark on the map: where it lies and the anchor of its row.
struct MapMark {
    std::uint64_t offset = 0;
    Model::Severity severity = Model::Severity::Error;
    std::string anchor;  // the finding's id in the page
    std::string title;
};

// The file as a bar along its bytes on a folded scale (each region's width grows with the
// logarithm of its size, so that essence does not hide the rest), its partitions above it and
// its findings' marks below, with a legend. Regions are the walk's; without a walk, the
// partitions' packs and what lies between them. A file of more regions than a bar can show
// has its neighbours folded together.
void writeMap(std::ostream& out, const Model::HeaderMetadata& header,
              const std::vector<MapMark>& marks);

}  // namespace Velmar::MXF::Report
