#pragma once
// Every benchmark program reports ratios against a baseline run in the same process. This
// reporter prints the usual console table and keeps, for each case, the real time per iteration
// and the bytes per second: of single runs averaged, or the medians of repeated runs.

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace KalvexBench {

class TimeCollector : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if ((run.run_type != Run::RT_Iteration && !median) || run.error_occurred) continue;
            Result& r = _results[run.run_name.function_name];
            r.time += run.GetAdjustedRealTime();
            auto bytes = run.counters.find("bytes_per_second");
            if (bytes != run.counters.end()) r.bytesPerSecond += bytes->second.value;
            ++r.count;
        }
    }

    bool has(const std::string& name) const { return _results.count(name) != 0; }
    // Nanoseconds per iteration (the default time unit); 0 for a case that did not run.
    double time(const std::string& name) const {
        auto it = _results.find(name);
        return it == _results.end() ? 0 : it->second.time / it->second.count;
    }
    double bytesPerSecond(const std::string& name) const {
        auto it = _results.find(name);
        return it == _results.end() ? 0 : it->second.bytesPerSecond / it->second.count;
    }

  private:
    struct Result {
        double time = 0;
        double bytesPerSecond = 0;
        int count = 0;
    };
    std::map<std::string, Result> _results;
};

}  // namespace KalvexBench
