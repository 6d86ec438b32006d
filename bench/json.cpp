#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "json/jsonapi_list.h"
#include "vexa/json.h"
#include "vexa/module.h"
#include "vexa/runtime/reference.h"

// JSON texts to trees and back, beside three well-known libraries. A parse includes the end of its
// tree. The rate counts the bytes of the compact document in either direction, so that equal rates
// mean equal times although the written layouts differ.
extern "C" int32_t module_init(const vexa::runtime::RootList* root,
                               vexa::GetModuleInterfaceFunction* lookup);

namespace {

using vexa::IJsonObject;
using vexa::json::kJsonApi;

enum Document : int64_t { kBody, kNested, kFlat };

// What a page sends to the local endpoint.
std::string makeBody() {
  return R"({"id":4711,"method":"sign","origin":"https://portal.example.com","params":{"user":)"
         R"("Jo\u00e3o Silva","certificate":"3082036a30820252a003020102020900","detached":true,)"
         R"("hash":"sha256","level":2,"tags":["login","first \"try\"",null],"retries":0},)"
         R"("session":"8d2f9f87c79d4569b8ff835e3c6058bb","time":1700000000})";
}

// About 600 KB of objects in objects, most of it strings.
std::string makeNested() {
  std::string text = R"({"records":[)";
  for (int i = 0; text.size() < 600'000; ++i) {
    const std::string n = std::to_string(i);
    text += i == 0 ? "" : ",";
    text += R"({"id":)" + n + R"(,"owner":{"name":"User )" + n + R"(","mail":"user)" + n +
            R"(@mail.example.com","roles":["reader","writer"]},"active":)" +
            (i % 3 == 0 ? "true" : "false") +
            R"(,"note":"A line of text that is neither short nor long, number )" + n +
            R"(.","links":{"self":"https:\/\/example.com\/records\/)" + n + R"(","next":null}})";
  }
  return text + "]}";
}

std::string makeFlat() {
  std::string text = "{";
  for (int i = 0; i < 10'000; ++i) {
    const std::string n = std::to_string(i);
    text += (i == 0 ? "\"member_" : ",\"member_") + n +
            "\":" + (i % 2 == 0 ? n : "\"value " + n + "\"");
  }
  return text + "}";
}

const std::string& document(int64_t which) {
  static const std::string documents[] = {makeBody(), makeNested(), makeFlat()};
  return documents[which];
}

void label(benchmark::State& state) {
  static constexpr const char* kNames[] = {"body", "nested", "flat"};
  const auto which = state.range(0);
  state.SetLabel(kNames[which]);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(document(which).size()));
}

const vexa::runtime::RootList& startedModule() {
  static const vexa::runtime::RootList* const root = [] {
    const vexa::runtime::RootList* list = nullptr;
    if (quorix_get_f_list(0, 0, &list, 0, "", 0) != 0 || module_init(list, nullptr) != 0) {
      std::abort();
    }
    return list;
  }();
  return *root;
}

IJsonObject* parse(const std::string& text) {
  // The parser only reads it.
  const vexa::runtime::ByteBuffer record{
      text.size(), reinterpret_cast<uint8_t*>(const_cast<char*>(text.data()))};
  IJsonObject* object = nullptr;
  if (kJsonApi.Parse(&record, &object) != vexa::kOk) {
    std::abort();
  }
  return object;
}

void parseVexa(benchmark::State& state) {
  startedModule();
  const std::string& text = document(state.range(0));
  for (auto _ : state) {
    IJsonObject* const object = parse(text);
    benchmark::DoNotOptimize(object);
    object->Release();
  }
  label(state);
}

void parseRapid(benchmark::State& state) {
  const std::string& text = document(state.range(0));
  for (auto _ : state) {
    rapidjson::Document tree;
    tree.Parse(text.data(), text.size());
    if (tree.HasParseError()) {
      std::abort();
    }
    benchmark::DoNotOptimize(tree);
  }
  label(state);
}

void parseNlohmann(benchmark::State& state) {
  const std::string& text = document(state.range(0));
  for (auto _ : state) {
    auto tree = nlohmann::json::parse(text);
    benchmark::DoNotOptimize(tree);
  }
  label(state);
}

void parseSimd(benchmark::State& state) {
  const simdjson::padded_string text(document(state.range(0)));
  simdjson::dom::parser parser;  // reused, as its makers advise
  for (auto _ : state) {
    simdjson::dom::element tree;
    if (parser.parse(text).get(tree) != simdjson::SUCCESS) {
      std::abort();
    }
    benchmark::DoNotOptimize(tree);
  }
  label(state);
}

void writeVexa(benchmark::State& state) {
  const auto& root = startedModule();
  IJsonObject* const object = parse(document(state.range(0)));
  for (auto _ : state) {
    vexa::runtime::ByteBuffer* text = nullptr;
    if (object->ToText(&text) != vexa::kOk) {
      std::abort();
    }
    benchmark::DoNotOptimize(text->data);
    root.Free(text->data);
    root.Free(text);
  }
  object->Release();
  label(state);
}

void writeRapid(benchmark::State& state) {
  const std::string& text = document(state.range(0));
  rapidjson::Document tree;
  tree.Parse(text.data(), text.size());
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    tree.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetString());
  }
  label(state);
}

void writeNlohmann(benchmark::State& state) {
  const auto tree = nlohmann::json::parse(document(state.range(0)));
  for (auto _ : state) {
    const std::string text = tree.dump();
    benchmark::DoNotOptimize(text.data());
  }
  label(state);
}

void writeSimd(benchmark::State& state) {
  const simdjson::padded_string source(document(state.range(0)));
  simdjson::dom::parser parser;
  simdjson::dom::element tree;
  if (parser.parse(source).get(tree) != simdjson::SUCCESS) {
    std::abort();
  }
  for (auto _ : state) {
    const std::string text = simdjson::minify(tree);
    benchmark::DoNotOptimize(text.data());
  }
  label(state);
}

BENCHMARK(parseVexa)->DenseRange(kBody, kFlat)->Name("json/parse/vexabase");
BENCHMARK(parseRapid)->DenseRange(kBody, kFlat)->Name("json/parse/rapidjson");
BENCHMARK(parseNlohmann)->DenseRange(kBody, kFlat)->Name("json/parse/nlohmann");
BENCHMARK(parseSimd)->DenseRange(kBody, kFlat)->Name("json/parse/simdjson");
BENCHMARK(writeVexa)->DenseRange(kBody, kFlat)->Name("json/write/vexabase");
BENCHMARK(writeRapid)->DenseRange(kBody, kFlat)->Name("json/write/rapidjson");
BENCHMARK(writeNlohmann)->DenseRange(kBody, kFlat)->Name("json/write/nlohmann");
BENCHMARK(writeSimd)->DenseRange(kBody, kFlat)->Name("json/write/simdjson");

}  // namespace
