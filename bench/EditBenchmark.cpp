// What changing header metadata costs, each figure measured side by side in one run:
//   - one value changed in place (the library's writeFile, dictionary loaded once; and the
//     whole xsddict set --in-place process) on a 1 GiB file against a 1 MiB file of the same
//     header metadata: time and bytes written; the target is the same cost whatever the size;
//   - a new file written with -o (xsddict set ... -o OUT, a whole process) against cp of the
//     same file: throughput, the target at least 0.8 of cp's.
// The files are made by ffmpeg (MPEG-2 at a constant rate) in a scratch folder, removed after.
//
//   edit_benchmark [--repetitions N]
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Measure.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/Writing/FileWriting.h"
#include "Velmar/MXF/Writing/HeaderMetadataEditing.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"

namespace {

namespace fs = std::filesystem;
namespace MXF = Velmar::MXF;
using Clock = std::chrono::steady_clock;

void run(const std::string& command) {
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("failed: " + command);
    }
}

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// A whole process's wall time in ms.
double timed(const std::string& command) {
    const auto start = Clock::now();
    run(command + " >/dev/null");
    return msSince(start);
}

void makeFile(const fs::path& path, double seconds) {
    run("ffmpeg -hide_banner -loglevel error -y -f lavfi -i color=c=gray:s=1920x1080:r=25 -t " +
        std::to_string(seconds) +
        " -c:v mpeg2video -b:v 250M -minrate 250M -maxrate 250M -bufsize 10M -muxrate 260M " +
        bench::quoted(path.string()));
}

struct InPlace {
    double ms = 0;
    std::uint64_t bytesWritten = 0;
};

InPlace editInPlace(const fs::path& file, const Velmar::SDK::MetaMetadata::Dictionary& dictionary,
                    int round) {
    const auto start = Clock::now();
    MXF::Model::HeaderMetadata header = MXF::Reading::readHeaderMetadata(file.c_str(), dictionary);
    MXF::Writing::setItemText(header, "Timecode/Start Timecode", std::to_string(90000 + round),
                              dictionary);
    const MXF::Writing::WriteReport report =
        MXF::Writing::writeFile(file.c_str(), header, dictionary);
    return {msSince(start), report.bytesWritten};
}

}  // namespace

int main(int argc, char** argv) {
    int repetitions = 9;
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::string(argv[i]) == "--repetitions") {
            repetitions = std::max(1, std::atoi(argv[i + 1]));
        }
    }
    if (std::system("command -v ffmpeg >/dev/null") != 0) {
        std::cerr << "needs ffmpeg: nothing to measure\n";
        return 0;
    }
    const fs::path scratch = fs::temp_directory_path() / ("edit-bench-" + std::to_string(getpid()));
    fs::create_directories(scratch);
    int status = 0;
    try {
        const fs::path large = scratch / "large.mxf";
        const fs::path small = scratch / "small.mxf";
        makeFile(large, 34.5);  // 250 Mbit/s: about 1.08 GB (1 GiB and a little)
        makeFile(small, 0.04);  // one frame: about 1.3 MB
        std::cout << "files: " << fs::file_size(large) << " and " << fs::file_size(small)
                  << " bytes\n";
        Velmar::SDK::MetaMetadata::Dictionary dictionary;
        Velmar::SDK::MetaMetadata::Loading::loadBuiltinDictionary(dictionary);

        // In place, in the library: interleaved, so that a slow spell meets both.
        std::vector<double> largeMs, smallMs, ratios, largeProcess, smallProcess;
        std::uint64_t largeBytes = 0, smallBytes = 0;
        for (int round = 0; round < repetitions; ++round) {
            const InPlace l = editInPlace(large, dictionary, round);
            const InPlace s = editInPlace(small, dictionary, round);
            largeMs.push_back(l.ms);
            smallMs.push_back(s.ms);
            ratios.push_back(l.ms / s.ms);
            largeBytes = l.bytesWritten;
            smallBytes = s.bytesWritten;
            const std::string set = std::string(XSDDICT_PATH) + " set --in-place ";
            const std::string change = " 'Timecode/Start Timecode=" + std::to_string(round) + "'";
            largeProcess.push_back(timed(set + bench::quoted(large.string()) + change));
            smallProcess.push_back(timed(set + bench::quoted(small.string()) + change));
        }
        std::vector<double> processRatios;
        for (std::size_t i = 0; i < largeProcess.size(); ++i) {
            processRatios.push_back(largeProcess[i] / smallProcess[i]);
        }

        // A new file against cp, whole processes, interleaved; the output removed each time so
        // that both write a file anew.
        std::vector<double> oursMs, cpMs, throughput;
        const fs::path out = scratch / "out.mxf";
        for (int round = 0; round < repetitions; ++round) {
            fs::remove(out);
            run("sync");
            oursMs.push_back(
                timed(std::string(XSDDICT_PATH) + " set " + bench::quoted(large.string()) +
                      " 'Timecode/Start Timecode=1' -o " + bench::quoted(out.string())));
            fs::remove(out);
            run("sync");
            cpMs.push_back(
                timed("cp " + bench::quoted(large.string()) + " " + bench::quoted(out.string())));
            throughput.push_back(cpMs.back() / oursMs.back());
        }
        const double mb = static_cast<double>(fs::file_size(large)) / 1e6;
        std::printf("\n%-58s %12s %12s %8s %8s\n", "measure", "1 GiB file", "1 MiB file", "ratio",
                    "target");
        std::printf("%-58s %12.2f %12.2f %8.3f %8s\n", "one value in place, library (ms, median)",
                    bench::median(largeMs), bench::median(smallMs), bench::median(ratios), "~1.0");
        std::printf("%-58s %12.1f %12.1f %8.3f %8s\n",
                    "one value in place, xsddict set --in-place (ms, median)",
                    bench::median(largeProcess), bench::median(smallProcess),
                    bench::median(processRatios), "~1.0");
        std::printf("%-58s %12llu %12llu %8.3f %8s\n", "bytes written in place",
                    static_cast<unsigned long long>(largeBytes),
                    static_cast<unsigned long long>(smallBytes),
                    static_cast<double>(largeBytes) / static_cast<double>(smallBytes), "1.0");
        std::printf("\n%-58s %12s %12s %8s %8s\n", "measure (1 GiB file)", "xsddict -o", "cp",
                    "ratio", "target");
        std::printf("%-58s %12.1f %12.1f %8.3f %8s\n", "new file, MB/s (median of paired runs)",
                    mb / (bench::median(oursMs) / 1000), mb / (bench::median(cpMs) / 1000),
                    bench::median(throughput), ">= 0.8");
        const bool met = bench::median(throughput) >= 0.8 && largeBytes == smallBytes;
        std::printf("\ntargets %s\n", met ? "met" : "MISSED");
    } catch (const std::exception& e) {
        std::cerr << "edit_benchmark: " << e.what() << "\n";
        status = 1;
    }
    fs::remove_all(scratch);
    return status;
}
