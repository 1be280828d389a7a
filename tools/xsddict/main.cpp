// xsddict: loads a dictionary schema and reports what the Dictionary holds.
#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Check.h"
#include "Dump.h"
#include "RegisterImport.h"
#include "Show.h"
#include "Summary.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoaderImpl.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace {

namespace SDK = Velmar::SDK;

constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr int kFindings = 3;

const char* const kUsageText =
    "usage: xsddict COMMAND [OPTIONS] FILE.xsd [ARGUMENTS]\n"
    "\n"
    "Loads a dictionary of SMPTE registered metadata written as an XML Schema and reports\n"
    "what it holds.\n"
    "\n"
    "commands:\n"
    "  summary FILE.xsd         counts of elements by kind, sets, attributes, local tags and\n"
    "                           default values\n"
    "  dump FILE.xsd            everything loaded, as JSON\n"
    "  check FILE.xsd           what an author would want to know: labels or local tags\n"
    "                           given twice, references to no set, members naming no\n"
    "                           element, sets without a UL Designator\n"
    "  show FILE.xsd WHAT       one element or set, found by XML tag name, name, universal\n"
    "                           label or key (06.0e.2b.34...), or local tag (3c.0a)\n"
    "  import-registers DIR -o FILE.xsd\n"
    "                           a dictionary made from the SMPTE register snapshots in DIR\n"
    "                           (Elements.xml, Groups.xml, Types.xml); prints what it made\n"
    "                           and what it could not express. --copies N writes every\n"
    "                           declaration N times under new names and labels\n"
    "  --help                   this text\n"
    "\n"
    "options:\n"
    "  --documentation          also load each declaration's documentation\n"
    "  --length-description     also load each declaration's \"Length\" annotation\n"
    "\n"
    "exit status: 0 success, 1 the dictionary did not load or WHAT was not found,\n"
    "2 usage error, 3 check found something\n";

struct Arguments {
    std::string command;
    std::vector<std::string> positional;
    std::string output;
    int copies = 1;
    bool documentation = false;
    bool lengthDescription = false;
};

// The exception's own class without its namespaces: "ParseError".
std::string className(const SDK::Exceptions::BaseException& e) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(typeid(e).name(), nullptr, nullptr, &status), std::free);
    const std::string full = status == 0 ? name.get() : typeid(e).name();
    const auto colon = full.rfind("::");
    return colon == std::string::npos ? full : full.substr(colon + 2);
}

// The loader's own state is kept, so that check can ask it what it passed over.
bool load(const Arguments& arguments, SDK::MetaMetadata::Loading::XSDDictionaryLoaderImpl& loader,
          SDK::MetaMetadata::Dictionary& dictionary) {
    const std::string& path = arguments.positional.front();
    try {
        loader.loadMetaElementDocumentation_ = arguments.documentation;
        loader.loadMetaElementLengthDescription_ = arguments.lengthDescription;
        loader.load(SDK::Utils::stringToWstring(path.c_str()).c_str(), dictionary);
        return true;
    } catch (const SDK::Exceptions::BaseException& e) {
        std::cerr << "xsddict: " << path << ": " << className(e) << ": "
                  << SDK::Utils::toUtf8(e.message()).c_str() << "\n  (raised at " << e.sourceFile()
                  << ":" << e.sourceLine() << ")\n";
    } catch (const std::exception& e) {
        std::cerr << "xsddict: " << path << ": " << e.what() << "\n";
    }
    return false;
}

int usage(const std::string& problem) {
    std::cerr << "xsddict: " << problem << "\n\n" << kUsageText;
    return kUsage;
}

// The dictionary goes to a scratch file first, so that a failure never leaves half a file.
int importRegisters(const Arguments& arguments) {
    const std::string& folder = arguments.positional.front();
    const std::string scratch = arguments.output + ".partial";
    try {
        const xsddict::Registers registers = xsddict::readRegisters(folder);
        xsddict::ImportReport report;
        {
            std::ofstream out(scratch, std::ios::binary | std::ios::trunc);
            if (!out) {
                throw std::runtime_error("cannot write " + scratch);
            }
            report = xsddict::writeDictionary(registers, out, arguments.copies);
            out.close();
            if (!out) {
                throw std::runtime_error("cannot write " + scratch);
            }
        }
        if (std::rename(scratch.c_str(), arguments.output.c_str()) != 0) {
            throw std::runtime_error("cannot rename " + scratch + " to " + arguments.output);
        }
        std::cout << "wrote " << arguments.output << "\n"
                  << "elements: " << report.elements << " (simple " << report.simple
                  << ", collection " << report.collections << ", reference " << report.references
                  << ", referenceCollection " << report.referenceCollections << ")\n"
                  << "sets: " << report.sets << "\nattributes: " << report.members
                  << "\nlocal tags: " << report.localTags << "\ndefault values: " << report.defaults
                  << "\n"
                  << "not expressed: " << report.skipped.size() << "\n";
        for (const std::string& line : report.skipped) {
            std::cout << "  " << line << "\n";
        }
        return EXIT_SUCCESS;
    } catch (const std::exception& e) {
        std::remove(scratch.c_str());
        std::cerr << "xsddict: " << folder << ": " << e.what() << "\n";
        return kFailed;
    }
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::cout << kUsageText;
            return EXIT_SUCCESS;
        } else if (argument == "--documentation") {
            arguments.documentation = true;
        } else if (argument == "--length-description") {
            arguments.lengthDescription = true;
        } else if ((argument == "-o" || argument == "--copies") && i + 1 < argc) {
            const std::string value = argv[++i];
            if (argument == "-o") {
                arguments.output = value;
            } else if (value.find_first_not_of("0123456789") != std::string::npos ||
                       value.empty() || value.size() > 4 || std::stoi(value) < 1) {
                return usage("--copies takes a number from 1 to 9999");
            } else {
                arguments.copies = std::stoi(value);
            }
        } else if (argument.size() > 1 && argument[0] == '-') {
            return usage("unknown option \"" + argument + "\"");
        } else if (arguments.command.empty()) {
            arguments.command = argument;
        } else {
            arguments.positional.push_back(argument);
        }
    }
    const std::size_t wanted = arguments.command == "summary" || arguments.command == "dump" ||
                                       arguments.command == "check"
                                   ? 1
                               : arguments.command == "show" ? 2
                                                             : 0;
    if (arguments.command.empty()) {
        return usage("no command given");
    }
    if (arguments.command == "import-registers") {
        if (arguments.positional.size() != 1 || arguments.output.empty()) {
            return usage("import-registers takes a register folder and -o FILE.xsd");
        }
        return importRegisters(arguments);
    }
    if (wanted == 0) {
        return usage("unknown command \"" + arguments.command + "\"");
    }
    if (arguments.positional.size() != wanted) {
        return usage(arguments.command + (wanted == 1 ? " takes one schema file"
                                                      : " takes a schema file and what to show"));
    }

    SDK::MetaMetadata::Dictionary dictionary;
    SDK::Templates::auto_ptr<SDK::MetaMetadata::Loading::XSDDictionaryLoaderImpl> loader(
        new SDK::MetaMetadata::Loading::XSDDictionaryLoaderImpl);
    if (!load(arguments, *loader, dictionary)) {
        return kFailed;
    }
    const std::string& schema = arguments.positional.front();
    if (arguments.command == "summary") {
        xsddict::printSummary(schema, xsddict::count(dictionary), std::cout);
    } else if (arguments.command == "dump") {
        xsddict::writeDump(schema, dictionary, std::cout);
    } else if (arguments.command == "check") {
        const std::vector<std::string> findings = xsddict::check(*loader, dictionary);
        for (const std::string& finding : findings) {
            std::cout << finding << "\n";
        }
        std::cout << findings.size() << (findings.size() == 1 ? " finding" : " findings") << "\n";
        return findings.empty() ? EXIT_SUCCESS : kFindings;
    } else if (!xsddict::show(dictionary, arguments.positional[1], std::cout)) {
        std::cerr << "xsddict: " << schema << ": no element or set \"" << arguments.positional[1]
                  << "\"\n";
        return kFailed;
    }
    return std::cout.flush() ? EXIT_SUCCESS : kFailed;
}
