// xsddict mxf: MXF files read, their header metadata printed or written as JSON.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>

#include "CommandSupport.h"
#include "Commands.h"
#include "MxfRun.h"

namespace xsddict {

namespace SDK = Velmar::SDK;

namespace {

// Findings are what is wrong with a file that can be read; a refusal ends that file's reading.
int readMxf(const Arguments& arguments) {
    MxfRunOptions options;
    options.json = arguments.has("--json") || arguments.has("--jsonl");
    options.jobs = jobsOption(arguments);
    options.verbose = arguments.has("--verbose");
    options.walk = arguments.has("--walk");
    options.failOn = failOnOption(arguments);
    // Listed first: a run with nothing to read loads nothing.
    std::vector<MxfInput> files = mxfFiles(arguments.positional);
    std::unique_ptr<StandardInput> standardInput;
    if (!keepStandardInput(files, standardInput, std::cerr)) {
        return kFailed;
    }
    KeptToExit<SDK::MetaMetadata::Dictionary> kept;
    SDK::MetaMetadata::Dictionary& dictionary = kept.get();
    if (!loadReadingDictionary(arguments, dictionary)) {
        return kFailed;
    }
    bool directories = false;
    for (const std::string& argument : arguments.positional) {
        directories = directories || std::filesystem::is_directory(argument);
    }
    options.severalDocuments = directories || arguments.positional.size() > 1;
    options.jsonLines = options.severalDocuments || arguments.has("--jsonl");
    options.progress = options.severalDocuments && isatty(STDERR_FILENO) == 1;
    options.outputOnTerminal = isatty(STDOUT_FILENO) == 1;
    return readMxfFiles(files, dictionary, options, std::cout, std::cerr);
}

}  // namespace

void addMxfCommand(CommandLine& commandLine) {
    commandLine.add(
        "mxf",
        "MXF files' partitions and header metadata, every set and item read through the "
        "dictionary in tree order from the Preface, and what is wrong with each file; a "
        "directory is read for its *.mxf files, recursively; - reads standard input. Several "
        "files: one output each, "
        "in order (JSON Lines with --json). Exit status 3 for findings, 4 for a file refused "
        "(several files: the highest).",
        {1, true, "MXF files or directories", "FILE.mxf|DIR..."},
        "  xsddict mxf file.mxf\n"
        "  xsddict mxf --json --walk file.mxf\n"
        "  xsddict mxf -j 4 --jsonl --fail-on error archive/ > archive.jsonl\n"
        "  curl -s https://example.org/clip.mxf | xsddict mxf --json -\n",
        readMxf, [](CLI::App& command) {
            addFlag(command, "--json",
                    "write JSON: a document, or a line a file where there are several (a "
                    "directory, or several files)");
            addFlag(command, "--jsonl", "write JSON Lines, a line a file, however many files");
            addFlag(
                command, "--walk",
                "also step through every KLV of every partition by its length (never reading "
                "essence), refusing a fault anywhere and checking the partition chain, the random "
                "index pack, the index tables and the essence against the tracks");
            addJobsOption(command);
            addFailOnOption(command, "mxf");
            addDictionaryOption(command);
            addVerboseOption(command);
        });
}

}  // namespace xsddict
