#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// What the benchmarks of this folder use of Google Benchmark, which is not packaged for Windows:
// medians of interleaved repetitions, written as the JSON that report.py reads.
namespace benchmark {

enum TimeUnit { kNanosecond, kMillisecond };  // the report has nanoseconds in any case

// Runs a loop a given number of times and takes the time that it takes.
class State {
 public:
  State(int64_t argument, int64_t iterations) : argument_(argument), iterations_(iterations) {}

  struct [[maybe_unused]] Value {};
  class Turn {
   public:
    Turn(State* state, int64_t left) : state_(state), left_(left) {}
    bool operator!=(const Turn&) const { return left_ != 0 || state_->stop(); }
    void operator++() { --left_; }
    Value operator*() const { return {}; }

   private:
    State* state_;
    int64_t left_;
  };
  Turn begin() {
    started_ = Clock::now();
    return {this, iterations_};
  }
  Turn end() { return {this, 0}; }

  int64_t range(int) const { return argument_; }
  int64_t iterations() const { return iterations_; }
  double nanoseconds() const { return nanoseconds_; }  // of all iterations
  void SetItemsProcessed(int64_t) {}
  void SetBytesProcessed(int64_t) {}
  void SetLabel(const std::string&) {}

 private:
  using Clock = std::chrono::steady_clock;

  bool stop() {
    nanoseconds_ = std::chrono::duration<double, std::nano>(Clock::now() - started_).count();
    return false;
  }

  int64_t argument_;
  int64_t iterations_;
  Clock::time_point started_;
  double nanoseconds_ = 0;
};

namespace internal {

class Benchmark {
 public:
  explicit Benchmark(std::function<void(State&)> run) : run_(std::move(run)) {}

  Benchmark* Name(const std::string& name) {
    name_ = name;
    return this;
  }
  Benchmark* Arg(int64_t argument) {
    arguments_.push_back(argument);
    return this;
  }
  Benchmark* DenseRange(int64_t first, int64_t last) {
    for (int64_t argument = first; argument <= last; ++argument) {
      Arg(argument);
    }
    return this;
  }
  Benchmark* Apply(void (*change)(Benchmark*)) {
    change(this);
    return this;
  }
  Benchmark* Unit(TimeUnit) { return this; }

  const std::function<void(State&)>& run() const { return run_; }
  const std::string& name() const { return name_; }
  const std::vector<int64_t>& arguments() const { return arguments_; }

 private:
  std::function<void(State&)> run_;
  std::string name_;
  std::vector<int64_t> arguments_;
};

Benchmark* add(std::function<void(State&)> run);

}  // namespace internal

// The compiler cannot know that nobody reads the value.
template <class Value>
void DoNotOptimize(const Value& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

}  // namespace benchmark

#define BENCHMARK_NAMED_(line) registered##line
#define BENCHMARK_AT_(line) BENCHMARK_NAMED_(line)
#define BENCHMARK(function) \
  [[maybe_unused]] auto* const BENCHMARK_AT_(__LINE__) = benchmark::internal::add(function)
#define BENCHMARK_CAPTURE(function, id, ...)             \
  [[maybe_unused]] auto* const BENCHMARK_AT_(__LINE__) = \
      benchmark::internal::add([](benchmark::State& state) { function(state, __VA_ARGS__); })
