// xsddict report: an HTML page of each file, and an index of them.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>

#include "CommandSupport.h"
#include "Commands.h"
#include "MxfRun.h"
#include "ReportRun.h"

namespace xsddict {

namespace SDK = Velmar::SDK;

namespace {

// Pages people look at: one file's, or a folder of them with an index.
int report(const Arguments& arguments) {
    ReportOptions options;
    options.output = arguments.value("-o");
    options.jobs = jobsOption(arguments);
    options.verbose = arguments.has("--verbose");
    options.failOn = failOnOption(arguments);
    const bool one =
        arguments.positional.size() == 1 && !std::filesystem::is_directory(arguments.positional[0]);
    if (!one && options.output.empty()) {
        throw UsageError{"report of a directory or several files needs -o FOLDER"};
    }
    KeptToExit<SDK::MetaMetadata::Dictionary> kept;
    SDK::MetaMetadata::Dictionary& dictionary = kept.get();
    if (!loadReadingDictionary(arguments, dictionary)) {
        return kFailed;
    }
    options.progress = !one && isatty(STDERR_FILENO) == 1;
    return writeReports(arguments.positional, dictionary, options, std::cout, std::cerr);
}

}  // namespace

void addReportCommand(CommandLine& commandLine) {
    commandLine.add(
        "report",
        "An HTML page of each file, which stands alone: its summary, a map of its bytes with its "
        "findings marked, its findings and its header metadata as a tree (the file is walked as "
        "with mxf --walk). One file (- reads standard input): the page goes to -o FILE.html, "
        "else to standard output; a "
        "directory or several files: -o names a folder that gets a page per file and an "
        "index.html.",
        {1, true, "MXF files or directories", "FILE.mxf|DIR..."},
        "  xsddict report file.mxf -o file.html\n  xsddict report archive/ -o pages/\n", report,
        [](CLI::App& command) {
            addValueOption(command, "-o", "OUT", "the page, or the folder of pages");
            addJobsOption(command);
            addFailOnOption(command, "report");
            addDictionaryOption(command);
            addVerboseOption(command);
        });
}

}  // namespace xsddict
