#pragma once

#include <string>

// Empty when the text parses as namespace-well-formed XML 1.0; else the parser's first error,
// with its line and column.
std::string wellFormed(const std::string& xml);
