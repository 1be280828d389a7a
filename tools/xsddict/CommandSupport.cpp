#include "CommandSupport.h"

#include <cxxabi.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <new>
#include <thread>
#include <typeinfo>

#include "HeapWarmup.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledDictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

namespace SDK = Velmar::SDK;

namespace {

// The exception's own class without its namespaces: "ParseError".
std::string className(const SDK::Exceptions::BaseException& e) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(typeid(e).name(), nullptr, nullptr, &status), std::free);
    const std::string full = status == 0 ? name.get() : typeid(e).name();
    const auto colon = full.rfind("::");
    return colon == std::string::npos ? full : full.substr(colon + 2);
}

// Whether a file begins as MXF does: a header partition pack's key within the run-in a reader
// allows (64 KiB).
bool isMxfFile(const std::string& path) {
    static const std::uint8_t kPartitionKey[] = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x05, 0x01,
                                                 0x01, 0x0d, 0x01, 0x02, 0x01, 0x01, 0x02};
    std::ifstream in(path, std::ios::binary);
    std::vector<char> head(65536 + sizeof kPartitionKey);
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    const auto end = head.begin() + in.gcount();
    return std::search(head.begin(), end, std::begin(kPartitionKey), std::end(kPartitionKey)) !=
           end;
}

void warmHeapFor(const std::string& compiledDictionary) {
    std::error_code error;
    const auto size = std::filesystem::file_size(compiledDictionary, error);
    if (!error) {
        xsddict::warmHeap(xsddict::compiledDictionaryHeap(static_cast<std::size_t>(size)));
    }
}

}  // namespace

StandardInput::StandardInput() {
    struct stat status {};
    if (::fstat(STDIN_FILENO, &status) != 0) {
        error_ = std::strerror(errno);
        return;
    }
    if (S_ISREG(status.st_mode)) {
        path_ = "/proc/self/fd/0";
        empty_ = status.st_size == 0;
        return;
    }
    const char* folder = std::getenv("TMPDIR");
    std::string pattern =
        std::string(folder != nullptr && *folder ? folder : "/tmp") + "/xsddict-stdin-XXXXXX";
    descriptor_ = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (descriptor_ < 0) {
        error_ = "cannot keep it in " + pattern + ": " + std::strerror(errno);
        return;
    }
    ::unlink(pattern.c_str());
    std::vector<char> buffer(1 << 20);
    for (;;) {
        const ssize_t got = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            error_ = std::strerror(errno);
            return;
        }
        if (got == 0) {
            break;
        }
        empty_ = false;
        for (ssize_t done = 0; done < got;) {
            const ssize_t put =
                ::write(descriptor_, buffer.data() + done, static_cast<std::size_t>(got - done));
            if (put < 0 && errno != EINTR) {
                error_ = std::string("cannot keep it: ") + std::strerror(errno);
                return;
            }
            done += put < 0 ? 0 : put;
        }
    }
    path_ = "/proc/self/fd/" + std::to_string(descriptor_);
}

StandardInput::~StandardInput() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

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

bool load(const std::string& path, const Arguments& arguments,
          SDK::MetaMetadata::Dictionary& dictionary,
          SDK::MetaMetadata::Loading::LoadDiagnostics* diagnostics) {
    if (isMxfFile(path)) {
        // A natural guess (summary of a clip) deserves better than an XML parser's complaint.
        std::cerr << "xsddict: " << path << ": an MXF file, not a dictionary: 'xsddict mxf " << path
                  << "' reads it\n";
        return false;
    }
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

// Whose header metadata regxml writes: the copy every command reads and edits unless asked
// otherwise, so that what it writes applies back as the identity.
Velmar::MXF::Reading::ReadOptions::Metadata metadataOption(const Arguments& arguments) {
    const auto metadata = Velmar::MXF::Reading::metadataPartitionNamed(
        arguments.has("--partition") ? arguments.value("--partition") : "auto");
    if (!metadata) {
        throw UsageError{"--partition takes header, footer, body or auto"};
    }
    return *metadata;
}

}  // namespace xsddict
