#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

// The main of benchmarks that stand beside peers: five interleaved repetitions unless told
// otherwise, and at the end each median of "GROUP/vexabase/ARG" relative to that of every
// "GROUP/PEER/ARG".
namespace {

constexpr char kOurs[] = "vexabase";

struct Name {
  std::string group;  // with the argument
  std::string who;
};

// "GROUP/WHO/ARG" or "GROUP/WHO", where a group may have slashes of its own.
Name split(const benchmark::BenchmarkReporter::Run& run) {
  const std::string& name = run.run_name.function_name;
  const size_t slash = name.rfind('/');
  std::string group = name.substr(0, slash) + " ";
  group += run.report_label.empty() ? run.run_name.args : run.report_label;
  return {group, name.substr(slash + 1)};
}

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        const Name name = split(run);
        medians_[name.group][name.who] = run.GetAdjustedCPUTime();
      }
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    for (const auto& [group, times] : medians_) {
      const auto ours = times.find(kOurs);
      for (const auto& [who, time] : times) {
        if (ours != times.end() && who != kOurs) {
          std::printf("%-40s %6.2f of %s\n", group.c_str(), ours->second / time, who.c_str());
        }
      }
    }
  }

 private:
  std::map<std::string, std::map<std::string, double>> medians_;
};

}  // namespace

int main(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  std::string defaults[] = {"--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true",
                            "--benchmark_enable_random_interleaving=true",
                            "--benchmark_min_time=0.1"};
  int at = 1;
  for (std::string& option : defaults) {
    arguments.insert(arguments.begin() + at++,
                     option.data());  // what is given comes behind, and wins
  }
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
    return 1;
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
