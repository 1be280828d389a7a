#pragma once

// Pages people read: a file's page (its summary, the map of its bytes, its findings, its header
// metadata as a tree) and an index of many files' pages.

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Report/Summary.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace Velmar::MXF::Report {

// One self-contained HTML page of a file (styles and scripts inline, nothing fetched): what it
// is (summary), the map of its bytes with each finding marked where it lies (a walked read's
// regions; without a walk, its partitions), its findings by severity, and its header metadata
// as a tree of sets whose references are links. `file` is the name the page gives the file.
void writePage(std::ostream& out, const std::string& file, const Model::HeaderMetadata& header,
               const SDK::MetaMetadata::Dictionary* dictionary = nullptr);

// The page of a file that was refused: the refusal, where it lies on the file, and no tree.
void writeRefusedPage(std::ostream& out, const std::string& file, std::uint64_t size,
                      const Model::FileRefused& refusal);

// A file's row of an index page.
struct IndexRow {
    std::string name;  // as the index shows it
    std::string page;  // the page's address, relative to the index
    std::uint64_t size = 0;
    FileSummary summary;
    std::size_t errors = 0;
    std::size_t warnings = 0;
    std::size_t info = 0;
    std::string refusal;  // "rule at offset N: message" for a refused file, else empty
};

IndexRow indexRow(const std::string& name, const std::string& page,
                  const Model::HeaderMetadata& header,
                  const SDK::MetaMetadata::Dictionary* dictionary = nullptr);
IndexRow refusedIndexRow(const std::string& name, const std::string& page, std::uint64_t size,
                         const Model::FileRefused& refusal);

// A page with a row per file, sortable by any column and filterable as it is read.
void writeIndex(std::ostream& out, const std::string& title, const std::vector<IndexRow>& rows);

}  // namespace Velmar::MXF::Report
