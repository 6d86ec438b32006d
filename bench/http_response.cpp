#include "vexa/http_response.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "loaded_module.h"

// A response with six headers and a body of 2 KiB: an object is made, filled, written into a block
// that is handed out, and released; beside the least that a program could do, appending the same
// pieces to a std::string. Rates count bytes written.
namespace {

using vexa::IHTTPResponse;
using vexa::bench::create;
using vexa::bench::loadedModule;
using Response = vexa::InterfaceHolder<IHTTPResponse>;

struct Header {
  const char* name;
  const char* value;
};
constexpr Header kHeaders[] = {
    {"Content-Type", "application/json; charset=utf-8"},
    {"Cache-Control", "no-store"},
    {"Access-Control-Allow-Origin", "https://portal.example.com"},
    {"Access-Control-Allow-Methods", "GET, POST, OPTIONS"},
    {"Vary", "Origin"},
    {"Connection", "close"},
};

std::string makeBody() { return std::string(2048, 'x'); }

void ours(benchmark::State& state) {
  const std::string body = makeBody();
  uint64_t size = 0;
  for (auto _ : state) {
    const Response response = create<vexa::IHTTPResponse>();
    (void)response->setStatus(200, nullptr);
    for (const auto& [name, value] : kHeaders) {
      (void)response->addHeader(name, value);
    }
    (void)response->setBody(body.c_str());
    auto buffer = vexa::bench::block<uint8_t>();
    size = 0;
    if (response->serialize(buffer.put(), &size) != vexa::kOk) {
      std::abort();
    }
    benchmark::DoNotOptimize(buffer[size - 1]);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
}

void appended(benchmark::State& state) {
  const std::string body = makeBody();
  size_t size = 0;
  for (auto _ : state) {
    std::string text;
    text += "HTTP/1.1 ";
    text += std::to_string(200);
    text += " OK\r\n";
    for (const auto& [name, value] : kHeaders) {
      text += name;
      text += ": ";
      text += value;
      text += "\r\n";
    }
    text += "Content-Length: ";
    text += std::to_string(body.size());
    text += "\r\n\r\n";
    text += body;
    size = text.size();
    benchmark::DoNotOptimize(text.back());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
}

BENCHMARK(ours)->Name("http_response/6 headers, 2 KiB/vexabase");
BENCHMARK(appended)->Name("http_response/6 headers, 2 KiB/std::string");

}  // namespace
