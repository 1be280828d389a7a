#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace xsddict {

struct ReportOptions {
    std::string output;  // a page (one file), or the folder of the pages and their index
    unsigned jobs = 1;
    bool progress = false;
    bool verbose = false;
    Velmar::MXF::Model::Severity failOn = Velmar::MXF::Model::Severity::Warning;
};

// A page for one file (to `output`, or into it where it is a folder, else to `out`), or, for a
// directory or several files, a page each under the folder `output` (mirroring their paths) and an
// index.html listing them. Each file is walked; a refused file gets a page that shows its refusal.
// A page that cannot be written whole is removed and the failure said. Returns the highest status
// of the files, as readMxfFiles does.
int writeReports(const std::vector<std::string>& arguments,
                 const Velmar::SDK::MetaMetadata::Dictionary& dictionary,
                 const ReportOptions& options, std::ostream& out, std::ostream& err);

}  // namespace xsddict
