#include "bench/ratios.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>

namespace {

class MedianReporter final : public benchmark::ConsoleReporter {
 public:
  MedianReporter() : ConsoleReporter(OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    std::vector<Run> shown;
    for (const Run& run : runs) {
      if (run.error_occurred || run.aggregate_name == "median") shown.push_back(run);
      if (run.error_occurred) failed_ = true;
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      times_[run.run_name.function_name].push_back({run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()});
    }
    if (!shown.empty()) ConsoleReporter::ReportRuns(shown);
  }

  bool Failed() const { return failed_; }
  double Median(const std::string& name, Ratio::Time time) const {
    const auto found = times_.find(name);
    if (found == times_.end()) return 0;
    std::vector<double> values;
    for (const auto& [real, cpu] : found->second) values.push_back(time == Ratio::Time::Real ? real : cpu);
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
  }

 private:
  std::map<std::string, std::vector<std::pair<double, double>>> times_;
  bool failed_ = false;
};

}  // namespace

int RunBenchmarks(int argc, char** argv, const std::vector<Ratio>& ratios) {
  // Interleaving spreads the machine's moods over all benchmarks alike.
  std::vector<std::string> arguments = {argv[0], "--benchmark_repetitions=11", "--benchmark_min_time=0.1",
                                        "--benchmark_enable_random_interleaving=true"};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  int count = static_cast<int>(pointers.size());
  benchmark::Initialize(&count, pointers.data());
  if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) return 2;

  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (const Ratio& ratio : ratios) {
    const double measured = reporter.Median(ratio.measured, ratio.time);
    const double yardstick = reporter.Median(ratio.yardstick, ratio.time);
    if (measured == 0 || yardstick == 0) continue;  // filtered out
    const double value = measured / yardstick;
    std::printf("ratio %s / %s (%s time): %.2f, aim at most %.2f%s\n", ratio.measured.c_str(), ratio.yardstick.c_str(),
                ratio.time == Ratio::Time::Real ? "real" : "cpu", value, ratio.aim,
                value <= ratio.aim ? "" : "  MISSED");
  }
  return reporter.Failed() ? 2 : 0;
}
