#include "vexa/hash_table.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <unordered_map>
#include <vector>

#include "loaded_module.h"

// A table of texts with 257 buckets beside std::unordered_map with as many that it keeps. The
// number of entries stands behind the name. The table's Get hands out a copy that the caller frees;
// so does the map's lookup here. Rates count operations.
namespace {

using vexa::HashTable_void;
using vexa::bench::loadedModule;

constexpr uint64_t kBuckets = 257;
constexpr uint32_t kTexts = vexa::kHashTableText | vexa::kHashTableText << 8;
constexpr uint32_t kNumbers = vexa::kHashTableNumber | vexa::kHashTableNumber << 8;
constexpr char kValue[] = "https://portal.example.com/login?next=%2Fhome";

using Map = std::unordered_map<std::string, std::string>;

std::vector<std::string> keys(int64_t count) {
  std::vector<std::string> names;
  for (int64_t i = 0; i < count; ++i) {
    names.push_back("PARAMETER" + std::to_string(i * 7919));
  }
  return names;
}

void count(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

using Table = vexa::InterfaceHolder<HashTable_void>;

Table makeTable(uint32_t types) {
  static const auto& list = loadedModule().list<vexa::HashTableList>();
  Table table;
  if (list.CreateHashTable(table.put(), types, kBuckets) != vexa::kOk || !table) {
    std::abort();
  }
  return table;
}

void* textItem(const std::string& text) { return const_cast<char*>(text.c_str()); }

void fill(const Table& table, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (table->Put(textItem(name), const_cast<char*>(kValue)) != vexa::kOk) {
      std::abort();
    }
  }
}

// As the table does, the map copies a text that it is given; its buckets are fixed, too.
void fill(Map& map, const std::vector<std::string>& names) {
  map.max_load_factor(1e9F);
  map.rehash(kBuckets);
  for (const std::string& name : names) {
    map.insert_or_assign(name, kValue);
  }
}

// A new table, its entries, and its end.
void put(benchmark::State& state) {
  const auto names = keys(state.range(0));
  for (auto _ : state) {
    const Table table = makeTable(kTexts);
    fill(table, names);
  }
  count(state);
}

void putMap(benchmark::State& state) {
  const auto names = keys(state.range(0));
  for (auto _ : state) {
    Map map;
    fill(map, names);
    benchmark::DoNotOptimize(map);
  }
  count(state);
}

void get(benchmark::State& state) {
  const auto names = keys(state.range(0));
  const Table table = makeTable(kTexts);
  fill(table, names);
  for (auto _ : state) {
    for (const std::string& name : names) {
      auto value = vexa::bench::block<char>();
      if (table->Get(textItem(name), value.putVoid()) != vexa::kOk) {
        std::abort();
      }
      benchmark::DoNotOptimize(value.get());
    }
  }
  count(state);
}

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

// The same without the copy, as a map that hands out references would be asked.
void findMap(benchmark::State& state) {
  const auto names = keys(state.range(0));
  Map map;
  fill(map, names);
  for (auto _ : state) {
    for (const std::string& name : names) {
      benchmark::DoNotOptimize(map.find(name)->second);
    }
  }
  count(state);
}

// Numbers as keys and values: nothing is copied, so this is the chain walk alone.
void contains(benchmark::State& state) {
  const Table table = makeTable(kNumbers);
  const auto number = [](int64_t i) { return reinterpret_cast<void*>(i * 7919); };
  for (int64_t i = 0; i < state.range(0); ++i) {
    (void)table->Put(number(i), number(i + 1));
  }
  for (auto _ : state) {
    for (int64_t i = 0; i < state.range(0); ++i) {
      benchmark::DoNotOptimize(table->Contains(number(i)));
    }
  }
  count(state);
}

void containsMap(benchmark::State& state) {
  std::unordered_map<uintptr_t, uintptr_t> map;
  map.max_load_factor(1e9F);
  map.rehash(kBuckets);
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

void sizes(benchmark::internal::Benchmark* benchmark) { benchmark->Arg(10)->Arg(1000); }

BENCHMARK(put)->Name("hash_table/put and free/vexabase")->Apply(sizes);
BENCHMARK(putMap)->Name("hash_table/put and free/std::unordered_map")->Apply(sizes);
BENCHMARK(get)->Name("hash_table/get/vexabase")->Apply(sizes);
BENCHMARK(getMap)->Name("hash_table/get/std::unordered_map")->Apply(sizes);
BENCHMARK(findMap)->Name("hash_table/get/std::unordered_map, no copy")->Apply(sizes);
BENCHMARK(contains)->Name("hash_table/contains number/vexabase")->Apply(sizes);
BENCHMARK(containsMap)->Name("hash_table/contains number/std::unordered_map")->Apply(sizes);

}  // namespace
