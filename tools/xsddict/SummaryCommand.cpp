// xsddict summary: what a dictionary holds, counted.
#include <CLI/CLI.hpp>
#include <iostream>

#include "CommandSupport.h"
#include "Commands.h"
#include "Summary.h"

namespace xsddict {

namespace {

int summary(const Arguments& arguments) {
    const std::string& schema = arguments.positional.front();
    KeptToExit<Velmar::SDK::MetaMetadata::Dictionary> kept;
    if (!load(schema, arguments, kept.get())) {
        return kFailed;
    }
    const Counts counts = count(kept.get());
    arguments.has("--json") ? writeSummaryJson(schema, counts, std::cout)
                            : printSummary(schema, counts, std::cout);
    return std::cout.flush() ? 0 : kFailed;
}

}  // namespace

void addSummaryCommand(CommandLine& commandLine) {
    commandLine.add(
        "summary",
        "Counts of what a dictionary holds: elements by kind, sets, attributes (per set, "
        "inherited ones included), local tags and default values.",
        {1, false, "a dictionary file", "FILE.xsd|FILE.xsdc"},
        "  xsddict summary registers.xsd\n  xsddict summary --json registers.xsdc\n", summary,
        [](CLI::App& command) {
            addFlag(command, "--json", "write the counts as JSON");
            addVerboseOption(command);
        });
}

}  // namespace xsddict
