#pragma once

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "CommandLine.h"
#include "Velmar/MXF/Writing/FileWriting.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace xsddict {

// One change of an edit run, in the order given.
struct EditStep {
    enum class Kind { Set, Remove, Add, Apply };
    Kind kind = Kind::Set;
    std::string path;   // Set, Remove, Add: the path; Apply: the document ("-": standard input)
    std::string value;  // Set: the value's text; Add: the kind of set
};

struct EditRunOptions {
    std::string output;  // a new file; empty: in place
    bool walk = false;   // in place, also walk the file written
    bool verbose = false;
};

// Reads a file, makes the changes in order, writes the result (checked as it would be, then
// as written) and says what it did on `out`. Returns 0 written, 1 a change or the write was
// refused (nothing written), 4 the file was refused.
int editMxfFile(const std::string& file, const std::vector<EditStep>& steps,
                const Velmar::SDK::MetaMetadata::Dictionary& dictionary,
                const EditRunOptions& options, std::ostream& out, std::ostream& err);

// What recovering a file did, on `out`: nothing where there was no journal.
void sayRecovery(const std::string& file, const Velmar::MXF::Writing::Recovery& recovery,
                 std::ostream& out);

// The options set and apply share: where to write, the walk, the dictionary.
void addEditOptions(CLI::App& command);

// The driver of set and apply: their changes, from the command line, made to one file's
// header metadata and written to a new file or in place.
int runEdit(const Arguments& arguments);

}  // namespace xsddict
