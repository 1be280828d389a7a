// set and apply: a file's header metadata changed and written back, never half.
#include "EditRun.h"

#include <unistd.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "CommandSupport.h"
#include "MxfRun.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/RegXML/RegXMLReading.h"
#include "Velmar/MXF/Values/Encoding.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/MXF/Writing/FileWriting.h"
#include "Velmar/MXF/Writing/HeaderMetadataEditing.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

namespace {

namespace MXF = Velmar::MXF;

std::string messageOf(const Velmar::SDK::Exceptions::BaseException& e) {
    std::string text = Velmar::SDK::Utils::toUtf8(e.message()).c_str();
    for (char& c : text) {
        if (c == '\n' || c == '\r') {
            c = ' ';
        }
    }
    return text;
}

}  // namespace

void sayRecovery(const std::string& file, const Velmar::MXF::Writing::Recovery& recovery,
                 std::ostream& out) {
    if (recovery.rolledBack) {
        out << "put back the old bytes of " << recovery.regions << " regions into " << file
            << " from " << recovery.journal << ", where an edit in place was cut short\n";
    }
}

int editMxfFile(const std::string& file, const std::vector<EditStep>& steps,
                const Velmar::SDK::MetaMetadata::Dictionary& dictionary,
                const EditRunOptions& options, std::ostream& out, std::ostream& err) {
    try {
        // An edit in place cut short is put back before the file is read to be edited.
        if (options.output.empty()) {
            sayRecovery(file, MXF::Writing::recoverFile(file.c_str()), out);
        }
        MXF::Model::HeaderMetadata header =
            MXF::Reading::readHeaderMetadata(file.c_str(), dictionary);
        for (const EditStep& step : steps) {
            switch (step.kind) {
                case EditStep::Kind::Set: {
                    const std::size_t n =
                        MXF::Writing::setItemText(header, step.path, step.value, dictionary);
                    out << "set " << step.path << " in " << n << (n == 1 ? " set\n" : " sets\n");
                    break;
                }
                case EditStep::Kind::Remove: {
                    const std::size_t n = MXF::Writing::remove(header, step.path, dictionary);
                    out << "removed " << step.path << " (" << n << ")\n";
                    break;
                }
                case EditStep::Kind::Add: {
                    const std::size_t at =
                        MXF::Writing::addSet(header, step.path, step.value, dictionary);
                    out << "added " << header.sets[at].name() << " "
                        << MXF::Values::uuidText(*header.sets[at].instanceUID) << " to "
                        << step.path << "\n";
                    break;
                }
                case EditStep::Kind::Apply: {
                    if (step.path == "-") {
                        const StandardInput document;
                        if (document.path().empty()) {
                            err << "xsddict: cannot keep the document read from standard input: "
                                << document.error() << "\n";
                            return EXIT_FAILURE;
                        }
                        if (document.empty()) {
                            err << "xsddict: " << file
                                << ": the document read from standard input is empty; nothing "
                                   "written\n";
                            return EXIT_FAILURE;
                        }
                        MXF::RegXML::applyRegXML(header, document.path().c_str(), dictionary);
                    } else {
                        MXF::RegXML::applyRegXML(header, step.path.c_str(), dictionary);
                    }
                    out << "applied " << (step.path == "-" ? "the document" : step.path) << " ("
                        << header.sets.size() << " sets)\n";
                    break;
                }
            }
        }
        MXF::Writing::WriteOptions writing;
        writing.output = options.output;
        writing.walkInPlace = options.walk;
        const MXF::Writing::WriteReport report =
            MXF::Writing::writeFile(file.c_str(), header, dictionary, writing);
        if (report.partitions.empty() && options.output.empty()) {
            out << file << " is unchanged: its header metadata holds that already\n";
            return EXIT_SUCCESS;
        }
        out << "wrote " << (options.output.empty() ? file + " in place" : options.output) << ": "
            << report.metadataBytes << " bytes of header metadata in " << report.partitions.size()
            << (report.partitions.size() == 1 ? " partition" : " partitions");
        if (report.moved > 0) {
            out << "; what follows moved by " << report.moved << " bytes";
        }
        out << "; " << report.bytesWritten << " bytes written\n";
        return EXIT_SUCCESS;
    } catch (const MXF::Model::FileRefused& e) {
        err << refusalLine(file, e, options.verbose);
        return 4;
    } catch (const MXF::Writing::NoRoom& e) {
        err << "xsddict: " << file << ": no room: " << messageOf(e) << "\n";
        return EXIT_FAILURE;
    } catch (const Velmar::SDK::Exceptions::BaseException& e) {
        err << "xsddict: " << file << ": " << messageOf(e);
        if (options.verbose) {
            err << " (raised at " << e.sourceFile() << ":" << e.sourceLine() << ")";
        }
        err << "\n";
        return EXIT_FAILURE;
    } catch (const std::bad_alloc&) {
        err << "xsddict: " << file << ": out of memory\n";
        return EXIT_FAILURE;
    }
}

void addEditOptions(CLI::App& command) {
    addValueOption(command, "-o", "OUT.mxf",
                   "the MXF file to write: a new file, written whole or not at all; essence and "
                   "index tables copied as they are, moved where the header metadata needs more "
                   "room");
    addFlag(command, "--in-place",
            "change the file itself, spending the fill after its header metadata; refused, with "
            "the room needed, where it does not fit");
    addFlag(command, "--walk", "in place, also walk the file written, whatever the edit");
    addDictionaryOption(command);
    addVerboseOption(command);
}

int runEdit(const Arguments& arguments) {
    EditRunOptions options;
    options.output = arguments.value("-o");
    options.walk = arguments.has("--walk");
    options.verbose = arguments.has("--verbose");
    if (arguments.has("-o") == arguments.has("--in-place")) {
        throw UsageError{arguments.command + " needs -o OUT.mxf or --in-place (one of them)"};
    }
    if (arguments.has("-o") && options.output.empty()) {
        throw UsageError{"-o needs a file name"};
    }
    if (arguments.positional.front() == "-") {
        throw UsageError{arguments.command +
                         " edits a file, not standard input: write it to a file first"};
    }
    std::vector<EditStep> steps;
    using Kind = EditStep::Kind;
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
    KeptToExit<Velmar::SDK::MetaMetadata::Dictionary> kept;
    Velmar::SDK::MetaMetadata::Dictionary& dictionary = kept.get();
    if (!loadReadingDictionary(arguments, dictionary)) {
        return kFailed;
    }
    return editMxfFile(arguments.positional.front(), steps, dictionary, options, std::cout,
                       std::cerr);
}

}  // namespace xsddict
