#pragma once

#include <cstdint>
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace Velmar::MXF::Writing {

// The header metadata laid out as a partition carries it, with no fill (placing it to the
// KAG is its partition's): the primer pack, then every set in the order the file had them
// (sets made anew, of offset 0, after them in tree order) with the packets read as no set
// where they stood. Each set keeps its key and its items their order, tags and bytes; a BER
// length is written in the size stored where it fits. The primer keeps the file's entries in
// their order and adds one for each label an item uses that it lacks. An item made anew
// (tag 0) gets the dictionary's static tag for its label, else a dynamic tag no entry uses
// (from ff.ff down). Refuses (ValueRefused) an item over 65,535 bytes or of no label.
std::vector<std::uint8_t> writeHeaderMetadata(const Model::HeaderMetadata& header,
                                              const SDK::MetaMetadata::Dictionary& dictionary);

}  // namespace Velmar::MXF::Writing
