#pragma once

// A set held against its definition as its items are read: items the definition does not
// have (not-an-attribute), and required items the set lacks (required-missing).
#include <unordered_set>
#include <vector>

#include "../KLV/Labels.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"

namespace Velmar::MXF::Checking {

class SetDefinitionRules {
  public:
    explicit SetDefinitionRules(const Model::LocalSet& set);

    // An item of this element is in the set; a not-an-attribute finding where the definition
    // does not have it.
    void itemRead(const Model::Item& item, std::vector<Model::Finding>& findings);
    // Once every item is read: a required-missing finding for each required attribute that
    // none was.
    void setRead(std::vector<Model::Finding>& findings) const;

  private:
    const Model::LocalSet& set_;
    // By label: in a stacked dictionary a set may hold an element of a layer whose label the
    // layer below defines too.
    std::unordered_set<Model::Bytes16, KLV::Bytes16Hash> attributes_;
    std::unordered_set<Model::Bytes16, KLV::Bytes16Hash> present_;
};

}  // namespace Velmar::MXF::Checking
