#pragma once

#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace bench {

// Runs a command with its output discarded: its wall time in ms and its peak memory in MB.
// The peak is the child's rusage, which also counts this process's memory from before the
// exec, so it is run from a fresh process whose few MB are below any peak measured here.
// A command that exits with a status other than 0 failed, unless any status is taken (a run
// over files some of which are refused still did its work); one killed by a signal always did.
std::pair<double, double> runMeasured(char** command, bool anyStatus = false);
// What `self --run COMMAND...` (or `--run-any`) prints: the same two numbers, measured from a
// fresh process.
int runMeasuredMain(int argc, char** argv);
// The numbers a command prints, read from its output.
std::vector<double> readNumbers(const std::string& command);
// This process's peak (VmHWM:) or current (VmRSS:) memory in MB.
double ownMegabytes(const char* field);
double median(std::vector<double> values);
std::string quoted(const std::string& text);

// Every repetition's real time by benchmark and argument ("BM_Load/1"), for medians: the
// machines are shared, and single timings wander.
class Collector : public benchmark::ConsoleReporter {
  public:
    Collector() : ConsoleReporter(OO_Tabular) {}  // no colours: the output goes to logs
    void ReportRuns(const std::vector<Run>& runs) override;
    double median(const std::string& name) const;

  private:
    std::vector<std::pair<std::string, double>> times_;
};

}  // namespace bench
