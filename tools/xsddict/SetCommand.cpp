// xsddict set: items of a file's header metadata set, sets removed and added.
#include <CLI/CLI.hpp>

#include "Commands.h"
#include "EditRun.h"

namespace xsddict {

void addSetCommand(CommandLine& commandLine) {
    commandLine.add(
        "set",
        "Changes the file's header metadata: each item a path names set to a value in its text "
        "form (as regxml writes it; a record or list as mxf --json gives it). A path names sets "
        "by name or InstanceUID, then sets below by item or name, [n] the n-th, and last an "
        "item by name or local tag. Removals and additions are made first, in the order given; "
        "every change is checked before any is made.",
        {1, true, "one MXF file and PATH=VALUE changes", "FILE.mxf ['PATH=VALUE']..."},
        "  xsddict set file.mxf 'Preface/Identification[0]/Application Name=Archive copy' "
        "-o copy.mxf\n"
        "  xsddict set file.mxf 'Timecode/Start Timecode=90000' --in-place\n"
        "  xsddict set file.mxf --remove 'Identification/Application Platform' --in-place\n",
        runEdit, [](CLI::App& command) {
            addValueOption(command, "--remove", "PATH",
                           "remove the item or the sets (with what they hold) a path names");
            addValueOption(command, "--add", "'PATH=SET'",
                           "add a set of that kind to the strong-reference item a path names (its "
                           "InstanceUID is printed)");
            addEditOptions(command);
        });
}

}  // namespace xsddict
