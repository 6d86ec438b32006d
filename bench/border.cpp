#include <benchmark/benchmark.h>

#include <cstdint>

#include "loaded_module.h"
#include "vexa/url_parser.h"

// What everything else is made of: a call through a slot, a traced call, and a block of the
// runtime's heap.
namespace {

using vexa::bench::create;
using vexa::bench::loadedModule;
using Parser = vexa::InterfaceHolder<vexa::IURLParser>;

// Counting up and down does nothing else.
void call(benchmark::State& state) {
  const Parser parser = create<vexa::IURLParser>();
  for (auto _ : state) {
    benchmark::DoNotOptimize(parser->AddRef());
    benchmark::DoNotOptimize(parser->Release());
  }
}

// Traces its entry and its exit, with the level off, and compares a number.
void scope(benchmark::State& state) {
  const Parser parser = create<vexa::IURLParser>();
  for (auto _ : state) {
    benchmark::DoNotOptimize(parser->isHTTPS());
  }
}

void allocate(benchmark::State& state) {
  const auto& root = loadedModule().root();
  for (auto _ : state) {
    void* const block = root.Allocate(static_cast<uint64_t>(state.range(0)));
    benchmark::DoNotOptimize(block);
    root.Free(block);
  }
}

BENCHMARK(call)->Name("border/two counts/vexabase");
BENCHMARK(scope)->Name("border/trace scope/vexabase");
BENCHMARK(allocate)->Name("border/allocate and free/vexabase")->Arg(32);

}  // namespace
