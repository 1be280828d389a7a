#include "ReportRun.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>
#include <ostream>
#include <sstream>

#include "CommandSupport.h"
#include "MxfRun.h"
#include "OrderedRun.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/Report/Report.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

namespace fs = std::filesystem;
namespace MXF = Velmar::MXF;

namespace {

// A file to report on: where it is, the name its row shows and its page's path in the folder.
struct Target {
    MxfInput input;
    std::string name;
    std::string page;
};

struct Outcome {
    MXF::Report::IndexRow row;
    std::string err;
    int status = 0;
};

// Written in one call; a page that could not be written whole is removed, and the failure
// said. (No scratch file and rename: for a thousand pages those cost as much as the reading.)
bool writeWhole(const fs::path& path, const std::string& text, std::string& why) {
    std::error_code error;
    if (!fs::is_directory(path.parent_path(), error)) {
        fs::create_directories(path.parent_path(), error);
    }
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        why = std::strerror(errno);
        return false;
    }
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            why = n < 0 ? std::strerror(errno) : "nothing written";
            break;
        }
        done += static_cast<std::size_t>(n);
    }
    if (::close(fd) != 0 && done == text.size()) {
        why = std::strerror(errno);
        done = 0;
    }
    if (done != text.size()) {
        ::unlink(path.c_str());
        return false;
    }
    return true;
}

std::uint64_t sizeOf(const std::string& path) {
    std::error_code error;
    const auto size = fs::file_size(path, error);
    return error ? 0 : size;
}

// Reads and walks one file and makes its page, in `page`, and its row.
Outcome report(const Target& target, const Velmar::SDK::MetaMetadata::Dictionary& dictionary,
               const ReportOptions& options, std::string& page) {
    Outcome outcome;
    std::ostringstream html;
    const std::string& file = target.input.path;
    if (target.input.noneFound) {
        outcome.err = "xsddict: " + file + ": no MXF file found under it (names ending .mxf)\n";
        outcome.status = kRefused;
        return outcome;
    }
    try {
        try {
            if (!target.input.unlisted.empty()) {
                throw MXF::Model::FileRefused(
                    "unreadable", 0, "cannot list: " + target.input.unlisted, __FILE__, __LINE__);
            }
            MXF::Reading::ReadOptions reading;
            reading.walk = true;
            const std::string& source =
                target.input.readFrom.empty() ? file : target.input.readFrom;
            const MXF::Model::HeaderMetadata header =
                MXF::Reading::readHeaderMetadata(source.c_str(), dictionary, reading);
            MXF::Report::writePage(html, file, header, &dictionary);
            outcome.row = MXF::Report::indexRow(target.name, target.page, header, &dictionary);
            outcome.status = fails(header, options.failOn) ? kFindings : 0;
        } catch (const MXF::Model::FileRefused& e) {
            const std::uint64_t size =
                sizeOf(target.input.readFrom.empty() ? file : target.input.readFrom);
            MXF::Report::writeRefusedPage(html, file, size, e);
            outcome.row = MXF::Report::refusedIndexRow(target.name, target.page, size, e);
            outcome.err = refusalLine(file, e, options.verbose);
            outcome.status = kRefused;
        }
        page = html.str();
    } catch (const std::bad_alloc&) {
        page.clear();
        outcome.row.name = target.name;
        outcome.row.refusal = "out of memory";
        outcome.err = "xsddict: " + file + ": out of memory\n";
        outcome.status = kFailed;
    }
    return outcome;
}

// The page of each file: its path under the directory given (or its name, for a file given),
// under that directory's own name where several arguments are given, ".html" for ".mxf".
std::vector<Target> targetsOf(const std::vector<std::string>& arguments) {
    std::vector<Target> targets;
    std::map<std::string, int> used;
    for (const std::string& argument : arguments) {
        std::error_code error;
        const bool directory = fs::is_directory(argument, error);
        const fs::path root = fs::path(argument).lexically_normal();
        for (MxfInput& input : mxfFiles({argument})) {
            fs::path name = directory
                                ? fs::path(input.path).lexically_normal().lexically_relative(root)
                                : fs::path(input.path).filename();
            if (input.path == "-") {
                name = "stdin";
            } else if (name.empty() || name.string().rfind("..", 0) == 0) {
                name = fs::path(input.path).filename();
            }
            if (arguments.size() > 1 && directory) {
                name = (root.filename().empty() ? root.parent_path().filename() : root.filename()) /
                       name;
            }
            std::string page = fs::path(name).replace_extension(".html").generic_string();
            if (const int n = used[page]++; n != 0) {
                page = fs::path(name).replace_extension("").generic_string() + "~" +
                       std::to_string(n + 1) + ".html";
            }
            targets.push_back(Target{std::move(input), name.generic_string(), page});
        }
    }
    return targets;
}

}  // namespace

int writeReports(const std::vector<std::string>& arguments,
                 const Velmar::SDK::MetaMetadata::Dictionary& dictionary,
                 const ReportOptions& options, std::ostream& out, std::ostream& err) {
    std::error_code error;
    const bool one = arguments.size() == 1 && !fs::is_directory(arguments.front(), error);
    std::unique_ptr<StandardInput> standardInput;
    if (one) {
        std::vector<MxfInput> inputs{MxfInput{arguments.front(), {}}};
        if (!keepStandardInput(inputs, standardInput, err)) {
            return kFailed;
        }
        if (inputs.front().readFrom.empty() && !fs::exists(arguments.front(), error)) {
            // No page of a file that is not there; in a run of several, its row says so.
            err << "xsddict: " << arguments.front() << ": no such file\n";
            return kRefused;
        }
        const Target target{inputs.front(), arguments.front(), {}};
        std::string page;
        Outcome outcome = report(target, dictionary, options, page);
        err << outcome.err;
        if (page.empty()) {
            return std::max(outcome.status, kFailed);
        }
        if (options.output.empty() || options.output == "-") {
            out << page;
            return out.flush() ? outcome.status : kFailed;
        }
        // Into a folder given, under the file's name.
        fs::path output = options.output;
        if (fs::is_directory(output, error)) {
            output /= fs::path(arguments.front() == "-" ? "stdin" : arguments.front())
                          .filename()
                          .replace_extension(".html");
        }
        std::string why;
        if (!writeWhole(output, page, why)) {
            err << "xsddict: cannot write " << output.string() << ": " << why << "\n";
            return kFailed;
        }
        out << "wrote " << output.string() << "\n";
        return outcome.status;
    }

    std::vector<Target> targets = targetsOf(arguments);
    {
        std::vector<MxfInput> inputs;
        for (const Target& target : targets) {
            inputs.push_back(target.input);
        }
        if (!keepStandardInput(inputs, standardInput, err)) {
            return kFailed;
        }
        for (std::size_t i = 0; i < targets.size(); ++i) {
            targets[i].input.readFrom = inputs[i].readFrom;
        }
    }
    if (std::all_of(targets.begin(), targets.end(),
                    [](const Target& t) { return t.input.noneFound; })) {
        for (const Target& target : targets) {
            err << "xsddict: " << target.input.path
                << ": no MXF file found under it (names ending .mxf)\n";
        }
        return kRefused;
    }
    const fs::path folder(options.output);
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder, error)) {
        err << "xsddict: cannot make the folder " << options.output << "\n";
        return kFailed;
    }
    std::vector<MXF::Report::IndexRow> rows;
    rows.reserve(targets.size());
    Progress progress(err, targets.size(), options.progress);
    int worst = 0;
    runInOrder(
        targets.size(), options.jobs,
        [&](std::size_t i) {
            std::string page;
            Outcome outcome = report(targets[i], dictionary, options, page);
            std::string why;
            if (!page.empty() && !writeWhole(folder / targets[i].page, page, why)) {
                outcome.err += "xsddict: cannot write " + (folder / targets[i].page).string() +
                               ": " + why + "\n";
                outcome.status = kFailed;
            }
            return outcome;
        },
        [&](Outcome&& outcome, std::size_t i) {
            if (!outcome.err.empty()) {
                progress.clear();
                err << outcome.err;
            }
            worst = std::max(worst, outcome.status);
            if (!targets[i].input.noneFound) {
                rows.push_back(std::move(outcome.row));
            }
            progress.done(i + 1);
        });
    progress.finish();

    std::string title;
    for (const std::string& argument : arguments) {
        title += (title.empty() ? "" : ", ") + argument;
    }
    std::ostringstream index;
    MXF::Report::writeIndex(index, title, rows);
    std::string why;
    const fs::path indexPath = folder / "index.html";
    if (!writeWhole(indexPath, index.str(), why)) {
        err << "xsddict: cannot write " << indexPath.string() << ": " << why << "\n";
        return kFailed;
    }
    out << "wrote " << indexPath.string() << " and " << rows.size()
        << (rows.size() == 1 ? " page" : " pages") << "\n";
    return out.flush() ? worst : std::max(worst, kFailed);
}

}  // namespace xsddict
