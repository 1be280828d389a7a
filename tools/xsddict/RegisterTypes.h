#pragma once

#include <string>

#include "Registers.h"

namespace xsddict {

// What an element's register type becomes in the dictionary.
struct Mapped {
    enum Kind { None, Simple, Values, Reference, References } kind = None;
    std::string type;      // data type name; for Values the item type
    std::string base;      // Array or Batch, or one of the six reference kinds
    std::string target;    // UL of the group a reference points to
    std::string itemName;  // the register's name of the item type, for the item element
    std::string reason;    // why it cannot be expressed
};

// The dictionary's form of a register type, or None with the reason it has none.
Mapped mapType(const Registers& registers, const std::string& ul, int depth = 0);

}  // namespace xsddict
