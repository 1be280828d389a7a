#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "Registers.h"

namespace xsddict {

// What the import made and what it could not express, with the reason for each.
struct ImportReport {
    std::size_t elements = 0, simple = 0, collections = 0, references = 0, referenceCollections = 0;
    std::size_t sets = 0, members = 0, localTags = 0, defaults = 0;
    std::size_t types = 0, labels = 0;  // registered types and labels carried
    std::vector<std::string> skipped;   // one line each: what, and why
    // Quirks of the register's vintage that the import handled, one line each.
    std::vector<std::string> quirks;
};

// Writes one dictionary in the registered-data convention: an element declaration per
// register element whose type can be expressed, a set declaration with its reference
// declaration and complex type per group. With copies above 1 every declaration is written
// again under new names and labels, for measuring how load cost grows.
ImportReport writeDictionary(const Registers& registers, std::ostream& out, int copies = 1);

}  // namespace xsddict
