#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

// PROGRAM --benchmark_out=FILE [--benchmark_min_time=SECONDS]: five interleaved repetitions of
// every benchmark, of which FILE gets the medians.
namespace {

using benchmark::State;
using benchmark::internal::Benchmark;

constexpr int kRepetitions = 5;

struct Entry {
  std::string name;
  const Benchmark* benchmark;
  int64_t argument;
  int64_t iterations;
  std::vector<double> times;  // of one iteration, in nanoseconds
};

std::vector<Benchmark*>& registered() {
  static std::vector<Benchmark*> all;
  return all;
}

double timeOf(const Entry& entry, int64_t iterations) {
  State state(entry.argument, iterations);
  entry.benchmark->run()(state);
  return state.nanoseconds();
}

// As many as take about the time wanted. The first one may load libraries or make its input.
int64_t iterationsFor(const Entry& entry, double wanted) {
  (void)timeOf(entry, 1);
  int64_t iterations = 1;
  double taken = timeOf(entry, iterations);
  while (taken < wanted / 2) {
    const double more = taken > 0 ? std::clamp(wanted / taken, 2.0, 10.0) : 10;
    iterations = static_cast<int64_t>(static_cast<double>(iterations) * more);
    taken = timeOf(entry, iterations);
  }
  return iterations;
}

std::vector<Entry> entries() {
  std::vector<Entry> all;
  for (const Benchmark* const each : registered()) {
    if (each->arguments().empty()) {
      all.push_back({each->name(), each, 0, 0, {}});
    }
    for (const int64_t argument : each->arguments()) {
      all.push_back({each->name() + "/" + std::to_string(argument), each, argument, 0, {}});
    }
  }
  return all;
}

double median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

void write(std::FILE* out, const std::vector<Entry>& all) {
  std::fprintf(out, "{\"benchmarks\": [");
  const char* separator = "";
  for (const Entry& entry : all) {
    std::fprintf(out,
                 "%s\n{\"run_name\": \"%s\", \"aggregate_name\": \"median\", \"cpu_time\": %.3f, "
                 "\"time_unit\": \"ns\"}",
                 separator, entry.name.c_str(), median(entry.times));
    separator = ",";
  }
  std::fprintf(out, "\n]}\n");
}

// The value of --NAME=VALUE, or null.
const char* option(int argc, char** argv, const char* name) {
  const size_t length = std::strlen(name);
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], name, length) == 0) {
      return argv[i] + length;
    }
  }
  return nullptr;
}

}  // namespace

Benchmark* benchmark::internal::add(std::function<void(State&)> run) {
  registered().push_back(new Benchmark(std::move(run)));
  return registered().back();
}

int main(int argc, char** argv) {
  const char* const file = option(argc, argv, "--benchmark_out=");
  const char* const seconds = option(argc, argv, "--benchmark_min_time=");
  std::vector<Entry> all = entries();
  for (Entry& entry : all) {
    entry.iterations = iterationsFor(entry, (seconds != nullptr ? std::atof(seconds) : 0.1) * 1e9);
  }
  for (int i = 0; i < kRepetitions; ++i) {
    for (Entry& entry : all) {
      entry.times.push_back(timeOf(entry, entry.iterations) /
                            static_cast<double>(entry.iterations));
    }
  }
  std::FILE* const out = file != nullptr ? std::fopen(file, "w") : stdout;
  if (out == nullptr) {
    return 1;
  }
  write(out, all);
  return std::fclose(out) == 0 ? 0 : 1;
}
