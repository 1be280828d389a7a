// Load cost against the bare parse, at register size and at 2, 4 and 8 times that size.
//
//   load_benchmark                 times both in one run, then measures peak memory of a fresh
//                                  process for each, and prints the table with the ratios
//   load_benchmark --once parse|load FILE
//                                  what a measured process runs
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>

#include "RegisterImport.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/XSDDictionaryLoader.h"
#include "Velmar/SDK/Utils/StringConversion.h"
#include "Velmar/SDK/XMLUtils/Initializer.h"

namespace {

namespace SDK = Velmar::SDK;
namespace fs = std::filesystem;

constexpr int kSizes[] = {1, 2, 4, 8};
std::map<int, fs::path> dictionaries;

struct ParserRelease {
    void operator()(xercesc::DOMLSParser* parser) const { parser->release(); }
};

// The file into a Xerces DOM and nothing else.
void parseOnly(const fs::path& file) {
    auto* implementation = static_cast<xercesc::DOMImplementationLS*>(
        SDK::XMLUtils::Initializer::instance().domImplementation());
    std::unique_ptr<xercesc::DOMLSParser, ParserRelease> parser(
        implementation->createLSParser(xercesc::DOMImplementationLS::MODE_SYNCHRONOUS, nullptr));
    parser->getDomConfig()->setParameter(xercesc::XMLUni::fgDOMNamespaces, true);
    xercesc::DOMDocument* document = parser->parseURI(file.c_str());
    if (document == nullptr || document->getDocumentElement() == nullptr) {
        throw std::runtime_error("cannot parse " + file.string());
    }
}

std::size_t load(const fs::path& file) {
    SDK::MetaMetadata::Dictionary dictionary;
    SDK::MetaMetadata::Loading::XSDDictionaryLoader loader;
    loader.load(SDK::Utils::stringToWstring(file.c_str()).c_str(), dictionary);
    return dictionary.metaElementCount();
}

void BM_Parse(benchmark::State& state) {
    const fs::path& file = dictionaries.at(static_cast<int>(state.range(0)));
    for (auto _ : state)
        parseOnly(file);
    state.counters["MB"] = static_cast<double>(fs::file_size(file)) / 1e6;
}

void BM_Load(benchmark::State& state) {
    const fs::path& file = dictionaries.at(static_cast<int>(state.range(0)));
    std::size_t elements = 0;
    for (auto _ : state)
        elements = load(file);
    state.counters["elements"] = static_cast<double>(elements);
}

// Every repetition's real time, by benchmark, for medians: the machines are shared, and
// single timings wander.
class Collector : public benchmark::ConsoleReporter {
  public:
    Collector() : ConsoleReporter(OO_Tabular) {}  // no colours: the output goes to logs
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                times[run.run_name.function_name + "/" + run.run_name.args].push_back(
                    run.GetAdjustedRealTime());
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    double median(const std::string& name) {
        std::vector<double>& all = times[name];
        if (all.empty())
            return 0;
        std::sort(all.begin(), all.end());
        return all[all.size() / 2];
    }
    std::map<std::string, std::vector<double>> times;
};

// This process's peak resident memory in MB, from the kernel's high-water mark.
double ownPeakMegabytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmHWM:", 0) == 0)
            return std::stod(line.substr(6)) / 1024.0;
    }
    return 0;
}

// The peak of a fresh process that parses or loads the file once. (A child's rusage would
// count the parent's memory from before the exec.)
double peakMegabytes(const char* self, const char* what, const fs::path& file) {
    const std::string command =
        std::string("'") + self + "' --once " + what + " '" + file.string() + "'";
    std::unique_ptr<FILE, int (*)(FILE*)> child(popen(command.c_str(), "r"), pclose);
    double peak = 0;
    if (!child || std::fscanf(child.get(), "%lf", &peak) != 1) {
        throw std::runtime_error("the measured process failed: " + command);
    }
    return peak;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 4 && std::strcmp(argv[1], "--once") == 0) {
            std::strcmp(argv[2], "parse") == 0 ? parseOnly(argv[3])
                                               : static_cast<void>(load(argv[3]));
            std::printf("%.1f\n", ownPeakMegabytes());
            return 0;
        }
        const fs::path registers = VELMAR_REGISTERS_DIR;
        if (!fs::exists(registers / "Elements.xml")) {
            std::cerr << "no register snapshots at " << registers << ": nothing to measure\n";
            return 0;
        }
        const fs::path folder =
            fs::temp_directory_path() / ("velmar-bench-" + std::to_string(getpid()));
        fs::create_directories(folder);
        const xsddict::Registers read = xsddict::readRegisters(registers.string());
        std::map<int, xsddict::ImportReport> reports;
        for (int size : kSizes) {
            dictionaries[size] = folder / ("registers-x" + std::to_string(size) + ".xsd");
            std::ofstream out(dictionaries[size]);
            reports[size] = xsddict::writeDictionary(read, out, size);
        }

        // Parse and load of each size run one after the other, so that both meet the same
        // conditions on a shared machine.
        for (int size : kSizes) {
            benchmark::RegisterBenchmark("BM_Parse", BM_Parse)
                ->Arg(size)
                ->Unit(benchmark::kMillisecond)
                ->MinTime(0.5)
                ->Repetitions(5);
            benchmark::RegisterBenchmark("BM_Load", BM_Load)
                ->Arg(size)
                ->Unit(benchmark::kMillisecond)
                ->MinTime(0.5)
                ->Repetitions(5);
        }
        benchmark::Initialize(&argc, argv);
        Collector collector;
        benchmark::RunSpecifiedBenchmarks(&collector);

        std::printf("\nmedians of 5 repetitions\n%5s %9s %9s %10s %10s %7s %8s %9s %9s %7s\n",
                    "size", "elements", "MB", "parse ms", "load ms", "ratio", "growth", "parse MB",
                    "load MB", "ratio");
        const double base = collector.median("BM_Load/1");
        for (int size : kSizes) {
            const std::string arg = "/" + std::to_string(size);
            const double parse = collector.median("BM_Parse" + arg);
            const double loaded = collector.median("BM_Load" + arg);
            const double parseMemory = peakMegabytes(argv[0], "parse", dictionaries[size]);
            const double loadMemory = peakMegabytes(argv[0], "load", dictionaries[size]);
            std::printf("%4dx %9zu %9.1f %10.1f %10.1f %7.2f %7.2fx %9.1f %9.1f %7.2f\n", size,
                        reports[size].elements,
                        static_cast<double>(fs::file_size(dictionaries[size])) / 1e6, parse, loaded,
                        loaded / parse, loaded / base, parseMemory, loadMemory,
                        loadMemory / parseMemory);
        }
        std::printf(
            "\ntargets: load/parse <= 2.5 at 1x; peak memory load/parse <= 2.5; 8x size <= 10x "
            "time\n");
        fs::remove_all(folder);
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "load_benchmark: " << e.what() << "\n";
        return 1;
    }
}
