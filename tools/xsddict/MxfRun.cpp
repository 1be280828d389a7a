#include "MxfRun.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <new>
#include <optional>
#include <ostream>
#include <sstream>

#include "CommandSupport.h"
#include "Mxf.h"
#include "OrderedRun.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/Report/Json.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

namespace fs = std::filesystem;

namespace {

bool isMxfName(const fs::path& path) {
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension == ".mxf";
}

struct FileResult {
    std::string out;
    std::string err;
    int status = 0;
};

FileResult readOne(const MxfInput& input, const Velmar::SDK::MetaMetadata::Dictionary& dictionary,
                   const MxfRunOptions& options) {
    const std::string& file = input.path;
    const std::string& source = input.readFrom.empty() ? file : input.readFrom;
    FileResult result;
    std::ostringstream out;
    const auto layout = options.jsonLines ? Velmar::MXF::Report::JsonLayout::OneLine
                                          : Velmar::MXF::Report::JsonLayout::Indented;
    if (input.noneFound) {
        result.err = "xsddict: " + file + ": no MXF file found under it (names ending .mxf)\n";
        result.status = kRefused;
        return result;
    }
    try {
        if (!input.unlisted.empty()) {
            throw Velmar::MXF::Model::FileRefused("unreadable", 0, "cannot list: " + input.unlisted,
                                                  __FILE__, __LINE__);
        }
        const Velmar::MXF::Model::HeaderMetadata header =
            Velmar::MXF::Reading::readHeaderMetadata(source.c_str(), dictionary, {options.walk});
        if (options.json) {
            Velmar::MXF::Report::writeJson(out, file, header, layout);
        } else {
            if (options.severalDocuments) {
                out << "== " << file << "\n";
            }
            printMxfText(header, out);
        }
        result.status = fails(header, options.failOn) ? kFindings : 0;
    } catch (const Velmar::MXF::Model::FileRefused& e) {
        if (options.json) {
            Velmar::MXF::Report::writeRefusalJson(out, file, e);
        }
        result.err = refusalLine(file, e, options.verbose);
        result.status = kRefused;
    } catch (const std::bad_alloc&) {
        result.err = "xsddict: " + file + ": out of memory\n";
        result.status = kFailed;
        return result;
    }
    result.out = out.str();
    return result;
}

}  // namespace

Progress::Progress(std::ostream& err, std::size_t total, bool shown)
    : err_(err), total_(total), shown_(shown), start_(Clock::now()) {}

void Progress::done(std::size_t count) {
    if (!shown_) {
        return;
    }
    const auto now = Clock::now();
    if (count < total_ && now - drawn_ < std::chrono::milliseconds(100)) {
        return;
    }
    drawn_ = now;
    const double seconds = std::chrono::duration<double>(now - start_).count();
    const double rate = seconds > 0 ? static_cast<double>(count) / seconds : 0.0;
    std::ostringstream line;
    line.setf(std::ios::fixed);
    line.precision(1);
    line << "\r" << count << "/" << total_ << " files, " << rate << " files/s";
    if (rate > 0 && count < total_) {
        line << ", " << std::llround(static_cast<double>(total_ - count) / rate) << " s left";
    }
    line << "\x1b[K";
    err_ << line.str() << std::flush;
    drawnAny_ = true;
}

void Progress::clear() {
    if (drawnAny_) {
        err_ << "\r\x1b[K" << std::flush;
        drawnAny_ = false;
    }
}

void Progress::finish() {
    if (drawnAny_) {
        err_ << "\n" << std::flush;
    }
}

std::string refusalLine(const std::string& file, const Velmar::MXF::Model::FileRefused& refusal,
                        bool verbose) {
    std::ostringstream line;
    line << "xsddict: " << file << ": refused: " << refusal.rule() << " at offset "
         << refusal.offset() << ": "
         << Velmar::SDK::Utils::wstringToBytes(refusal.message()).c_str();
    if (verbose) {
        line << " (raised at " << refusal.sourceFile() << ":" << refusal.sourceLine() << ")";
    }
    return line.str() + "\n";
}

bool fails(const Velmar::MXF::Model::HeaderMetadata& header,
           Velmar::MXF::Model::Severity threshold) {
    for (const Velmar::MXF::Model::Finding& finding : header.findings) {
        if (finding.severity <= threshold) {
            return true;
        }
    }
    return false;
}

std::vector<MxfInput> mxfFiles(const std::vector<std::string>& arguments) {
    std::vector<MxfInput> files;
    for (const std::string& argument : arguments) {
        std::error_code error;
        if (!fs::is_directory(argument, error)) {
            files.push_back(MxfInput{argument, {}});
            continue;
        }
        // Folder by folder: one that cannot be listed is a line of its own, and the rest is
        // read. Links to folders are not followed, so a loop of links costs nothing.
        std::vector<MxfInput> found;
        std::vector<fs::path> folders{argument};
        while (!folders.empty()) {
            const fs::path folder = std::move(folders.back());
            folders.pop_back();
            fs::directory_iterator it(folder, error);
            for (; !error && it != fs::directory_iterator(); it.increment(error)) {
                std::error_code typeError;
                if (it->is_directory(typeError) && !it->is_symlink(typeError)) {
                    folders.push_back(it->path());
                } else if (it->is_regular_file(typeError) && isMxfName(it->path())) {
                    found.push_back(MxfInput{it->path().string(), {}});
                }
            }
            if (error) {
                found.push_back(MxfInput{folder.string(), error.message()});
                error.clear();
            }
        }
        if (found.empty()) {
            found.push_back(MxfInput{argument, {}, true});
        }
        std::sort(found.begin(), found.end(),
                  [](const MxfInput& a, const MxfInput& b) { return a.path < b.path; });
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

bool keepStandardInput(std::vector<MxfInput>& inputs, std::unique_ptr<StandardInput>& kept,
                       std::ostream& err) {
    for (MxfInput& input : inputs) {
        if (input.path != "-" || !input.unlisted.empty()) {
            continue;
        }
        if (kept) {
            err << "xsddict: standard input (-) can be read once in a run\n";
            return false;
        }
        kept = std::make_unique<StandardInput>();
        if (kept->path().empty()) {
            err << "xsddict: -: cannot read standard input: " << kept->error() << "\n";
            return false;
        }
        input.readFrom = kept->path();
    }
    return true;
}

int readMxfFiles(const std::vector<MxfInput>& files,
                 const Velmar::SDK::MetaMetadata::Dictionary& dictionary,
                 const MxfRunOptions& options, std::ostream& out, std::ostream& err) {
    Progress progress(err, files.size(), options.progress);
    int worst = 0;
    auto emit = [&](const FileResult& result) {
        if (options.outputOnTerminal && !result.out.empty()) {
            progress.clear();  // the terminal shows both: the output starts on a clean line
        }
        out << result.out;
        if (!result.err.empty()) {
            progress.clear();
            err << result.err;
        }
        worst = std::max(worst, result.status);
    };

    runInOrder(
        files.size(), options.jobs,
        [&](std::size_t i) { return readOne(files[i], dictionary, options); },
        [&](FileResult&& result, std::size_t i) {
            emit(result);
            progress.done(i + 1);
        });
    progress.finish();
    if (!out.flush()) {
        return std::max(worst, kFailed);
    }
    return worst;
}

}  // namespace xsddict
