#pragma once

// What the commands share: dictionaries loaded (and kept to the end of the process), failures
// said on one line, and the values of the options several commands take.
#include <memory>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/LoadDiagnostics.h"

#if __has_include(<valgrind/valgrind.h>)
#include <valgrind/valgrind.h>
#endif

namespace xsddict {

// A failure of the library, on one line: "xsddict: SUBJECT: ParseError: message", and where
// in the library it was raised with --verbose.
void reportFailure(const std::string& subject, const Velmar::SDK::Exceptions::BaseException& e,
                   bool verbose);
// Messages may span lines (the XPath engine's quote the query on a line of its own); a
// failure is reported on one.
std::string oneLine(std::string text);

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

// A dictionary file of either form into `dictionary`; with `diagnostics`, what a schema's load
// passed over or resolved. False, with the failure said, where it does not load.
bool load(const std::string& path, const Arguments& arguments,
          Velmar::SDK::MetaMetadata::Dictionary& dictionary,
          Velmar::SDK::MetaMetadata::Loading::LoadDiagnostics* diagnostics = nullptr);
// The dictionary MXF files are read with: those given with --dictionary, else the built-in one.
bool loadReadingDictionary(const Arguments& arguments,
                           Velmar::SDK::MetaMetadata::Dictionary& dictionary);

// Standard input ("-" where a command takes a file) as a file that can be read by path and
// seeked in, as an MXF file's footer and an XML document need: where it is a regular file
// already (a redirect), that file; else copied into a temporary file, unlinked at once, so that
// nothing is left behind however the process ends.
class StandardInput {
  public:
    StandardInput();
    ~StandardInput();
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;
    const std::string& path() const { return path_; }  // empty where it could not be kept
    const std::string& error() const { return error_; }
    bool empty() const { return empty_; }

  private:
    int descriptor_ = -1;
    std::string path_;
    std::string error_;
    bool empty_ = true;
};

// The values of -j, --fail-on and --partition; UsageError for any other.
unsigned jobsOption(const Arguments& arguments);
Velmar::MXF::Model::Severity failOnOption(const Arguments& arguments);
Velmar::MXF::Reading::ReadOptions::Metadata metadataOption(const Arguments& arguments);

}  // namespace xsddict
