#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace xsddict {

// One file of an mxf run; a directory that could not be listed is one, with why.
struct MxfInput {
    std::string path;
    std::string unlisted{};  // the listing's error, when it is such a directory
    bool noneFound = false;  // a directory given that holds no MXF file
    std::string readFrom{};  // where its bytes are, where not at `path` ("-": standard input)
};

// The files an mxf run reads: each file argument as given, and the files of each directory
// argument, recursively, whose name ends in ".mxf" in any case, sorted by path; a folder that
// cannot be listed and a directory argument holding none are inputs of their own.
std::vector<MxfInput> mxfFiles(const std::vector<std::string>& arguments);

class StandardInput;
// An input named "-" read from standard input, kept in `kept` (which must outlive the run).
// False, with the reason said on `err`, where standard input is named twice or cannot be kept.
bool keepStandardInput(std::vector<MxfInput>& inputs, std::unique_ptr<StandardInput>& kept,
                       std::ostream& err);

struct MxfRunOptions {
    bool json = false;
    bool severalDocuments = false;  // JSON Lines, and a heading per file in text
    bool jsonLines = false;         // a line a file, however many
    unsigned jobs = 1;              // reading threads
    bool verbose = false;
    bool walk = false;              // every KLV of every partition, with the walk's checks
    bool progress = false;          // files done, rate and time left, on `err`, redrawn in place
    bool outputOnTerminal = false;  // `out` is the terminal the progress is drawn on
    // The mildest severity of finding that makes a file's status 3.
    Velmar::MXF::Model::Severity failOn = Velmar::MXF::Model::Severity::Warning;
};

// "xsddict: FILE: refused: RULE at offset N: MESSAGE", and where it was raised if verbose.
std::string refusalLine(const std::string& file, const Velmar::MXF::Model::FileRefused& refusal,
                        bool verbose);

// Whether a file has a finding at least as grave as the threshold.
bool fails(const Velmar::MXF::Model::HeaderMetadata& header,
           Velmar::MXF::Model::Severity threshold);

// Reads every file with one dictionary on `jobs` threads and writes each file's output in the
// order given, as soon as it and those before it are done: at most a few documents per thread
// wait, so memory does not grow with the number of files. A file that cannot be read or is
// refused gets its line and the run goes on. Returns the highest exit status of the files:
// 0 read, 1 out of memory or output failed, 3 findings of failOn or graver, 4 refused.
int readMxfFiles(const std::vector<MxfInput>& files,
                 const Velmar::SDK::MetaMetadata::Dictionary& dictionary,
                 const MxfRunOptions& options, std::ostream& out, std::ostream& err);

}  // namespace xsddict
