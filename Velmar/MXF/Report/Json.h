#pragma once

#include <iosfwd>
#include <string>

#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Report {

// The version of the document's contract: fields are added within it; one that changes
// meaning, or goes, makes another.
constexpr int kJsonFormat = 1;

enum class JsonLayout {
    Indented,  // a document over lines, one per partition, set, item and finding
    OneLine,   // for JSON Lines
};

// The reader's JSON document of a file (the format xsddict mxf --json writes, whose fields are
// only ever added to): file (the path as given), format (kJsonFormat), size, runIn, partitions,
// randomIndexPack, primer, sets in tree order with their items and values, walk (when walked),
// findings.
void writeJson(std::ostream& out, const std::string& file, const Model::HeaderMetadata& header,
               JsonLayout layout = JsonLayout::Indented);
// A refused file: {"file", "format", "refused": {"rule", "offset", "message"}}, a line.
void writeRefusalJson(std::ostream& out, const std::string& file,
                      const Model::FileRefused& refusal);

}  // namespace Velmar::MXF::Report
