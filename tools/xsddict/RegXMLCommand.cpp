// xsddict regxml: a file's header metadata as a RegXML document.
#include <CLI/CLI.hpp>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <new>
#include <optional>

#include "CommandSupport.h"
#include "Commands.h"
#include "Mxf.h"
#include "MxfRun.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/RegXML/RegXMLWriting.h"

namespace xsddict {

namespace SDK = Velmar::SDK;

namespace {

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
    const std::string output = arguments.value("-o") == "-" ? "" : arguments.value("-o");
    const std::string scratch = output + ".partial";
    std::vector<MxfInput> inputs{MxfInput{file, {}}};
    std::unique_ptr<StandardInput> standardInput;
    if (!keepStandardInput(inputs, standardInput, std::cerr)) {
        return kFailed;
    }
    const std::string& source = inputs.front().readFrom.empty() ? file : inputs.front().readFrom;
    try {
        const Velmar::MXF::Model::HeaderMetadata header =
            Velmar::MXF::Reading::readHeaderMetadata(source.c_str(), dictionary, reading);
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
        printMxfFindings(header, std::cerr);
        return fails(header, failOn) ? kFindings : 0;
    } catch (const Velmar::MXF::Model::FileRefused& e) {
        if (!output.empty()) {
            std::remove(scratch.c_str());
        }
        std::cerr << refusalLine(file, e, false);
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

}  // namespace

void addRegXMLCommand(CommandLine& commandLine) {
    commandLine.add(
        "regxml",
        "The file's header metadata as a RegXML document: the Preface and the sets it owns, "
        "every value in its registered type's form; findings go to standard error as mxf "
        "prints them.",
        {1, false, "one MXF file (- reads standard input)", "FILE.mxf|-"},
        "  xsddict regxml file.mxf -o file.xml\n"
        "  xsddict regxml --partition header file.mxf\n"
        "  xsddict regxml --root 0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9 file.mxf\n",
        regxml, [](CLI::App& command) {
            addValueOption(
                command, "-o", "FILE",
                "the document to write (whole or not at all; default, or -: standard output)");
            addValueOption(command, "--root", "UUID",
                           "the set of this InstanceUID as the root, not the Preface");
            addValueOption(
                command, "--partition", "WHICH",
                "whose header metadata to write: auto (the default: the first closed complete "
                "copy, which mxf reads and set and apply edit), the header partition's (which "
                "other RegXML writers render), the footer's (or the last that has some), or "
                "the first body partition's");
            addFailOnOption(command, "regxml");
            addDictionaryOption(command);
            addVerboseOption(command);
        });
}

}  // namespace xsddict
