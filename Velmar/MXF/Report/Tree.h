#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <unordered_map>

#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Report {

// Where each set of the tree is, by what refers to it: its InstanceUID, a package's PackageID,
// and its offset (what findings give).
class TreeIndex {
  public:
    explicit TreeIndex(const Model::HeaderMetadata& header);
    // The set a reference's text names, or none.
    const Model::LocalSet* target(const std::string& text) const;
    const Model::LocalSet* setAt(std::uint64_t offset) const;

  private:
    std::unordered_map<std::string, const Model::LocalSet*> targets_;
    std::unordered_map<std::uint64_t, const Model::LocalSet*> offsets_;
};

// The anchors of a set and an item in the page.
std::string setAnchor(const Model::LocalSet& set);
std::string itemAnchor(const Model::Item& item);

// The sets in tree order, strong references as nesting, each item with its tag, name, type and
// value (labels by name, references as links to their target). Sets near the root are open.
void writeTree(std::ostream& out, const Model::HeaderMetadata& header, const TreeIndex& index);

}  // namespace Velmar::MXF::Report
