// Load cost against the bare parse, at register size and at 2, 4 and 8 times that size: in
// this process, then as whole processes (what users pay), then hostile inputs.
//
//   load_benchmark                 runs it all and prints the tables with the ratios
//   load_benchmark --once parse|load FILE
//                                  what a measured process runs: prints its peak memory
//   load_benchmark --run COMMAND... runs COMMAND, prints its wall time and peak memory
//   load_benchmark --write DIR     writes the dictionaries it measures into DIR, for profiling
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
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

#include "Measure.h"
#include "RegisterImport.h"
#include "Velmar/SDK/Exceptions/BaseException.h"
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

// A load that may be refused: whether it was.
bool loadOrRefuse(const fs::path& file) {
    try {
        load(file);
        return false;
    } catch (const SDK::Exceptions::BaseException&) {
        return true;
    }
}

// Inputs whose cost could grow faster than their size, each of about a megabyte or more.
struct Hostile {
    const char* name;
    std::string text;
};

std::string schemaText(const std::string& body) {
    return "<?xml version=\"1.0\"?>\n<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\" "
           "xmlns:ff=\"urn:SMPTE:MXF:file_format\">\n" +
           body + "</xs:schema>\n";
}

std::vector<Hostile> hostileInputs(const fs::path& folder) {
    const std::string annotation =
        "<xs:annotation><xs:appinfo source=\"RP210\"/><xs:appinfo source=\"UL Designator\">"
        "06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00</xs:appinfo><xs:appinfo "
        "source=\"XMLNamespaceURI\">urn:SMPTE:MXF:file_format</xs:appinfo></xs:annotation>";
    std::vector<Hostile> inputs;
    std::string deep;
    for (int i = 0; i < 200000; ++i)
        deep += "<a>";
    for (int i = 0; i < 200000; ++i)
        deep += "</a>";
    inputs.push_back({"200,000 nested elements (refused)", schemaText(deep)});
    std::string attributes = "<xs:element name=\"E\" type=\"UInt8\"";
    for (int i = 0; i < 100000; ++i)
        attributes += " a" + std::to_string(i) + "=\"x\"";
    inputs.push_back({"100,000 attributes on one element",
                      schemaText(attributes + ">" + annotation + "</xs:element>\n")});
    inputs.push_back({"a name of a million characters",
                      schemaText("<xs:element name=\"" + std::string(1000000, 'N') +
                                 "\" type=\"UInt8\">" + annotation + "</xs:element>\n")});
    {
        std::ofstream(folder / "part.xsd") << schemaText("");
        std::string includes;
        for (int i = 0; i < 30000; ++i)
            includes += "<xs:include schemaLocation=\"part.xsd\"/>\n";
        inputs.push_back({"30,000 includes of one file", schemaText(includes)});
    }
    {
        std::string list = "{";
        for (int i = 0; i < 1000000; ++i)
            list += i == 0 ? "7" : ", 7";
        list += "}";
        inputs.push_back(
            {"a default value list of a million items",
             schemaText(
                 "<xs:element name=\"L\">" + annotation +
                 "<xs:complexType><xs:complexContent><xs:extension base=\"Array\"><xs:sequence>"
                 "<xs:element name=\"I\" type=\"UInt8\"/></xs:sequence></xs:extension>"
                 "</xs:complexContent></xs:complexType></xs:element>\n"
                 "<xs:complexType name=\"S_t\"><xs:sequence><xs:element ref=\"ff:L\">"
                 "<xs:annotation><xs:appinfo source=\"use\">optional</xs:appinfo><xs:appinfo "
                 "source=\"Distinguished Value\">" +
                 list +
                 "</xs:appinfo></xs:annotation></xs:element></xs:sequence></xs:complexType>\n"
                 "<xs:element name=\"S\" type=\"S_t\"><xs:annotation><xs:appinfo "
                 "source=\"UL Designator\">06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.2f.00"
                 "</xs:appinfo><xs:appinfo source=\"XMLNamespaceURI\">urn:SMPTE:MXF:file_format"
                 "</xs:appinfo></xs:annotation></xs:element>\n"
                 "<xs:element name=\"SRef\" type=\"Ref\" substitutionGroup=\"S\"/>\n")});
    }
    return inputs;
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
        if (const int status = bench::runMeasuredMain(argc, argv); status >= 0)
            return status;
        if (argc == 4 && std::strcmp(argv[1], "--once") == 0) {
            std::strcmp(argv[2], "parse") == 0 ? parseOnly(argv[3])
                                               : static_cast<void>(loadOrRefuse(argv[3]));
            std::printf("%.1f\n", bench::ownMegabytes("VmHWM:"));
            return 0;
        }
        const fs::path registers = VELMAR_REGISTERS_DIR;
        if (!fs::exists(registers / "Elements.xml")) {
            std::cerr << "no register snapshots at " << registers << ": nothing to measure\n";
            return 0;
        }
        const bool writeOnly = argc == 3 && std::strcmp(argv[1], "--write") == 0;
        const fs::path folder =
            writeOnly ? fs::path(argv[2])
                      : fs::temp_directory_path() / ("velmar-bench-" + std::to_string(getpid()));
        fs::create_directories(folder);
        const xsddict::Registers read = xsddict::readRegisters(registers.string());
        std::map<int, xsddict::ImportReport> reports;
        for (int size : kSizes) {
            dictionaries[size] = folder / ("registers-x" + std::to_string(size) + ".xsd");
            std::ofstream out(dictionaries[size]);
            reports[size] = xsddict::writeDictionary(read, out, size);
        }
        if (writeOnly) {
            return 0;
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
        bench::Collector collector;
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
        std::printf("(in-process: the parse and the load in this process)\n");

        // What users pay: whole processes, `xsddict summary` against a program that only
        // parses the file into a Xerces DOM and is linked against Xerces alone. Interleaved,
        // so that both meet the same conditions; medians of 21: the ratios at the four sizes
        // differ by hundredths, and single runs wander by more.
        constexpr int kRuns = 21;
        std::map<std::string, std::vector<double>> ms, megabytes;
        for (int run = 0; run < kRuns; ++run) {
            for (int size : kSizes) {
                const std::string file = bench::quoted(dictionaries[size].string());
                const std::string self = bench::quoted(argv[0]) + " --run ";
                for (const auto& [name, command] :
                     {std::pair<std::string, std::string>{
                          "bare", self + bench::quoted(BARE_PARSE_PATH) + " " + file},
                      {"xsddict", self + bench::quoted(XSDDICT_PATH) + " summary " + file}}) {
                    const std::vector<double> measured = bench::readNumbers(command);
                    ms[name + std::to_string(size)].push_back(measured.at(0));
                    megabytes[name + std::to_string(size)].push_back(measured.at(1));
                }
            }
        }
        std::printf(
            "\nwhole processes, medians of %d interleaved runs\n%5s %9s %10s %12s %7s "
            "%8s %9s %11s %7s %8s %8s\n",
            kRuns, "size", "MB", "bare ms", "xsddict ms", "ratio", "growth", "bare MB",
            "xsddict MB", "ratio", "fastest", "growth");
        auto fastest = [](const std::vector<double>& values) {
            return *std::min_element(values.begin(), values.end());
        };
        // A slow spell of a shared machine slows the runs it meets, which medians of separate
        // lists can pair with quick runs of the other program; each load against the bare
        // parse run just before it meets the same spell.
        auto pairedRatio = [](const std::vector<double>& loads, const std::vector<double>& bares) {
            std::vector<double> ratios;
            for (std::size_t i = 0; i < loads.size() && i < bares.size(); ++i)
                ratios.push_back(loads[i] / bares[i]);
            return bench::median(ratios);
        };
        const double wholeBase = bench::median(ms["xsddict1"]);
        const double fastestBase = fastest(ms["xsddict1"]);
        for (int size : kSizes) {
            const std::string key = std::to_string(size);
            const double bare = bench::median(ms["bare" + key]);
            const double whole = bench::median(ms["xsddict" + key]);
            const double bareMemory = bench::median(megabytes["bare" + key]);
            const double wholeMemory = bench::median(megabytes["xsddict" + key]);
            const double quickest = fastest(ms["xsddict" + key]);
            std::printf("%4dx %9.1f %10.1f %12.1f %7.2f %7.2fx %9.1f %11.1f %7.2f %8.2f %7.2fx\n",
                        size, static_cast<double>(fs::file_size(dictionaries[size])) / 1e6, bare,
                        whole, pairedRatio(ms["xsddict" + key], ms["bare" + key]),
                        whole / wholeBase, bareMemory, wholeMemory, wholeMemory / bareMemory,
                        quickest / fastest(ms["bare" + key]), quickest / fastestBase);
        }
        std::printf(
            "(ratio: the median of each run's load against the bare parse run just before it; "
            "fastest: the quickest run of each against the quickest of the bare parse)\n");
        std::printf(
            "targets (whole processes): at 1x at most 1.4 times the bare parse's time and "
            "1.25 times its memory; 8x at most 8.5 times 1x's time, its time ratio no "
            "higher than 1x's\n");

        // Hostile inputs beside the register load: what each costs per megabyte of input, and
        // whether it was refused. Medians of 3 loads; memory from a fresh process.
        std::printf("\n%-42s %8s %10s %10s %10s %9s\n", "hostile input", "MB", "load ms",
                    "ms per MB", "peak MB", "refused");
        std::printf("%-42s %8.1f %10.1f %10.1f %10.1f %9s\n", "register dictionary (for scale)",
                    static_cast<double>(fs::file_size(dictionaries[1])) / 1e6, base,
                    base / (static_cast<double>(fs::file_size(dictionaries[1])) / 1e6),
                    peakMegabytes(argv[0], "load", dictionaries[1]), "no");
        int index = 0;
        for (const Hostile& input : hostileInputs(folder)) {
            const fs::path file = folder / ("hostile-" + std::to_string(index++) + ".xsd");
            std::ofstream(file) << input.text;
            std::vector<double> times;
            bool refused = false;
            for (int run = 0; run < 3; ++run) {
                const auto start = std::chrono::steady_clock::now();
                refused = loadOrRefuse(file);
                times.push_back(std::chrono::duration<double, std::milli>(
                                    std::chrono::steady_clock::now() - start)
                                    .count());
            }
            std::sort(times.begin(), times.end());
            const double megabytes = static_cast<double>(fs::file_size(file)) / 1e6;
            std::printf("%-42s %8.1f %10.1f %10.1f %10.1f %9s\n", input.name, megabytes, times[1],
                        times[1] / megabytes, peakMegabytes(argv[0], "load", file),
                        refused ? "yes" : "no");
        }
        fs::remove_all(folder);
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "load_benchmark: " << e.what() << "\n";
        return 1;
    }
}
