// xsddict dump: everything a dictionary holds, as JSON.
#include <CLI/CLI.hpp>
#include <iostream>

#include "CommandSupport.h"
#include "Commands.h"
#include "Dump.h"

namespace xsddict {

namespace {

int dump(const Arguments& arguments) {
    const std::string& schema = arguments.positional.front();
    KeptToExit<Velmar::SDK::MetaMetadata::Dictionary> kept;
    if (!load(schema, arguments, kept.get())) {
        return kFailed;
    }
    writeDump(schema, kept.get(), std::cout);
    return std::cout.flush() ? 0 : kFailed;
}

}  // namespace

void addDumpCommand(CommandLine& commandLine) {
    commandLine.add(
        "dump",
        "Everything a dictionary holds, as JSON (a stable format: fields are only added): each "
        "element with its label, kind, data type and local tag, each set with its attributes.",
        {1, false, "a dictionary file", "FILE.xsd|FILE.xsdc"},
        "  xsddict dump registers.xsd > registers.json\n"
        "  xsddict dump --documentation registers.xsd\n",
        dump, [](CLI::App& command) {
            addFlag(command, "--documentation", "also load each declaration's documentation");
            addFlag(command, "--length-description", "also load each \"Length\" annotation");
            addVerboseOption(command);
        });
}

}  // namespace xsddict
