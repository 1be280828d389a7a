// What reading a file's header metadata costs once the dictionary is loaded, against
// mediainfo --Details=1 as a whole process on the same file, for a short D-10 file and one a
// hundred times longer (the same header, more essence).
//
//   mxf_benchmark                       writes the files (ffmpeg), times the reads in one run,
//                                       then the whole processes interleaved, and prints the table
//   mxf_benchmark --read-once DICT FILE what a measured process runs: prints its memory before
//                                       one read and its peak during it
//   mxf_benchmark --run COMMAND...      runs COMMAND, prints its wall time and peak memory
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Measure.h"
#include "RegisterImport.h"
#include "Velmar/MXF/HeaderMetadata.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace {

namespace SDK = Velmar::SDK;
namespace fs = std::filesystem;

SDK::MetaMetadata::Dictionary loadDictionary(const fs::path& file) {
    SDK::MetaMetadata::Dictionary dictionary;
    SDK::MetaMetadata::Loading::XSDDictionaryLoader loader;
    loader.load(SDK::Utils::stringToWstring(file.c_str()).c_str(), dictionary);
    return dictionary;
}

const SDK::MetaMetadata::Dictionary* dictionary = nullptr;
std::vector<fs::path> files;

void BM_Read(benchmark::State& state) {
    const fs::path& file = files.at(static_cast<std::size_t>(state.range(0)));
    std::size_t sets = 0;
    for (auto _ : state)
        sets = Velmar::MXF::readHeaderMetadata(file.c_str(), *dictionary).sets.size();
    state.counters["sets"] = static_cast<double>(sets);
}

bool onPath(const char* program) {
    return std::system((std::string("command -v ") + program + " >/dev/null").c_str()) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (const int status = bench::runMeasuredMain(argc, argv); status >= 0)
            return status;
        if (argc == 4 && std::strcmp(argv[1], "--read-once") == 0) {
            const SDK::MetaMetadata::Dictionary loaded = loadDictionary(argv[2]);
            std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts again from now
            const double before = bench::ownMegabytes("VmRSS:");
            Velmar::MXF::readHeaderMetadata(argv[3], loaded);
            std::printf("%.1f %.1f\n", before, bench::ownMegabytes("VmHWM:"));
            return 0;
        }
        const fs::path registers = VELMAR_REGISTERS_DIR;
        if (!fs::exists(registers / "Elements.xml") || !onPath("ffmpeg") || !onPath("mediainfo")) {
            std::cerr << "needs the register snapshots at " << registers
                      << ", ffmpeg and mediainfo: nothing to measure\n";
            return 0;
        }
        const fs::path folder =
            fs::temp_directory_path() / ("velmar-mxf-bench-" + std::to_string(getpid()));
        fs::create_directories(folder);
        const fs::path dictionaryFile = folder / "registers.xsd";
        {
            std::ofstream out(dictionaryFile);
            xsddict::writeDictionary(xsddict::readRegisters(registers.string()), out, 1);
        }
        // D-10 (IMX 30) of one frame and of a hundred: the header is the same.
        for (const char* seconds : {"0.04", "4"}) {
            files.push_back(folder / (std::string("d10-") + seconds + "s.mxf"));
            const std::string command =
                std::string(
                    "ffmpeg -hide_banner -loglevel error -y -f lavfi -i "
                    "testsrc=size=720x608:rate=25 -f lavfi -i sine=sample_rate=48000 "
                    "-t ") +
                seconds +
                " -c:v mpeg2video -pix_fmt yuv422p -intra_vlc 1 -non_linear_quant 1 "
                "-qmin 2 -qmax 2 -q:v 2 -b:v 30000k -minrate 30000k -maxrate 30000k "
                "-bufsize 1200000 -rc_init_occupancy 1200000 -dc 10 -flags +ildct+low_delay "
                "-ps 1 -c:a pcm_s16le -ac 1 -f mxf_d10 " +
                bench::quoted(files.back().string());
            if (std::system(command.c_str()) != 0)
                throw std::runtime_error("ffmpeg could not write " + files.back().string());
        }

        const SDK::MetaMetadata::Dictionary loaded = loadDictionary(dictionaryFile);
        dictionary = &loaded;
        benchmark::RegisterBenchmark("BM_Read", BM_Read)
            ->DenseRange(0, 1)
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.3)
            ->Repetitions(5);
        benchmark::Initialize(&argc, argv);
        bench::Collector collector;
        benchmark::RunSpecifiedBenchmarks(&collector);

        // Whole processes, interleaved so that all meet the same conditions.
        constexpr int kRuns = 11;
        const std::string self = bench::quoted(argv[0]);
        std::map<std::string, std::vector<double>> ms, megabytes;
        for (int run = 0; run < kRuns; ++run) {
            for (std::size_t i = 0; i < files.size(); ++i) {
                const std::string file = bench::quoted(files[i].string());
                const std::map<std::string, std::string> commands = {
                    {"mediainfo", self + " --run mediainfo --Details=1 " + file},
                    {"xsddict", self + " --run " + bench::quoted(XSDDICT_PATH) + " mxf " + file +
                                    " --dictionary " + bench::quoted(dictionaryFile.string())}};
                for (const auto& [name, command] : commands) {
                    const std::vector<double> measured = bench::readNumbers(command);
                    ms[name + std::to_string(i)].push_back(measured.at(0));
                    megabytes[name + std::to_string(i)].push_back(measured.at(1));
                }
            }
        }
        std::printf(
            "\nmedians; read = readHeaderMetadata with the dictionary loaded, its memory "
            "= what the read adds to the process's peak\n");
        std::printf("%-12s %8s %9s %9s %13s %13s %13s %13s\n", "file", "MB", "read ms", "read MB",
                    "mediainfo ms", "mediainfo MB", "xsddict ms", "xsddict MB");
        std::vector<double> readMs, readMegabytes;
        for (std::size_t i = 0; i < files.size(); ++i) {
            const std::vector<double> peaks =
                bench::readNumbers(self + " --read-once " + bench::quoted(dictionaryFile.string()) +
                                   " " + bench::quoted(files[i].string()));
            const std::string index = std::to_string(i);
            readMs.push_back(collector.median("BM_Read/" + index));
            readMegabytes.push_back(peaks.at(1) - peaks.at(0));
            std::printf(
                "%-12s %8.1f %9.2f %9.1f %13.1f %13.1f %13.1f %13.1f\n",
                files[i].filename().c_str(), static_cast<double>(fs::file_size(files[i])) / 1e6,
                readMs.back(), readMegabytes.back(), bench::median(ms["mediainfo" + index]),
                bench::median(megabytes["mediainfo" + index]), bench::median(ms["xsddict" + index]),
                bench::median(megabytes["xsddict" + index]));
        }
        std::printf("\nread / mediainfo: %.3f of the time, %.2f of the memory (short file)\n",
                    readMs[0] / bench::median(ms["mediainfo0"]),
                    readMegabytes[0] / bench::median(megabytes["mediainfo0"]));
        std::printf("long / short file: read time %.2fx, read memory +%.1f MB\n",
                    readMs[1] / readMs[0], readMegabytes[1] - readMegabytes[0]);
        std::printf(
            "targets: read below mediainfo in time and memory; the long file costs what "
            "the short one does\n");
        fs::remove_all(folder);
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "mxf_benchmark: " << e.what() << "\n";
        return 1;
    }
}
