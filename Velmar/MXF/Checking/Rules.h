#pragma once

// The rules a read and a walk check, each with the severity of its findings.
#include <string>

#include "Velmar/MXF/Model/Finding.h"

namespace Velmar::MXF::Checking {

// The severity a rule's findings have unless the reader gives one milder; an unknown rule is an
// error.
Model::Severity ruleSeverity(const std::string& rule);

}  // namespace Velmar::MXF::Checking
