#include "vexa/json.h"

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "json_documents.h"
#include "loaded_module.h"

// JSON texts to trees and back, and members looked up by key, beside RapidJSON. A parse includes
// the end of its tree. The rate counts the bytes of the text that was read, in either direction, so
// that equal rates mean equal times although the written layouts differ.
namespace {

using vexa::IJsonObject;
using vexa::bench::loadedModule;

struct Document {
  const char* name;
  std::string text;
};

const Document& document(int64_t which) {
  using namespace vexa::bench;
  static const Document documents[] = {
      {"tweets", tweets(0)},
      {"catalogue", catalogue(0)},
      {"body", apiBody()},
      {"10,000 members", manyMembers()},
      {"indented tweets", tweets(2)},
      {"indented catalogue", catalogue(4)},
      {"1 MB", listOf(1'000'000)},
      {"2 MB", listOf(2'000'000)},
      {"4 MB", listOf(4'000'000)},
      {"50,000 keys", honestKeys()},
      {"50,000 keys", collidingKeys()},
  };
  return documents[which];
}
constexpr int64_t kLastKind = 5;
constexpr int64_t kFirstSize = 6;
constexpr int64_t kLastSize = 8;
constexpr int64_t kHonest = 9;
constexpr int64_t kColliding = 10;

void describe(benchmark::State& state) {
  const Document& source = document(state.range(0));
  state.SetLabel(source.name);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(source.text.size()));
}

using Object = vexa::InterfaceHolder<IJsonObject>;

Object parse(const std::string& text) {
  static const auto& api = loadedModule().list<vexa::JsonApiList>();
  // The parser only reads it.
  const vexa::runtime::ByteBuffer record{
      text.size(), reinterpret_cast<uint8_t*>(const_cast<char*>(text.data()))};
  Object object;
  if (api.Parse(&record, object.put()) != vexa::kOk) {
    std::abort();
  }
  return object;
}

void parseVexa(benchmark::State& state) {
  const std::string& text = document(state.range(0)).text;
  for (auto _ : state) {
    (void)parse(text);
  }
  describe(state);
}

void parseRapid(benchmark::State& state) {
  const std::string& text = document(state.range(0)).text;
  for (auto _ : state) {
    rapidjson::Document tree;
    tree.Parse(text.data(), text.size());
    if (tree.HasParseError()) {
      std::abort();
    }
    benchmark::DoNotOptimize(tree);
  }
  describe(state);
}

void writeVexa(benchmark::State& state) {
  const Object object = parse(document(state.range(0)).text);
  for (auto _ : state) {
    auto text = vexa::bench::buffer();
    if (object->ToText(text.put()) != vexa::kOk) {
      std::abort();
    }
    benchmark::DoNotOptimize(text->data);
  }
  describe(state);
}

void writeRapid(benchmark::State& state) {
  const std::string& text = document(state.range(0)).text;
  rapidjson::Document tree;
  tree.Parse(text.data(), text.size());
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    tree.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetString());
  }
  describe(state);
}

// Every member of an object by its key, in objects of all sizes between two.
struct Sizes {
  int least;
  int most;
};

void lookUpVexa(benchmark::State& state, Sizes sizes) {
  struct Keyed {
    Object object;
    std::vector<std::string> keys;
  };
  std::vector<Keyed> all;
  for (int size = sizes.least; size <= sizes.most; ++size) {
    auto& [object, keys] = all.emplace_back(Keyed{parse(vexa::bench::fewMembers(size)), {}});
    for (uint64_t i = 0; i < object->GetCount(); ++i) {
      keys.emplace_back(object->GetKeyPtrAt(i));
    }
  }
  for (auto _ : state) {
    for (const auto& [object, keys] : all) {
      for (const std::string& key : keys) {
        benchmark::DoNotOptimize(object->GetTypeOf(key.c_str()));
      }
    }
  }
}

void lookUpRapid(benchmark::State& state, Sizes sizes) {
  struct Keyed {
    rapidjson::Document tree;
    std::vector<std::string> keys;
  };
  std::vector<Keyed> all;
  for (int size = sizes.least; size <= sizes.most; ++size) {
    Keyed& keyed = all.emplace_back();
    keyed.tree.Parse(vexa::bench::fewMembers(size).c_str());
    // Not by GetObject, which <windows.h> makes a macro of.
    for (auto member = keyed.tree.MemberBegin(); member != keyed.tree.MemberEnd(); ++member) {
      keyed.keys.emplace_back(member->name.GetString());
    }
  }
  for (auto _ : state) {
    for (const auto& [tree, keys] : all) {
      for (const std::string& key : keys) {
        benchmark::DoNotOptimize(tree.FindMember(key.c_str())->value.GetType());
      }
    }
  }
}

void kinds(benchmark::internal::Benchmark* benchmark) { benchmark->DenseRange(0, kLastKind); }
void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->DenseRange(kFirstSize, kLastSize);
}
BENCHMARK(parseVexa)->Name("json/parse/vexabase")->Apply(kinds);
BENCHMARK(parseRapid)->Name("json/parse/rapidjson")->Apply(kinds);
BENCHMARK(writeVexa)->Name("json/write/vexabase")->Apply(kinds);
BENCHMARK(writeRapid)->Name("json/write/rapidjson")->Apply(kinds);
BENCHMARK_CAPTURE(lookUpVexa, all, Sizes{5, 17})->Name("json/member, 5 to 17/vexabase");
BENCHMARK_CAPTURE(lookUpRapid, all, Sizes{5, 17})->Name("json/member, 5 to 17/rapidjson");
BENCHMARK_CAPTURE(lookUpVexa, few, Sizes{5, 5})->Name("json/member, 5/vexabase");
BENCHMARK_CAPTURE(lookUpRapid, few, Sizes{5, 5})->Name("json/member, 5/rapidjson");
BENCHMARK_CAPTURE(lookUpVexa, many, Sizes{17, 17})->Name("json/member, 17/vexabase");
BENCHMARK_CAPTURE(lookUpRapid, many, Sizes{17, 17})->Name("json/member, 17/rapidjson");
// Input made by an enemy.
BENCHMARK(parseVexa)->Name("json/parse colliding/vexabase")->Arg(kColliding);
BENCHMARK(parseVexa)->Name("json/parse colliding/honest keys")->Arg(kHonest);
// Cost that grows with the input, and no faster.
BENCHMARK(parseVexa)->Name("json/parse growing/vexabase")->Apply(sizes);
BENCHMARK(writeVexa)->Name("json/write growing/vexabase")->Apply(sizes);

}  // namespace
