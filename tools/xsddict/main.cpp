// xsddict: loads a dictionary schema and reports what the Dictionary holds.
#include <cxxabi.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

#include "Inspector.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace {

namespace SDK = Velmar::SDK;

constexpr int kLoadFailed = 1;
constexpr int kUsage = 2;

const char* const kUsageText =
    "usage: xsddict COMMAND [ARGUMENTS]\n"
    "\n"
    "Loads a dictionary of SMPTE registered metadata written as an XML Schema and reports\n"
    "what it holds.\n"
    "\n"
    "commands:\n"
    "  summary FILE.xsd   counts of elements by kind, sets, attributes, local tags and\n"
    "                     default values\n"
    "  --help             this text\n"
    "\n"
    "exit status: 0 success, 1 the dictionary did not load, 2 usage error\n";

// The exception's own class without its namespaces: "ParseError".
std::string className(const SDK::Exceptions::BaseException& e) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(typeid(e).name(), nullptr, nullptr, &status), std::free);
    std::string full = status == 0 ? name.get() : typeid(e).name();
    const auto colon = full.rfind("::");
    return colon == std::string::npos ? full : full.substr(colon + 2);
}

bool load(const std::string& path, SDK::MetaMetadata::Dictionary& dictionary) {
    try {
        SDK::MetaMetadata::Loading::XSDDictionaryLoader loader;
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

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        return usage("no command given");
    }
    const std::string command = argv[1];
    if (command == "--help" || command == "-h" || command == "help") {
        std::cout << kUsageText;
        return EXIT_SUCCESS;
    }
    if (command == "summary") {
        if (argc != 3) {
            return usage("summary takes one schema file");
        }
        SDK::MetaMetadata::Dictionary dictionary;
        if (!load(argv[2], dictionary)) {
            return kLoadFailed;
        }
        xsddict::printSummary(argv[2], xsddict::count(dictionary), std::cout);
        return EXIT_SUCCESS;
    }
    return usage("unknown command \"" + command + "\"");
}
