// xsddict: loads a dictionary schema and reports what the Dictionary holds. It is built on the
// library's installed interface alone, like any program of its users.
#include <cxxabi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "Check.h"
#include "Dump.h"
#include "Mxf.h"
#include "RegisterImport.h"
#include "Show.h"
#include "Summary.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

#if __has_include(<valgrind/valgrind.h>)
#include <valgrind/valgrind.h>
#endif

#ifndef XSDDICT_VERSION
#define XSDDICT_VERSION "unknown"
#endif

namespace {

namespace SDK = Velmar::SDK;

constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr int kFindings = 3;
constexpr int kRefused = 4;

const char* const kHelp =
    "usage: xsddict COMMAND [OPTIONS] FILE.xsd [ARGUMENTS]\n"
    "\n"
    "Loads a dictionary of SMPTE registered metadata written as an XML Schema and reports\n"
    "what it holds.\n"
    "\n"
    "commands:\n"
    "  summary FILE.xsd         counts of elements by kind, sets, attributes (per set,\n"
    "                           inherited ones included), local tags and default values\n"
    "  dump FILE.xsd            everything loaded, as JSON\n"
    "  check FILE.xsd           what an author would want to know, each with its file and\n"
    "                           line: labels, local tags or set keys given twice, references\n"
    "                           to no set, members naming no element, local members, sets\n"
    "                           without a UL Designator\n"
    "  show FILE.xsd WHAT       one element or set, found by XML tag name, name, universal\n"
    "                           label or key (06.0e.2b.34...), or local tag (3c.0a)\n"
    "  import-registers DIR -o FILE.xsd\n"
    "                           a dictionary made from the SMPTE register snapshots in DIR\n"
    "                           (Elements.xml, Groups.xml, Types.xml), loaded back to check\n"
    "                           it; prints what it holds and what could not be expressed\n"
    "  mxf FILE.mxf --dictionary FILE.xsd\n"
    "                           an MXF file's partitions and header metadata, every set and\n"
    "                           item read through the dictionary in tree order from the\n"
    "                           Preface, and what is wrong with the file\n"
    "\n"
    "options:\n"
    "  --json                   summary, check and mxf: write JSON\n"
    "  --dictionary FILE.xsd    mxf: the dictionary to read the file with\n"
    "  --documentation          dump and show: also load each declaration's documentation\n"
    "  --length-description     dump and show: also load each \"Length\" annotation\n"
    "  -o FILE.xsd              import-registers: the dictionary to write\n"
    "  --verbose                on failure, also say where in the library it was raised\n"
    "  --                       ends the options\n"
    "  -h, --help               this text\n"
    "  --version                the version\n"
    "\n"
    "exit status: 0 success, 1 the dictionary did not load (or WHAT was not found, or the\n"
    "import failed), 2 usage error, 3 check or mxf found something, 4 mxf refused the file\n";

struct Option {
    const char* name;
    bool takesValue;
    std::vector<std::string> commands;  // where it applies
};

// --copies N writes every declaration N times under new names and labels; it exists for the
// load benchmark and is not in the help.
const Option kOptions[] = {
    {"--json", false, {"summary", "check", "mxf"}},
    {"--dictionary", true, {"mxf"}},
    {"--documentation", false, {"dump", "show"}},
    {"--length-description", false, {"dump", "show"}},
    {"-o", true, {"import-registers"}},
    {"--copies", true, {"import-registers"}},
    {"--verbose", false, {"summary", "dump", "check", "show", "import-registers", "mxf"}},
};

struct Command {
    const char* name;
    std::size_t arguments;
    const char* takes;
};
const Command kCommands[] = {
    {"summary", 1, "a schema file"},
    {"dump", 1, "a schema file"},
    {"check", 1, "a schema file"},
    {"show", 2, "a schema file and what to show"},
    {"import-registers", 1, "a register folder"},
    {"mxf", 1, "an MXF file"},
};

struct Arguments {
    std::string command;
    std::vector<std::string> positional;
    std::vector<std::pair<std::string, std::string>> options;  // in the order given

    bool has(const std::string& name) const {
        return std::any_of(options.begin(), options.end(),
                           [&](const auto& option) { return option.first == name; });
    }
    std::string value(const std::string& name) const {
        for (const auto& option : options) {
            if (option.first == name) {
                return option.second;
            }
        }
        return {};
    }
};

struct UsageError {
    std::string problem;
};

Arguments parse(int argc, char** argv) {
    Arguments arguments;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
            (arguments.command.empty() ? arguments.command : arguments.positional.emplace_back()) =
                argument;
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }
        const Option* option = nullptr;
        for (const Option& known : kOptions) {
            if (argument == known.name) {
                option = &known;
            }
        }
        if (option == nullptr) {
            throw UsageError{"unknown option \"" + argument + "\""};
        }
        std::string value;
        if (option->takesValue) {
            if (i + 1 >= argc) {
                throw UsageError{argument + " needs a value"};
            }
            value = argv[++i];
        }
        arguments.options.emplace_back(argument, value);
    }
    if (arguments.command.empty()) {
        throw UsageError{"no command given"};
    }
    const Command* command = nullptr;
    for (const Command& known : kCommands) {
        if (arguments.command == known.name) {
            command = &known;
        }
    }
    if (command == nullptr) {
        throw UsageError{"unknown command \"" + arguments.command + "\""};
    }
    for (const auto& given : arguments.options) {
        for (const Option& option : kOptions) {
            if (given.first == option.name &&
                std::find(option.commands.begin(), option.commands.end(), arguments.command) ==
                    option.commands.end()) {
                throw UsageError{given.first + " does not apply to " + arguments.command};
            }
        }
    }
    if (arguments.positional.size() != command->arguments) {
        throw UsageError{arguments.command + " takes " + command->takes};
    }
    return arguments;
}

// The exception's own class without its namespaces: "ParseError".
std::string className(const SDK::Exceptions::BaseException& e) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(typeid(e).name(), nullptr, nullptr, &status), std::free);
    const std::string full = status == 0 ? name.get() : typeid(e).name();
    const auto colon = full.rfind("::");
    return colon == std::string::npos ? full : full.substr(colon + 2);
}

// Messages may span lines (the XPath engine's quote the query on a line of its own); a
// failure is reported on one.
std::string oneLine(std::string text) {
    for (char& c : text) {
        if (c == '\n' || c == '\r') {
            c = ' ';
        }
    }
    return text;
}

void reportFailure(const std::string& subject, const SDK::Exceptions::BaseException& e,
                   bool verbose) {
    std::cerr << "xsddict: " << subject << ": " << className(e) << ": "
              << oneLine(SDK::Utils::wstringToBytes(e.message()).c_str());  // paths as given
    if (verbose) {
        std::cerr << " (raised at " << e.sourceFile() << ":" << e.sourceLine() << ")";
    }
    std::cerr << "\n";
}

// What a command makes, left to the system to reclaim whole when the process ends with the
// command: freeing a dictionary and its loader item by item grows faster than they do (about 7
// ms at register size, 85 to 105 at eight times it). Under valgrind they are freed, so that
// memcheck still shows the library freeing all it made; a library user's program frees every
// one.
template <class T>
class KeptToExit {
  public:
    KeptToExit() : object_(new T) {}
    KeptToExit(const KeptToExit&) = delete;
    KeptToExit& operator=(const KeptToExit&) = delete;
    ~KeptToExit() {
#ifdef RUNNING_ON_VALGRIND
        if (RUNNING_ON_VALGRIND) {
            return;
        }
#endif
        try {
            static auto* const kept = new std::vector<T*>;  // reachable to the end: no leak
            kept->push_back(object_.get());
            object_.release();
        } catch (const std::bad_alloc&) {
            // Freed here after all.
        }
    }
    T& get() {
        return *object_;
    }

  private:
    std::unique_ptr<T> object_;
};

bool load(const std::string& path, const Arguments& arguments,
          SDK::MetaMetadata::Dictionary& dictionary,
          SDK::MetaMetadata::Loading::LoadDiagnostics* diagnostics = nullptr) {
    try {
        KeptToExit<SDK::MetaMetadata::Loading::XSDDictionaryLoader> kept;
        SDK::MetaMetadata::Loading::XSDDictionaryLoader& loader = kept.get();
        loader.loadMetaElementDocumentation(arguments.has("--documentation"));
        loader.loadMetaElementLengthDescription(arguments.has("--length-description"));
        loader.setDiagnostics(diagnostics);
        loader.load(SDK::Utils::bytesToWstring(path.c_str()).c_str(), dictionary);
        return true;
    } catch (const SDK::Exceptions::BaseException& e) {
        reportFailure(path, e, arguments.has("--verbose"));
    } catch (const std::bad_alloc&) {
        std::cerr << "xsddict: " << path << ": out of memory\n";
    }
    return false;
}

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
    xsddict::ImportReport report;
    try {
        const xsddict::Registers registers = xsddict::readRegisters(folder);
        std::ofstream out(scratch, std::ios::binary | std::ios::trunc);
        if (!out) {
            throw std::runtime_error("cannot write " + scratch);
        }
        report = xsddict::writeDictionary(registers, out, copies);
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
    const xsddict::Counts counts = xsddict::count(dictionary);
    if (counts.elements() != report.elements || counts.sets != report.sets ||
        counts.localTags != report.localTags) {
        std::remove(scratch.c_str());
        std::cerr << "xsddict: " << folder << ": the dictionary made holds " << counts.elements()
                  << " elements, " << counts.sets << " sets and " << counts.localTags
                  << " local tags where " << report.elements << ", " << report.sets << " and "
                  << report.localTags << " were written; nothing written\n";
        return kFailed;
    }
    if (std::rename(scratch.c_str(), output.c_str()) != 0) {
        std::remove(scratch.c_str());
        std::cerr << "xsddict: cannot rename " << scratch << " to " << output << "\n";
        return kFailed;
    }
    std::cout << "wrote " << output << " (" << report.members
              << " members written, in the groups that declare them)\n";
    xsddict::printSummary(output, counts, std::cout);
    std::cout << "register quirks handled: " << report.quirks.size() << "\n";
    for (const std::string& line : report.quirks) {
        std::cout << "  " << line << "\n";
    }
    std::cout << "not expressed: " << report.skipped.size() << "\n";
    for (const std::string& line : report.skipped) {
        std::cout << "  " << line << "\n";
    }
    return EXIT_SUCCESS;
}

// Findings are what is wrong with a file that can be read; a refusal ends the reading.
int readMxf(const Arguments& arguments) {
    const std::string& file = arguments.positional.front();
    const std::string dictionaryPath = arguments.value("--dictionary");
    if (dictionaryPath.empty()) {
        throw UsageError{"mxf needs --dictionary FILE.xsd"};
    }
    KeptToExit<SDK::MetaMetadata::Dictionary> kept;
    SDK::MetaMetadata::Dictionary& dictionary = kept.get();
    if (!load(dictionaryPath, arguments, dictionary)) {
        return kFailed;
    }
    const bool json = arguments.has("--json");
    try {
        const Velmar::MXF::HeaderMetadata header =
            Velmar::MXF::readHeaderMetadata(file.c_str(), dictionary);
        json ? xsddict::writeMxfJson(file, header, std::cout)
             : xsddict::printMxfText(header, std::cout);
        if (!std::cout.flush()) {
            return kFailed;
        }
        return header.findings.empty() ? EXIT_SUCCESS : kFindings;
    } catch (const Velmar::MXF::FileRefused& e) {
        if (json) {
            xsddict::writeRefusalJson(file, e, std::cout);
        }
        std::cerr << "xsddict: " << file << ": refused: " << e.rule() << " at offset " << e.offset()
                  << ": " << SDK::Utils::wstringToBytes(e.message()).c_str();
        if (arguments.has("--verbose")) {
            std::cerr << " (raised at " << e.sourceFile() << ":" << e.sourceLine() << ")";
        }
        std::cerr << "\n";
        return kRefused;
    } catch (const std::bad_alloc&) {
        std::cerr << "xsddict: " << file << ": out of memory\n";
        return kFailed;
    }
}

int run(const Arguments& arguments) {
    if (arguments.command == "import-registers") {
        return importRegisters(arguments);
    }
    if (arguments.command == "mxf") {
        return readMxf(arguments);
    }
    const std::string& schema = arguments.positional.front();
    const bool json = arguments.has("--json");
    KeptToExit<SDK::MetaMetadata::Dictionary> kept;
    SDK::MetaMetadata::Dictionary& dictionary = kept.get();
    xsddict::CheckFindings findings;
    if (!load(schema, arguments, dictionary, arguments.command == "check" ? &findings : nullptr)) {
        return kFailed;
    }
    if (arguments.command == "summary") {
        const xsddict::Counts counts = xsddict::count(dictionary);
        json ? xsddict::writeSummaryJson(schema, counts, std::cout)
             : xsddict::printSummary(schema, counts, std::cout);
    } else if (arguments.command == "dump") {
        xsddict::writeDump(schema, dictionary, std::cout);
    } else if (arguments.command == "check") {
        json ? xsddict::writeFindingsJson(schema, findings.findings(), std::cout)
             : xsddict::printFindings(findings.findings(), std::cout);
        if (!std::cout.flush()) {
            return kFailed;
        }
        return findings.findings().empty() ? EXIT_SUCCESS : kFindings;
    } else if (!xsddict::show(dictionary, arguments.positional[1], std::cout)) {
        std::cerr << "xsddict: " << schema << ": no element or set \"" << arguments.positional[1]
                  << "\"\n";
        return kFailed;
    }
    return std::cout.flush() ? EXIT_SUCCESS : kFailed;
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc && std::string(argv[i]) != "--"; ++i) {
        const std::string argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::cout << kHelp;
            return EXIT_SUCCESS;
        }
        if (argument == "--version") {
            std::cout << "xsddict " << XSDDICT_VERSION << "\n";
            return EXIT_SUCCESS;
        }
    }
    try {
        return run(parse(argc, argv));
    } catch (const UsageError& e) {
        std::cerr << "xsddict: " << e.problem << "; see 'xsddict --help'\n";
        return kUsage;
    }
}
