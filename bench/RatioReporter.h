#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

// Prints the console report, then a table of ratios: each benchmark named
// "<case>/oxin..." (the engine's forms of the case) divided by each other
// "<case>/<alternative>" (below 1 means the engine is faster). Runs with a
// "rows" counter are compared per row, so that the sides of a case may
// handle different numbers of rows.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            std::string name = run.benchmark_name();
            name = name.substr(0, name.find("/iterations:"));
            double time = run.GetAdjustedRealTime();
            auto rows = run.counters.find("rows");
            if (rows != run.counters.end() && rows->second.value > 0) time /= rows->second.value;
            times_[name] = time;
        }
    }

    void PrintRatios() const {
        printf("\n%-56s %10s\n", "case", "ratio");
        for (const auto& [name, time] : times_) {
            std::size_t slash = name.rfind("/oxin");
            if (slash == std::string::npos) continue;
            std::string prefix = name.substr(0, slash + 1);
            for (const auto& [other, other_time] : times_) {
                if (other.compare(0, prefix.size(), prefix) != 0 ||
                    other.compare(prefix.size(), 4, "oxin") == 0)
                    continue;
                if (other.find('/', prefix.size()) != std::string::npos || other_time == 0)
                    continue;
                std::string label = name.substr(0, slash) + " (" + name.substr(prefix.size()) +
                                    " / " + other.substr(prefix.size()) + ")";
                printf("%-56s %10.2f\n", label.c_str(), time / other_time);
            }
        }
    }

  private:
    std::map<std::string, double> times_;
};

// Runs the benchmarks with the ratio table at the end.
inline int RunWithRatios(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
    return 0;
}
