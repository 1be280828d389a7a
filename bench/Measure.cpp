#include "Measure.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace bench {

std::pair<double, double> runMeasured(char** command, bool anyStatus) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        if (std::freopen("/dev/null", "w", stdout) == nullptr)
            _exit(126);
        execvp(command[0], command);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) >= 126 ||
        (!anyStatus && WEXITSTATUS(status) != 0))
        throw std::runtime_error(std::string("the measured command failed: ") + command[0]);
    return {ms, static_cast<double>(usage.ru_maxrss) / 1024.0};
}

int runMeasuredMain(int argc, char** argv) {
    if (argc < 3 || (std::strcmp(argv[1], "--run") != 0 && std::strcmp(argv[1], "--run-any") != 0))
        return -1;
    const auto [ms, megabytes] = runMeasured(argv + 2, std::strcmp(argv[1], "--run-any") == 0);
    std::printf("%.2f %.1f\n", ms, megabytes);
    return 0;
}

std::vector<double> readNumbers(const std::string& command) {
    std::unique_ptr<FILE, int (*)(FILE*)> child(popen(command.c_str(), "r"), pclose);
    std::vector<double> numbers;
    double number = 0;
    while (child && std::fscanf(child.get(), "%lf", &number) == 1)
        numbers.push_back(number);
    if (numbers.empty())
        throw std::runtime_error("the measured process failed: " + command);
    return numbers;
}

double ownMegabytes(const char* field) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(field, 0) == 0)
            return std::stod(line.substr(std::strlen(field))) / 1024.0;
    }
    return 0;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

std::string quoted(const std::string& text) {
    return "'" + text + "'";
}

void Collector::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.run_type == Run::RT_Iteration)
            times_.emplace_back(run.run_name.function_name + "/" + run.run_name.args,
                                run.GetAdjustedRealTime());
    }
    ConsoleReporter::ReportRuns(runs);
}

double Collector::median(const std::string& name) const {
    std::vector<double> values;
    for (const auto& [key, time] : times_) {
        if (key == name)
            values.push_back(time);
    }
    return bench::median(values);
}

}  // namespace bench
