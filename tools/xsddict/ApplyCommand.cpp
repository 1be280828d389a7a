// xsddict apply: a file's header metadata replaced by a RegXML document's.
#include <CLI/CLI.hpp>

#include "Commands.h"
#include "EditRun.h"

namespace xsddict {

void addApplyCommand(CommandLine& commandLine) {
    commandLine.add(
        "apply",
        "The file's header metadata replaced by a RegXML document's (as regxml writes it, "
        "edited): sets and items the document keeps keep their place and tags, those it adds "
        "are added, those it leaves out removed; - reads the document from standard input.",
        {2, false, "one MXF file and a RegXML document (or -)", "FILE.mxf DOC.xml|-"},
        "  xsddict regxml file.mxf -o file.xml; (edit file.xml); xsddict apply file.mxf "
        "file.xml --in-place\n"
        "  xsddict regxml file.mxf | sed 's/Old/New/' | xsddict apply file.mxf - -o copy.mxf\n",
        runEdit, [](CLI::App& command) { addEditOptions(command); });
}

}  // namespace xsddict
