// xsddict show: one element or set of a dictionary.
#include <CLI/CLI.hpp>
#include <iostream>

#include "CommandSupport.h"
#include "Commands.h"
#include "Show.h"

namespace xsddict {

namespace {

int showOne(const Arguments& arguments) {
    const std::string& schema = arguments.positional[0];
    const std::string& what = arguments.positional[1];
    KeptToExit<Velmar::SDK::MetaMetadata::Dictionary> kept;
    if (!load(schema, arguments, kept.get())) {
        return kFailed;
    }
    if (!show(kept.get(), what, std::cout)) {
        std::cerr << "xsddict: " << schema << ": no element or set \"" << what << "\"\n";
        return kFailed;
    }
    return std::cout.flush() ? 0 : kFailed;
}

}  // namespace

void addShowCommand(CommandLine& commandLine) {
    commandLine.add(
        "show",
        "One element or set, found by XML tag name, name, universal label or key "
        "(06.0e.2b.34...), or local tag (3c.0a): its label, kind, data type, local tag and "
        "registered type, a set's attributes, a reference's targets.",
        {2, false, "a dictionary file and what to show", "FILE.xsd|FILE.xsdc WHAT"},
        "  xsddict show registers.xsd EssenceDescription\n"
        "  xsddict show registers.xsd 3c.0a\n"
        "  xsddict show --documentation registers.xsd \"Instance ID\"\n",
        showOne, [](CLI::App& command) {
            addFlag(command, "--documentation", "also load each declaration's documentation");
            addFlag(command, "--length-description", "also load each \"Length\" annotation");
            addVerboseOption(command);
        });
}

}  // namespace xsddict
