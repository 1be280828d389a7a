// xsddict check: what a schema's author would want to know of its declarations.
#include <CLI/CLI.hpp>
#include <iostream>

#include "Check.h"
#include "CommandSupport.h"
#include "Commands.h"

namespace xsddict {

namespace {

int check(const Arguments& arguments) {
    const std::string& schema = arguments.positional.front();
    KeptToExit<Velmar::SDK::MetaMetadata::Dictionary> kept;
    CheckFindings findings;
    if (!load(schema, arguments, kept.get(), &findings)) {
        return kFailed;
    }
    arguments.has("--json") ? writeFindingsJson(schema, findings.findings(), std::cout)
                            : printFindings(findings.findings(), std::cout);
    if (!std::cout.flush()) {
        return kFailed;
    }
    return findings.findings().empty() ? 0 : kFindings;
}

}  // namespace

void addCheckCommand(CommandLine& commandLine) {
    commandLine.add(
        "check",
        "What a schema's author would want to know, each with its file and line: labels, local "
        "tags or set keys given twice, references to no set, members naming no element, local "
        "members, sets without a UL Designator. Exit status 3 where there is any.",
        {1, false, "a schema file", "FILE.xsd"},
        "  xsddict check registers.xsd\n  xsddict check --json registers.xsd\n", check,
        [](CLI::App& command) {
            addFlag(command, "--json", "write the findings as JSON");
            addVerboseOption(command);
        });
}

}  // namespace xsddict
