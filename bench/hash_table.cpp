#include "collections/hash_table.h"

#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <unordered_map>
#include <vector>

#include "started_module.h"

// A table of texts with 257 buckets, as a request makes it, beside two maps of the same contents
// that grow. The number of entries stands behind the name: a few, as requests have them; as many as
// buckets; and far more, where the fixed number of buckets must show. Rates count operations.
//
// Like the table's Get, the maps' lookups hand out a copy of the value.
namespace {

using vexa::HashTable_void;
using vexa::bench::StartedModule;
using vexa::collections::TextTable;

constexpr uint64_t kBuckets = 257;

using StdMap = std::unordered_map<std::string, std::string>;
using AbslMap = absl::flat_hash_map<std::string, std::string>;

std::vector<std::string> keys(int64_t count) {
  std::vector<std::string> names;
  for (int64_t i = 0; i < count; ++i) {
    names.push_back("PARAMETER" + std::to_string(i * 7919));
  }
  return names;
}

constexpr const char* kValue = "https://portal.example.com/login?next=%2Fhome";

void count(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void fill(TextTable& table, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (table.put(name.c_str(), kValue) != 0) {
      std::abort();
    }
  }
}

template <class Map>
void fill(Map& map, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    map.insert_or_assign(name, kValue);
  }
}

// A new table, its entries, and its end.
void fillVexa(benchmark::State& state) {
  const StartedModule module;
  const auto names = keys(state.range(0));
  for (auto _ : state) {
    TextTable table;
    if (table.create(kBuckets) != 0) {
      std::abort();
    }
    fill(table, names);
    benchmark::DoNotOptimize(table);
  }
  count(state);
}

template <class Map>
void fillMap(benchmark::State& state) {
  const auto names = keys(state.range(0));
  for (auto _ : state) {
    Map map;
    fill(map, names);
    benchmark::DoNotOptimize(map);
  }
  count(state);
}

void getVexa(benchmark::State& state) {
  const StartedModule module;
  const auto names = keys(state.range(0));
  TextTable table;
  if (table.create(kBuckets) != 0) {
    std::abort();
  }
  fill(table, names);
  for (auto _ : state) {
    for (const std::string& name : names) {
      char* value = nullptr;
      if (table.get(name.c_str(), &value) != 0) {
        std::abort();
      }
      benchmark::DoNotOptimize(value);
      module.root().Free(value);
    }
  }
  count(state);
}

template <class Map>
void getMap(benchmark::State& state) {
  const auto names = keys(state.range(0));
  Map map;
  fill(map, names);
  for (auto _ : state) {
    for (const std::string& name : names) {
      std::string value = map.find(name)->second;
      benchmark::DoNotOptimize(value);
    }
  }
  count(state);
}

// Numbers as keys and values: nothing is copied, so this is the chain walk alone.
void containsVexa(benchmark::State& state) {
  const StartedModule module;
  HashTable_void* table = nullptr;
  (void)vexa::collections::kHashTableList.CreateHashTable(&table, 0x0202, kBuckets);
  const auto number = [](int64_t i) { return reinterpret_cast<void*>(i * 7919); };
  for (int64_t i = 0; i < state.range(0); ++i) {
    (void)table->Put(number(i), number(i + 1));
  }
  for (auto _ : state) {
    for (int64_t i = 0; i < state.range(0); ++i) {
      benchmark::DoNotOptimize(table->Contains(number(i)));
    }
  }
  table->Release();
  count(state);
}

template <class Map>
void containsMap(benchmark::State& state) {
  Map map;
  for (int64_t i = 0; i < state.range(0); ++i) {
    map[static_cast<uintptr_t>(i * 7919)] = static_cast<uintptr_t>(i + 1);
  }
  for (auto _ : state) {
    for (int64_t i = 0; i < state.range(0); ++i) {
      benchmark::DoNotOptimize(map.find(static_cast<uintptr_t>(i * 7919)) != map.end());
    }
  }
  count(state);
}

void sizes(benchmark::internal::Benchmark* benchmark) { benchmark->Arg(4)->Arg(257)->Arg(10'000); }

BENCHMARK(fillVexa)->Name("hash_table/fill/vexabase")->Apply(sizes);
BENCHMARK(fillMap<StdMap>)->Name("hash_table/fill/std::unordered_map")->Apply(sizes);
BENCHMARK(fillMap<AbslMap>)->Name("hash_table/fill/absl::flat_hash_map")->Apply(sizes);
BENCHMARK(getVexa)->Name("hash_table/get/vexabase")->Apply(sizes);
BENCHMARK(getMap<StdMap>)->Name("hash_table/get/std::unordered_map")->Apply(sizes);
BENCHMARK(getMap<AbslMap>)->Name("hash_table/get/absl::flat_hash_map")->Apply(sizes);
BENCHMARK(containsVexa)->Name("hash_table/contains number/vexabase")->Apply(sizes);
BENCHMARK(containsMap<std::unordered_map<uintptr_t, uintptr_t>>)
    ->Name("hash_table/contains number/std::unordered_map")
    ->Apply(sizes);
BENCHMARK(containsMap<absl::flat_hash_map<uintptr_t, uintptr_t>>)
    ->Name("hash_table/contains number/absl::flat_hash_map")
    ->Apply(sizes);

}  // namespace
