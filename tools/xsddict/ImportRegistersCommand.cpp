// xsddict import-registers: a dictionary made from the SMPTE register snapshots.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "CommandSupport.h"
#include "Commands.h"
#include "RegisterImport.h"
#include "Summary.h"

namespace xsddict {

namespace SDK = Velmar::SDK;

namespace {

int copiesOption(const Arguments& arguments) {
    if (!arguments.has("--copies")) {
        return 1;
    }
    const std::string value = arguments.value("--copies");
    if (value.empty() || value.size() > 4 ||
        value.find_first_not_of("0123456789") != std::string::npos || std::stoi(value) < 1) {
        throw UsageError{"--copies takes a number from 1 to 9999"};
    }
    return std::stoi(value);
}

// The dictionary goes to a scratch file first and is loaded back from it, so that a failure
// never leaves half a file, nor a file the loader refuses.
int importRegisters(const Arguments& arguments) {
    const std::string& folder = arguments.positional.front();
    const std::string output = arguments.value("-o");
    if (output.empty()) {
        throw UsageError{"import-registers needs -o FILE.xsd"};
    }
    const int copies = copiesOption(arguments);
    const std::string scratch = output + ".partial";
    ImportReport report;
    try {
        const Registers registers = readRegisters(folder);
        std::ofstream out(scratch, std::ios::binary | std::ios::trunc);
        if (!out) {
            throw std::runtime_error("cannot write " + scratch);
        }
        report = writeDictionary(registers, out, copies);
        out.close();
        if (!out) {
            throw std::runtime_error("cannot write " + scratch);
        }
    } catch (const std::exception& e) {
        std::remove(scratch.c_str());
        std::cerr << "xsddict: " << folder << ": " << e.what() << "\n";
        return kFailed;
    }
    SDK::MetaMetadata::Dictionary dictionary;
    if (!load(scratch, arguments, dictionary)) {
        std::remove(scratch.c_str());
        std::cerr << "xsddict: " << folder
                  << ": the dictionary made does not load; nothing written\n";
        return kFailed;
    }
    const Counts counts = count(dictionary);
    const auto& types = dictionary.typeDefinitions();
    if (counts.elements() != report.elements || counts.sets != report.sets ||
        counts.localTags != report.localTags || types.types().size() != report.types ||
        types.labels().size() != report.labels) {
        std::remove(scratch.c_str());
        std::cerr << "xsddict: " << folder << ": the dictionary made holds " << counts.elements()
                  << " elements, " << counts.sets << " sets, " << counts.localTags
                  << " local tags, " << types.types().size() << " registered types and "
                  << types.labels().size() << " labels where " << report.elements << ", "
                  << report.sets << ", " << report.localTags << ", " << report.types << " and "
                  << report.labels << " were written; nothing written\n";
        return kFailed;
    }
    if (std::rename(scratch.c_str(), output.c_str()) != 0) {
        std::remove(scratch.c_str());
        std::cerr << "xsddict: cannot rename " << scratch << " to " << output << "\n";
        return kFailed;
    }
    std::cout << "wrote " << output << " (" << report.members
              << " members written, in the groups that declare them)\n";
    printSummary(output, counts, std::cout);
    std::cout << "registered types: " << report.types << ", labels: " << report.labels << "\n";
    std::cout << "register quirks handled: " << report.quirks.size() << "\n";
    for (const std::string& line : report.quirks) {
        std::cout << "  " << line << "\n";
    }
    std::cout << "not expressed: " << report.skipped.size() << "\n";
    for (const std::string& line : report.skipped) {
        std::cout << "  " << line << "\n";
    }
    return 0;
}

}  // namespace

void addImportRegistersCommand(CommandLine& commandLine) {
    commandLine.add(
        "import-registers",
        "A dictionary made from the SMPTE register snapshots in DIR (Elements.xml, Groups.xml, "
        "Types.xml, Labels.xml), loaded back to check it; prints what it holds and what could "
        "not be expressed. Nothing is written where it does not load back the same.",
        {1, false, "a register folder", "DIR -o FILE.xsd"},
        "  xsddict import-registers registers -o registers.xsd\n", importRegisters,
        [](CLI::App& command) {
            addValueOption(command, "-o", "FILE", "the dictionary to write (needed)");
            // Writes every declaration N times under new names and labels, for the load benchmark.
            command.add_option("--copies")->expected(1)->group("");
            addVerboseOption(command);
        });
}

}  // namespace xsddict
