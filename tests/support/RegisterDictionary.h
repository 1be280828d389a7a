#pragma once

#include <filesystem>

#include "RegisterImport.h"

namespace testing_support {

// The register snapshots beside the project, or null when they are not there (the caller
// skips, saying so).
const xsddict::Registers* registers();

// The dictionary imported from them, made once per test process; empty when there are none.
std::filesystem::path registerDictionary(xsddict::ImportReport* report = nullptr);

std::filesystem::path registersFolder();

}  // namespace testing_support
