// xsddict: loads a dictionary schema and reports what the Dictionary holds. It is built on the
// library's installed interface alone, like any program of its users.
#include <cxxabi.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Check.h"
#include "Dump.h"
#include "EditRun.h"
#include "HeapWarmup.h"
#include "Mxf.h"
#include "MxfRun.h"
#include "RegisterImport.h"
#include "ReportRun.h"
#include "Show.h"
#include "Summary.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/RegXML/RegXMLWriting.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledDictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"
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
    "usage: xsddict COMMAND [OPTIONS] DICTIONARY [ARGUMENTS]\n"
    "       xsddict mxf [--dictionary DICTIONARY]... [--json] [--walk] [-j N]\n"
    "                   [--fail-on error|warning|info] FILE.mxf|DIR...\n"
    "       xsddict regxml [--dictionary DICTIONARY]... [-o OUT.xml] [--root UUID]\n"
    "                      [--partition header|footer|body|auto] FILE.mxf\n"
    "       xsddict report [--dictionary DICTIONARY]... [-o OUT] [-j N] FILE.mxf|DIR...\n"
    "       xsddict set [--dictionary DICTIONARY]... (-o OUT.mxf | --in-place)\n"
    "                   FILE.mxf ['PATH=VALUE']... [--remove PATH]... [--add 'PATH=SET']...\n"
    "       xsddict apply [--dictionary DICTIONARY]... (-o OUT.mxf | --in-place)\n"
    "                     FILE.mxf DOC.xml|-\n"
    "\n"
    "Loads a dictionary of SMPTE registered metadata, written as an XML Schema (FILE.xsd) or\n"
    "compiled (FILE.xsdc; the two are told apart by content), and reports what it holds; reads\n"
    "MXF files through it, or through the dictionary built in from the SMPTE registers.\n"
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
    "  compile DICTIONARY -o FILE.xsdc\n"
    "                           the dictionary in compiled form, which loads in a fraction of\n"
    "                           the schema's time\n"
    "  mxf FILE.mxf|DIR...      MXF files' partitions and header metadata, every set and item\n"
    "                           read through the dictionary in tree order from the Preface,\n"
    "                           and what is wrong with each file; a directory is read for its\n"
    "                           *.mxf files, recursively. Several files: one output each, in\n"
    "                           order (JSON Lines with --json)\n"
    "  regxml FILE.mxf          the file's header metadata as a RegXML document: the Preface\n"
    "                           and the sets it owns, every value in its registered type's\n"
    "                           form; findings go to standard error as mxf prints them\n"
    "  report FILE.mxf|DIR...   an HTML page of each file, which stands alone: its summary,\n"
    "                           a map of its bytes with its findings marked, its findings and\n"
    "                           its header metadata as a tree (the file is walked as with\n"
    "                           mxf --walk). One file: the page goes to -o FILE.html, else to\n"
    "                           standard output; a directory or several files: -o names a\n"
    "                           folder that gets a page per file and an index.html\n"
    "  set FILE.mxf 'PATH=VALUE'...\n"
    "                           changes the file's header metadata: each item a path names\n"
    "                           set to a value in its text form (as regxml writes it; a\n"
    "                           record or list as mxf --json gives it). A path names sets by\n"
    "                           name or InstanceUID, then sets below by item or name, [n]\n"
    "                           the n-th, and last an item by name or local tag:\n"
    "                           'Preface/Identification[0]/Product Name=Archive copy'.\n"
    "                           Removals and additions are made first, in the order given\n"
    "  apply FILE.mxf DOC.xml   the file's header metadata replaced by a RegXML document's\n"
    "                           (as regxml writes it, edited); - reads it from standard input\n"
    "\n"
    "options:\n"
    "  --json                   summary, check and mxf: write JSON\n"
    "  --dictionary DICTIONARY  mxf and regxml: the dictionary to read with (default: the\n"
    "                           built-in one); given again, each adds to those before it\n"
    "                           (clashes are reported), and +DICTIONARY keeps the built-in\n"
    "                           one underneath\n"
    "  --root UUID              regxml: the set of this InstanceUID as the root, not the\n"
    "                           Preface\n"
    "  --partition WHICH        regxml: whose header metadata to write: the header\n"
    "                           partition's (the default), the footer's (or the last that has\n"
    "                           some), the first body partition's, or auto (the first closed\n"
    "                           complete one's, as mxf reads)\n"
    "  -j N                     mxf and report: read on N threads (default: one per core)\n"
    "  --fail-on SEVERITY       mxf, regxml and report: the mildest severity of finding that "
    "makes\n"
    "                           the exit status 3: error, warning (the default) or info\n"
    "  --walk                   mxf (set and apply in place: of the file written, whatever the\n"
    "                           edit): also step through every KLV of every partition by its\n"
    "                           length (never reading essence), refusing a fault anywhere and\n"
    "                           checking the partition chain, the random index pack and the\n"
    "                           index tables\n"
    "  --documentation          dump and show: also load each declaration's documentation\n"
    "  --length-description     dump and show: also load each \"Length\" annotation\n"
    "  -o FILE                  import-registers and compile: the dictionary to write;\n"
    "                           regxml: the document (written whole or not at all);\n"
    "                           report: the page, or the folder of pages\n"
    "                           set and apply: the MXF file to write (a new file, written\n"
    "                           whole or not at all; essence and index tables copied as they\n"
    "                           are, moved where the header metadata needs more room)\n"
    "  --in-place               set and apply: change the file itself, spending the fill\n"
    "                           after its header metadata; refused, with the room needed,\n"
    "                           where it does not fit\n"
    "  --remove PATH            set: remove the item or the sets (with what they hold) a\n"
    "                           path names\n"
    "  --add 'PATH=SET'         set: add a set of that kind to the strong-reference item a\n"
    "                           path names (its InstanceUID is printed)\n"
    "  --note TEXT              compile: a note kept with the dictionary (its source)\n"
    "  --verbose                on failure, also say where in the library it was raised\n"
    "  --                       ends the options\n"
    "  -h, --help               this text\n"
    "  --version                the version, and the register snapshot built in\n"
    "\n"
    "exit status: 0 success, 1 the dictionary did not load (or WHAT was not found, or the\n"
    "import failed, or set or apply refused a change or wrote nothing), 2 usage error, 3 check "
    "found something, or mxf or regxml found errors or\n"
    "warnings (see --fail-on), 4 mxf, regxml or report refused the file (several files: the "
    "highest\n"
    "of these)\n";

struct Option {
    const char* name;
    bool takesValue;
    std::vector<std::string> commands;  // where it applies
};

// --copies N writes every declaration N times under new names and labels; it exists for the
// load benchmark and is not in the help.
const Option kOptions[] = {
    {"--json", false, {"summary", "check", "mxf"}},
    {"--dictionary", true, {"mxf", "regxml", "report", "set", "apply"}},
    {"--root", true, {"regxml"}},
    {"-j", true, {"mxf", "report"}},
    {"--walk", false, {"mxf", "set", "apply"}},
    {"--in-place", false, {"set", "apply"}},
    {"--remove", true, {"set"}},
    {"--add", true, {"set"}},
    {"--fail-on", true, {"mxf", "regxml", "report"}},
    {"--partition", true, {"regxml"}},
    {"--documentation", false, {"dump", "show", "compile"}},
    {"--length-description", false, {"dump", "show", "compile"}},
    {"-o", true, {"import-registers", "compile", "regxml", "report", "set", "apply"}},
    {"--note", true, {"compile"}},
    {"--copies", true, {"import-registers"}},
    {"--verbose",
     false,
     {"summary", "dump", "check", "show", "import-registers", "compile", "mxf", "regxml", "report",
      "set", "apply"}},
};

struct Command {
    const char* name;
    std::size_t arguments;
    const char* takes;
    bool more = false;  // takes `arguments` or more
};
const Command kCommands[] = {
    {"summary", 1, "a dictionary file"},
    {"dump", 1, "a dictionary file"},
    {"check", 1, "a schema file"},
    {"show", 2, "a dictionary file and what to show"},
    {"import-registers", 1, "a register folder"},
    {"compile", 1, "a dictionary file"},
    {"mxf", 1, "MXF files or directories", true},
    {"regxml", 1, "one MXF file"},
    {"report", 1, "MXF files or directories", true},
    {"set", 1, "one MXF file and PATH=VALUE changes", true},
    {"apply", 2, "one MXF file and a RegXML document (or -)"},
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
    if (arguments.positional.size() < command->arguments ||
        (!command->more && arguments.positional.size() != command->arguments)) {
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

void warmHeapFor(const std::string& compiledDictionary) {
    std::error_code error;
    const auto size = std::filesystem::file_size(compiledDictionary, error);
    if (!error) {
        xsddict::warmHeap(xsddict::compiledDictionaryHeap(static_cast<std::size_t>(size)));
    }
}

bool load(const std::string& path, const Arguments& arguments,
          SDK::MetaMetadata::Dictionary& dictionary,
          SDK::MetaMetadata::Loading::LoadDiagnostics* diagnostics = nullptr) {
    try {
        if (SDK::MetaMetadata::Loading::isCompiledDictionaryFile(path.c_str())) {
            // A compiled dictionary holds what its schema's load gave, and nothing of how.
            const char* problem =
                diagnostics != nullptr
                    ? "a compiled dictionary keeps no declarations to check; check its schema"
                : arguments.has("--documentation") || arguments.has("--length-description")
                    ? "a compiled dictionary holds what it was compiled with; --documentation "
                      "and --length-description apply to a schema"
                    : nullptr;
            if (problem != nullptr) {
                std::cerr << "xsddict: " << path << ": " << problem << "\n";
                return false;
            }
            warmHeapFor(path);
            SDK::MetaMetadata::Loading::loadCompiledDictionary(path.c_str(), dictionary);
            return true;
        }
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
    xsddict::printSummary(output, counts, std::cout);
    std::cout << "registered types: " << report.types << ", labels: " << report.labels << "\n";
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

unsigned jobsOption(const Arguments& arguments) {
    if (!arguments.has("-j")) {
        return std::max(1u, std::thread::hardware_concurrency());
    }
    const std::string value = arguments.value("-j");
    if (value.empty() || value.size() > 4 ||
        value.find_first_not_of("0123456789") != std::string::npos || std::stoi(value) < 1 ||
        std::stoi(value) > 1024) {
        throw UsageError{"-j takes a number of threads from 1 to 1024"};
    }
    return static_cast<unsigned>(std::stoi(value));
}

Velmar::MXF::Model::Severity failOnOption(const Arguments& arguments) {
    const std::string value = arguments.has("--fail-on") ? arguments.value("--fail-on") : "warning";
    for (auto severity :
         {Velmar::MXF::Model::Severity::Error, Velmar::MXF::Model::Severity::Warning,
          Velmar::MXF::Model::Severity::Info}) {
        if (value == Velmar::MXF::Model::severityName(severity)) {
            return severity;
        }
    }
    throw UsageError{"--fail-on takes error, warning or info"};
}

// Whose header metadata regxml writes: the header partition's unless asked otherwise, as
// other RegXML writers do, so that a file's open header can be compared with theirs.
Velmar::MXF::Reading::ReadOptions::Metadata metadataOption(const Arguments& arguments) {
    const auto metadata = Velmar::MXF::Reading::metadataPartitionNamed(
        arguments.has("--partition") ? arguments.value("--partition") : "header");
    if (!metadata) {
        throw UsageError{"--partition takes header, footer, body or auto"};
    }
    return *metadata;
}

// The ones given with --dictionary, stacked in order (a "+" before a path keeps the built-in
// one underneath), else the built-in one. Clashes between them go to standard error.
bool loadReadingDictionary(const Arguments& arguments, SDK::MetaMetadata::Dictionary& dictionary) {
    std::vector<std::string> given;
    for (const auto& option : arguments.options) {
        if (option.first == "--dictionary") {
            given.push_back(option.second);
        }
    }
    if (given.size() == 1 && given.front().rfind("+", 0) != 0) {
        return load(given.front(), arguments, dictionary);
    }
    if (!given.empty()) {
        try {
            for (const std::string& clash :
                 SDK::MetaMetadata::Loading::loadStackedDictionaries(given, dictionary)) {
                std::cerr << "xsddict: " << clash << "\n";
            }
            return true;
        } catch (const SDK::Exceptions::BaseException& e) {
            reportFailure("the dictionaries given", e, arguments.has("--verbose"));
        } catch (const std::bad_alloc&) {
            std::cerr << "xsddict: the dictionaries given: out of memory\n";
        }
        return false;
    }
    try {
        warmHeapFor(SDK::MetaMetadata::Loading::builtinDictionaryPath().c_str());
        SDK::MetaMetadata::Loading::loadBuiltinDictionary(dictionary);
        return true;
    } catch (const SDK::Exceptions::BaseException& e) {
        reportFailure("the built-in dictionary", e, arguments.has("--verbose"));
    } catch (const std::bad_alloc&) {
        std::cerr << "xsddict: the built-in dictionary: out of memory\n";
    }
    return false;
}

// "8-4-4-4-12" (or with "urn:uuid:" before it) as 16 bytes.
std::optional<Velmar::MXF::Model::Bytes16> instanceUID(std::string text) {
    if (text.rfind("urn:uuid:", 0) == 0) {
        text = text.substr(9);
    }
    std::string digits;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash != (text[i] == '-') ||
            (!dash && !std::isxdigit(static_cast<unsigned char>(text[i])))) {
            return std::nullopt;
        }
        if (!dash) {
            digits += text[i];
        }
    }
    if (text.size() != 36) {
        return std::nullopt;
    }
    Velmar::MXF::Model::Bytes16 bytes{};
    for (std::size_t i = 0; i < 16; ++i) {
        bytes[i] = static_cast<std::uint8_t>(std::stoul(digits.substr(2 * i, 2), nullptr, 16));
    }
    return bytes;
}

// One file's header metadata as RegXML, to standard output or through a scratch file renamed
// once whole, so that a refusal or a failed write leaves nothing behind.
int regxml(const Arguments& arguments) {
    const std::string& file = arguments.positional.front();
    const Velmar::MXF::Model::Severity failOn = failOnOption(arguments);
    Velmar::MXF::Reading::ReadOptions reading;
    reading.metadata = metadataOption(arguments);
    Velmar::MXF::RegXML::RegXMLOptions options;
    if (arguments.has("--root")) {
        options.root = instanceUID(arguments.value("--root"));
        if (!options.root) {
            throw UsageError{"--root takes an InstanceUID (8-4-4-4-12 hexadecimal digits)"};
        }
    }
    KeptToExit<SDK::MetaMetadata::Dictionary> kept;
    SDK::MetaMetadata::Dictionary& dictionary = kept.get();
    if (!loadReadingDictionary(arguments, dictionary)) {
        return kFailed;
    }
    const std::string output = arguments.value("-o");
    const std::string scratch = output + ".partial";
    try {
        const Velmar::MXF::Model::HeaderMetadata header =
            Velmar::MXF::Reading::readHeaderMetadata(file.c_str(), dictionary, reading);
        bool written = false;
        if (output.empty()) {
            Velmar::MXF::RegXML::writeRegXML(std::cout, header, dictionary, options);
            written = static_cast<bool>(std::cout.flush());
        } else {
            std::ofstream out(scratch, std::ios::binary | std::ios::trunc);
            if (out) {
                Velmar::MXF::RegXML::writeRegXML(out, header, dictionary, options);
                out.close();
                written = out && std::rename(scratch.c_str(), output.c_str()) == 0;
            }
            if (!written) {
                const int error = errno;
                std::remove(scratch.c_str());
                std::cerr << "xsddict: cannot write " << output << ": " << std::strerror(error)
                          << "\n";
                return kFailed;
            }
        }
        if (!written) {
            std::cerr << "xsddict: cannot write the document to standard output\n";
            return kFailed;
        }
        xsddict::printMxfFindings(header, std::cerr);
        return xsddict::fails(header, failOn) ? kFindings : EXIT_SUCCESS;
    } catch (const Velmar::MXF::Model::FileRefused& e) {
        if (!output.empty()) {
            std::remove(scratch.c_str());
        }
        std::cerr << xsddict::refusalLine(file, e, false);
        return kRefused;
    } catch (const SDK::Exceptions::BaseException& e) {
        if (!output.empty()) {
            std::remove(scratch.c_str());
        }
        reportFailure(file, e, arguments.has("--verbose"));
        return kFailed;
    } catch (const std::bad_alloc&) {
        if (!output.empty()) {
            std::remove(scratch.c_str());
        }
        std::cerr << "xsddict: " << file << ": out of memory\n";
        return kFailed;
    }
}

// Changes to one file's header metadata, written to a new file or in place.
int edit(const Arguments& arguments) {
    xsddict::EditRunOptions options;
    options.output = arguments.value("-o");
    options.walk = arguments.has("--walk");
    options.verbose = arguments.has("--verbose");
    if (arguments.has("-o") == arguments.has("--in-place")) {
        throw UsageError{arguments.command + " needs -o OUT.mxf or --in-place (one of them)"};
    }
    if (arguments.has("-o") && options.output.empty()) {
        throw UsageError{"-o needs a file name"};
    }
    std::vector<xsddict::EditStep> steps;
    using Kind = xsddict::EditStep::Kind;
    for (const auto& [name, value] : arguments.options) {
        if (name == "--remove") {
            steps.push_back({Kind::Remove, value, {}});
        } else if (name == "--add") {
            const std::size_t equals = value.rfind('=');
            if (equals == std::string::npos) {
                throw UsageError{"--add takes PATH=SET, not \"" + value + "\""};
            }
            steps.push_back({Kind::Add, value.substr(0, equals), value.substr(equals + 1)});
        }
    }
    if (arguments.command == "apply") {
        steps.push_back({Kind::Apply, arguments.positional[1], {}});
    } else {
        for (std::size_t i = 1; i < arguments.positional.size(); ++i) {
            const std::string& change = arguments.positional[i];
            const std::size_t equals = change.find('=');
            if (equals == std::string::npos) {
                throw UsageError{"a change is PATH=VALUE, not \"" + change + "\""};
            }
            steps.push_back({Kind::Set, change.substr(0, equals), change.substr(equals + 1)});
        }
        if (steps.empty()) {
            throw UsageError{"set needs a change: PATH=VALUE, --remove PATH or --add PATH=SET"};
        }
    }
    KeptToExit<SDK::MetaMetadata::Dictionary> kept;
    SDK::MetaMetadata::Dictionary& dictionary = kept.get();
    if (!loadReadingDictionary(arguments, dictionary)) {
        return kFailed;
    }
    return xsddict::editMxfFile(arguments.positional.front(), steps, dictionary, options, std::cout,
                                std::cerr);
}

// Findings are what is wrong with a file that can be read; a refusal ends that file's reading.
int readMxf(const Arguments& arguments) {
    xsddict::MxfRunOptions options;
    options.json = arguments.has("--json");
    options.jobs = jobsOption(arguments);
    options.verbose = arguments.has("--verbose");
    options.walk = arguments.has("--walk");
    options.failOn = failOnOption(arguments);
    // Listed first: a run with nothing to read loads nothing.
    const std::vector<xsddict::MxfInput> files = xsddict::mxfFiles(arguments.positional);
    if (files.empty()) {
        std::cerr << "xsddict: no .mxf file in the directories given\n";
        return EXIT_SUCCESS;
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
    options.progress = options.severalDocuments && isatty(STDERR_FILENO) == 1;
    return xsddict::readMxfFiles(files, dictionary, options, std::cout, std::cerr);
}

// Pages people look at: one file's, or a folder of them with an index.
int report(const Arguments& arguments) {
    xsddict::ReportOptions options;
    options.output = arguments.value("-o");
    options.jobs = jobsOption(arguments);
    options.verbose = arguments.has("--verbose");
    options.failOn = failOnOption(arguments);
    const bool one =
        arguments.positional.size() == 1 && !std::filesystem::is_directory(arguments.positional[0]);
    if (!one && options.output.empty()) {
        throw UsageError{"report of a directory or several files needs -o FOLDER"};
    }
    if (!one && xsddict::mxfFiles(arguments.positional).empty()) {
        std::cerr << "xsddict: no .mxf file in the directories given\n";
        return EXIT_SUCCESS;
    }
    KeptToExit<SDK::MetaMetadata::Dictionary> kept;
    SDK::MetaMetadata::Dictionary& dictionary = kept.get();
    if (!loadReadingDictionary(arguments, dictionary)) {
        return kFailed;
    }
    options.progress = !one && isatty(STDERR_FILENO) == 1;
    return xsddict::writeReports(arguments.positional, dictionary, options, std::cout, std::cerr);
}

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
    xsddict::printSummary(output, xsddict::count(dictionary), std::cout);
    return EXIT_SUCCESS;
}

// The built-in dictionary's note names the register snapshot it was made from.
void printVersion() {
    std::cout << "xsddict " << XSDDICT_VERSION << "\n";
    const SDK::String path = SDK::MetaMetadata::Loading::builtinDictionaryPath();
    try {
        std::cout << "built-in dictionary: "
                  << SDK::MetaMetadata::Loading::compiledDictionaryNote(path.c_str()).c_str()
                  << " (" << path.c_str() << ")\n";
    } catch (const SDK::Exceptions::BaseException& e) {
        std::cout << "built-in dictionary: none ("
                  << oneLine(SDK::Utils::wstringToBytes(e.message()).c_str()) << ")\n";
    }
}

int run(const Arguments& arguments) {
    if (arguments.command == "import-registers") {
        return importRegisters(arguments);
    }
    if (arguments.command == "mxf") {
        return readMxf(arguments);
    }
    if (arguments.command == "compile") {
        return compile(arguments);
    }
    if (arguments.command == "regxml") {
        return regxml(arguments);
    }
    if (arguments.command == "report") {
        return report(arguments);
    }
    if (arguments.command == "set" || arguments.command == "apply") {
        return edit(arguments);
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
            printVersion();
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
