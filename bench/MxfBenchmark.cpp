// What reading MXF files costs out of the box, against mediainfo on the same files, each figure
// measured side by side in one run (whole processes interleaved, so that all meet the same
// conditions of this shared machine):
//   - one file as a whole process, built-in dictionary: xsddict mxf FILE --json against
//     mediainfo --Details=1 FILE, on a 100-frame D-10 file and on the OP1a fixture;
//   - the register dictionary loaded in a process, compiled against its schema: warm (the
//     median of repeated loads) and first (one load in a fresh process, as a command pays it);
//   - 1,000 files (copies of the fixtures) in one run, xsddict mxf --json DIR against
//     mediainfo --Output=JSON DIR, and xsddict's peak memory at 1,000 files against 100;
//     a report page of each and their index (xsddict report DIR -o OUT) against
//     xsddict mxf --json --walk DIR;
//   - the files of other writers, where their corpus lies beside the project: files per second
//     of xsddict mxf --json -j 2 against mediainfo --Output=JSON over the same files.
//
//   mxf_benchmark                     makes the files (ffmpeg) in a scratch folder, measures,
//                                     prints the table and removes the folder
//   mxf_benchmark --read-once FILE    in a fresh process: memory before one read with the
//                                     built-in dictionary and the peak during it
//   mxf_benchmark --load-once DICT    in a fresh process: the ms one load of DICT takes
//   mxf_benchmark --run COMMAND...    runs COMMAND, prints its wall time and peak memory
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
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "HeapWarmup.h"
#include "Measure.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/RegXML/RegXMLWriting.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"

namespace {

namespace SDK = Velmar::SDK;
namespace Loading = SDK::MetaMetadata::Loading;
namespace fs = std::filesystem;

const SDK::MetaMetadata::Dictionary* dictionary = nullptr;
std::vector<fs::path> files;

void BM_Read(benchmark::State& state) {
    const fs::path& file = files.at(static_cast<std::size_t>(state.range(0)));
    std::size_t sets = 0;
    for (auto _ : state)
        sets = Velmar::MXF::Reading::readHeaderMetadata(file.c_str(), *dictionary).sets.size();
    state.counters["sets"] = static_cast<double>(sets);
}

// The document of a header metadata already read, into memory.
void BM_WriteRegXML(benchmark::State& state) {
    const fs::path& file = files.at(static_cast<std::size_t>(state.range(0)));
    const Velmar::MXF::Model::HeaderMetadata header =
        Velmar::MXF::Reading::readHeaderMetadata(file.c_str(), *dictionary);
    std::size_t bytes = 0;
    for (auto _ : state) {
        std::ostringstream out;
        Velmar::MXF::RegXML::writeRegXML(out, header, *dictionary);
        bytes = out.str().size();
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

// 0: the compiled register dictionary, 1: its schema.
std::string dictionaryFiles[2];

void BM_LoadDictionary(benchmark::State& state) {
    const std::string& file = dictionaryFiles[state.range(0)];
    std::size_t elements = 0;
    for (auto _ : state) {
        auto loaded = std::make_unique<SDK::MetaMetadata::Dictionary>();
        Loading::loadDictionaryFile(file.c_str(), *loaded);
        elements = loaded->metaElementCount();
        state.PauseTiming();  // a load's figure, not a free's
        loaded.reset();
        state.ResumeTiming();
    }
    state.counters["elements"] = static_cast<double>(elements);
}

bool onPath(const char* program) {
    return std::system((std::string("command -v ") + program + " >/dev/null").c_str()) == 0;
}

void run(const std::string& command) {
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error("failed: " + command);
}

// A folder of `count` files, copies of the fixtures in turn.
fs::path archive(const fs::path& parent, std::size_t count) {
    std::vector<fs::path> fixtures;
    for (const auto& entry : fs::directory_iterator(VELMAR_MXF_FIXTURES))
        if (entry.path().extension() == ".mxf")
            fixtures.push_back(entry.path());
    std::sort(fixtures.begin(), fixtures.end());
    const fs::path folder = parent / ("archive-" + std::to_string(count));
    fs::create_directories(folder);
    for (std::size_t i = 0; i < count; ++i) {
        const fs::path& from = fixtures[i % fixtures.size()];
        char name[32];
        std::snprintf(name, sizeof name, "%04zu-", i);
        fs::copy_file(from, folder / (name + from.filename().string()));
    }
    return folder;
}

double megabytesIn(const fs::path& folder) {
    double bytes = 0;
    for (const auto& entry : fs::directory_iterator(folder))
        bytes += static_cast<double>(entry.file_size());
    return bytes / 1e6;
}

struct Figure {
    std::string what;
    std::string unit;
    double ours;
    std::string theirsName;
    double theirs;
    double ratio;   // the median of each run's ratio where runs pair up, else of the medians
    double target;  // the highest ratio allowed
};

// The median of each run against the one it was run beside: a slow spell of a shared machine
// meets both sides of a pair.
double pairedRatio(const std::vector<double>& ours, const std::vector<double>& theirs) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < ours.size() && i < theirs.size(); ++i)
        ratios.push_back(ours[i] / theirs[i]);
    return bench::median(ratios);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (const int status = bench::runMeasuredMain(argc, argv); status >= 0)
            return status;
        if (argc == 3 && std::strcmp(argv[1], "--read-once") == 0) {
            SDK::MetaMetadata::Dictionary builtin;
            Loading::loadBuiltinDictionary(builtin);
            std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts again from now
            const double before = bench::ownMegabytes("VmRSS:");
            Velmar::MXF::Reading::readHeaderMetadata(argv[2], builtin);
            std::printf("%.1f %.1f\n", before, bench::ownMegabytes("VmHWM:"));
            return 0;
        }
        if (argc == 3 && std::strcmp(argv[1], "--load-once") == 0) {
            // As xsddict loads: the heap a compiled dictionary fills is made present first.
            const auto start = std::chrono::steady_clock::now();
            if (Loading::isCompiledDictionaryFile(argv[2]))
                xsddict::warmHeap(xsddict::compiledDictionaryHeap(fs::file_size(argv[2])));
            SDK::MetaMetadata::Dictionary loaded;
            Loading::loadDictionaryFile(argv[2], loaded);
            std::printf("%.3f\n", std::chrono::duration<double, std::milli>(
                                      std::chrono::steady_clock::now() - start)
                                      .count());
            return 0;
        }
        if (!onPath("ffmpeg") || !onPath("mediainfo")) {
            std::cerr << "needs ffmpeg and mediainfo: nothing to measure\n";
            return 0;
        }
        dictionaryFiles[0] = Loading::builtinDictionaryPath().c_str();
        dictionaryFiles[1] = fs::path(dictionaryFiles[0]).replace_extension(".xsd").string();
        const fs::path folder =
            fs::temp_directory_path() / ("velmar-mxf-bench-" + std::to_string(getpid()));
        fs::create_directories(folder);
        // D-10 (IMX 30), 100 frames; and the OP1a fixture.
        files.push_back(folder / "d10-100-frames.mxf");
        run("ffmpeg -hide_banner -loglevel error -y -f lavfi -i testsrc=size=720x608:rate=25 "
            "-f lavfi -i sine=sample_rate=48000 -frames:v 100 -t 4 -c:v mpeg2video "
            "-pix_fmt yuv422p -intra_vlc 1 -non_linear_quant 1 -qmin 2 -qmax 2 -q:v 2 "
            "-b:v 30000k -minrate 30000k -maxrate 30000k -bufsize 1200000 "
            "-rc_init_occupancy 1200000 -dc 10 -flags +ildct+low_delay -ps 1 -c:a pcm_s16le "
            "-ac 1 -f mxf_d10 " +
            bench::quoted(files.back().string()));
        files.push_back(fs::path(VELMAR_MXF_FIXTURES) / "op1a-mpeg2-pcm.mxf");
        const fs::path archive100 = archive(folder, 100);
        const fs::path archive1000 = archive(folder, 1000);

        SDK::MetaMetadata::Dictionary builtin;
        Loading::loadBuiltinDictionary(builtin);
        dictionary = &builtin;
        benchmark::RegisterBenchmark("BM_Read", BM_Read)
            ->DenseRange(0, 1)
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.3)
            ->Repetitions(5);
        benchmark::RegisterBenchmark("BM_WriteRegXML", BM_WriteRegXML)
            ->DenseRange(0, 1)
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.3)
            ->Repetitions(5);
        benchmark::RegisterBenchmark("BM_LoadDictionary", BM_LoadDictionary)
            ->DenseRange(0, 1)
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.5)
            ->Repetitions(5);
        benchmark::Initialize(&argc, argv);
        bench::Collector collector;
        benchmark::RunSpecifiedBenchmarks(&collector);

        const std::string self = bench::quoted(argv[0]);
        const std::string xsddict = bench::quoted(XSDDICT_PATH);
        std::map<std::string, std::vector<double>> ms, megabytes;
        auto measure = [&](const std::string& name, const std::string& command) {
            const std::vector<double> measured = bench::readNumbers(command);
            ms[name].push_back(measured.at(0));
            if (measured.size() > 1)
                megabytes[name].push_back(measured.at(1));
        };
        std::cerr << "whole processes, interleaved...\n";
        constexpr int kRounds = 21;
        for (int round = 0; round < kRounds; ++round) {
            for (std::size_t i = 0; i < files.size(); ++i) {
                const std::string file = bench::quoted(files[i].string());
                const std::string index = std::to_string(i);
                measure("mediainfo" + index, self + " --run mediainfo --Details=1 " + file);
                measure("xsddict" + index, self + " --run " + xsddict + " mxf " + file + " --json");
                measure("regxml" + index, self + " --run " + xsddict + " regxml " + file);
            }
            measure("first-compiled", self + " --load-once " + bench::quoted(dictionaryFiles[0]));
            measure("first-schema", self + " --load-once " + bench::quoted(dictionaryFiles[1]));
        }
        std::cerr << "archives, interleaved...\n";
        for (int round = 0; round < 3; ++round) {
            measure("archive-mediainfo",
                    self + " --run mediainfo --Output=JSON " + bench::quoted(archive1000.string()));
            measure("archive-xsddict", self + " --run " + xsddict + " mxf --json " +
                                           bench::quoted(archive1000.string()));
            measure("archive-xsddict-100", self + " --run " + xsddict + " mxf --json " +
                                               bench::quoted(archive100.string()));
            measure("archive-walk", self + " --run " + xsddict + " mxf --json --walk " +
                                        bench::quoted(archive1000.string()));
            measure("archive-report", self + " --run " + xsddict + " report -o " +
                                          bench::quoted((folder / "reports").string()) + " " +
                                          bench::quoted(archive1000.string()));
        }

        std::printf("\nread in a process with the built-in dictionary loaded (median):\n");
        for (std::size_t i = 0; i < files.size(); ++i) {
            const std::vector<double> peaks =
                bench::readNumbers(self + " --read-once " + bench::quoted(files[i].string()));
            std::printf("  %-22s %6.1f MB  %6.2f ms  +%.1f MB; its RegXML written in %.2f ms\n",
                        files[i].filename().c_str(),
                        static_cast<double>(fs::file_size(files[i])) / 1e6,
                        collector.median("BM_Read/" + std::to_string(i)), peaks.at(1) - peaks.at(0),
                        collector.median("BM_WriteRegXML/" + std::to_string(i)));
        }

        // A row of two series measured side by side, or of two in-process medians.
        auto paired = [&](const char* what, bool memory, const std::string& ours,
                          const char* theirsName, const std::string& theirs, double target) {
            auto& series = memory ? megabytes : ms;
            return Figure{what,
                          memory ? "MB" : "ms",
                          bench::median(series[ours]),
                          theirsName,
                          bench::median(series[theirs]),
                          pairedRatio(series[ours], series[theirs]),
                          target};
        };
        const double warmCompiled = collector.median("BM_LoadDictionary/0");
        const double warmSchema = collector.median("BM_LoadDictionary/1");
        const std::vector<Figure> figures = {
            paired("one file, D-10 100 frames: time", false, "xsddict0", "mediainfo --Details=1",
                   "mediainfo0", 0.25),
            paired("one file, D-10 100 frames: peak memory", true, "xsddict0",
                   "mediainfo --Details=1", "mediainfo0", 1.0),
            paired("one file, OP1a fixture: time", false, "xsddict1", "mediainfo --Details=1",
                   "mediainfo1", 0.25),
            paired("one file, OP1a fixture: peak memory", true, "xsddict1", "mediainfo --Details=1",
                   "mediainfo1", 1.0),
            {"register dictionary load, warm", "ms", warmCompiled, "its schema", warmSchema,
             warmCompiled / warmSchema, 1.0 / 20},
            paired("register dictionary load, first in a process", false, "first-compiled",
                   "its schema", "first-schema", 1.0 / 20),
            paired("1,000 files, --json DIR: time", false, "archive-xsddict",
                   "mediainfo --Output=JSON", "archive-mediainfo", 0.1),
            paired("1,000 files: peak memory against 100 files", true, "archive-xsddict",
                   "xsddict, 100 files", "archive-xsddict-100", 1.25),
            paired("1,000 files: peak memory against mediainfo", true, "archive-xsddict",
                   "mediainfo --Output=JSON", "archive-mediainfo", 1.0),
            paired("1,000 files, report DIR -o OUT: time", false, "archive-report",
                   "xsddict mxf --json --walk", "archive-walk", 2.0),
            paired("RegXML, D-10 100 frames: time", false, "regxml0", "xsddict mxf --json",
                   "xsddict0", 2.0),
            paired("RegXML, OP1a fixture: time", false, "regxml1", "xsddict mxf --json", "xsddict1",
                   2.0),
        };
        std::printf(
            "\nxsddict (built-in dictionary) against the same work done otherwise: medians of "
            "%d interleaved runs (archives: 3), the ratio the median of each run's against the "
            "one beside it (warm loads: medians in this process)\n",
            kRounds);
        std::printf("%-46s %10s  %-23s %10s  %7s  %s\n", "figure", "xsddict", "against", "theirs",
                    "ratio", "target");
        for (const Figure& f : figures) {
            std::printf("%-46s %7.1f %-2s  %-23s %7.1f %-2s  %7.3f  <= %.3f %s\n", f.what.c_str(),
                        f.ours, f.unit.c_str(), f.theirsName.c_str(), f.theirs, f.unit.c_str(),
                        f.ratio, f.target, f.ratio <= f.target ? "met" : "MISSED");
        }
        std::printf(
            "(D-10 file %.1f MB; archives of 100 and 1,000 copies of the fixtures, %.1f "
            "and %.1f MB; xsddict on %u threads, its default)\n",
            static_cast<double>(fs::file_size(files[0])) / 1e6, megabytesIn(archive100),
            megabytesIn(archive1000), std::thread::hardware_concurrency());

        // Files of other writers, where the corpus lies beside the project: links to its MXF
        // files alone in a folder, so that both read exactly these.
        const fs::path corpus = VELMAR_MXF_CORPUS;
        if (fs::is_directory(corpus)) {
            const fs::path linked = folder / "corpus";
            fs::create_directories(linked);
            std::size_t count = 0;
            double bytes = 0;
            for (const auto& entry : fs::recursive_directory_iterator(corpus)) {
                if (entry.is_regular_file() && entry.path().extension() == ".mxf") {
                    fs::create_symlink(fs::absolute(entry.path()),
                                       linked / (std::to_string(count++) + ".mxf"));
                    bytes += static_cast<double>(entry.file_size());
                }
            }
            for (int round = 0; round < 5; ++round) {
                // A file of the corpus is refused (exit 4): the run did its work all the same.
                measure("corpus-xsddict", self + " --run-any " + xsddict + " mxf --json -j 2 " +
                                              bench::quoted(linked.string()));
                measure("corpus-mediainfo",
                        self + " --run mediainfo --Output=JSON " + bench::quoted(linked.string()));
            }
            const double ours = bench::median(ms["corpus-xsddict"]);
            const double theirs = bench::median(ms["corpus-mediainfo"]);
            std::printf(
                "\nfiles of other writers (%zu files, %.1f MB, in %s), medians of 5 interleaved "
                "runs:\n  xsddict mxf --json -j 2  %7.1f ms  %7.1f files/s\n  mediainfo "
                "--Output=JSON  %7.1f ms  %7.1f files/s\n  xsddict's files per second: %.1f "
                "times mediainfo's\n",
                count, bytes / 1e6, "../shared/mxf-corpus", ours,
                1000.0 * static_cast<double>(count) / ours, theirs,
                1000.0 * static_cast<double>(count) / theirs,
                1 / pairedRatio(ms["corpus-xsddict"], ms["corpus-mediainfo"]));
        } else {
            std::printf("\nno corpus of other writers' files at %s: not measured\n",
                        "../shared/mxf-corpus");
        }

        // The walk over a frame-wrapped file of more than 1 GiB, against reading the file whole
        // (cat, from the page cache, where the walk's reads come from too).
        const fs::path big = folder / "walk-1GiB.mxf";
        std::cerr << "writing a file of more than 1 GiB...\n";
        run("ffmpeg -hide_banner -loglevel error -y -f lavfi -i testsrc=size=1920x1080:rate=25 "
            "-f lavfi -i sine=sample_rate=48000 -frames:v 1200 -c:v dnxhd -b:v 185M "
            "-pix_fmt yuv422p -c:a pcm_s16le -ac 1 -f mxf " +
            bench::quoted(big.string()));
        run("cat " + bench::quoted(big.string()) + " > /dev/null");  // into the page cache
        const auto walked = Velmar::MXF::Reading::readHeaderMetadata(big.c_str(), builtin, {true});
        for (int round = 0; round < 5; ++round) {
            measure("walk",
                    self + " --run " + xsddict + " mxf --walk " + bench::quoted(big.string()));
            measure("cat", self + " --run cat " + bench::quoted(big.string()));
        }
        const double walkMs = bench::median(ms["walk"]);
        std::printf(
            "\n--walk over %.2f GiB (%llu KLVs, %zu index table segments, %zu findings), medians "
            "of 5 interleaved runs:\n  xsddict mxf --walk %.1f ms, %.1f MB peak; cat FILE > "
            "/dev/null %.1f ms; ratio %.3f; %.0f KLVs per second\n",
            static_cast<double>(fs::file_size(big)) / (1u << 30),
            static_cast<unsigned long long>(walked.walk->klvs), walked.walk->indexSegments.size(),
            walked.findings.size(), walkMs, bench::median(megabytes["walk"]),
            bench::median(ms["cat"]), pairedRatio(ms["walk"], ms["cat"]),
            static_cast<double>(walked.walk->klvs) / (walkMs / 1000));
        fs::remove_all(folder);
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "mxf_benchmark: " << e.what() << "\n";
        return 1;
    }
}
