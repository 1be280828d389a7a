// xsddict compile: a dictionary in compiled form.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <new>

#include "CommandSupport.h"
#include "Commands.h"
#include "Summary.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledDictionary.h"

namespace xsddict {

namespace SDK = Velmar::SDK;

namespace {

// Compiles through a scratch file, so that a failure leaves nothing behind.
int compile(const Arguments& arguments) {
    const std::string& input = arguments.positional.front();
    const std::string output = arguments.value("-o");
    if (output.empty()) {
        throw UsageError{"compile needs -o FILE.xsdc"};
    }
    KeptToExit<SDK::MetaMetadata::Dictionary> kept;
    SDK::MetaMetadata::Dictionary& dictionary = kept.get();
    if (!load(input, arguments, dictionary)) {
        return kFailed;
    }
    const std::string note =
        arguments.has("--note")
            ? arguments.value("--note")
            : "compiled from " + std::filesystem::path(input).filename().string();
    try {
        SDK::MetaMetadata::Loading::writeCompiledDictionary(dictionary, output.c_str(),
                                                            note.c_str());
    } catch (const SDK::Exceptions::BaseException& e) {
        reportFailure(output, e, arguments.has("--verbose"));
        return kFailed;
    } catch (const std::bad_alloc&) {
        std::cerr << "xsddict: " << output << ": out of memory\n";
        return kFailed;
    }
    std::cout << "wrote " << output << " (" << note << ")\n";
    printSummary(output, count(dictionary), std::cout);
    return 0;
}

}  // namespace

void addCompileCommand(CommandLine& commandLine) {
    commandLine.add(
        "compile",
        "The dictionary in compiled form, which loads in a fraction of the schema's time; "
        "written whole or not at all.",
        {1, false, "a dictionary file", "DICTIONARY -o FILE.xsdc"},
        "  xsddict compile registers.xsd -o registers.xsdc --note 'registers of 2026-02'\n",
        compile, [](CLI::App& command) {
            addValueOption(command, "-o", "FILE", "the compiled dictionary to write (needed)");
            addValueOption(
                command, "--note", "TEXT",
                "a note kept with the dictionary (its source; default: the file compiled)");
            addFlag(command, "--documentation", "also load each declaration's documentation");
            addFlag(command, "--length-description", "also load each \"Length\" annotation");
            addVerboseOption(command);
        });
}

}  // namespace xsddict
