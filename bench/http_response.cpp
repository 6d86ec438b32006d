#include "webclient/http_response.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "started_module.h"

// A response with the headers of the local endpoint, built and written into one block, beside a
// well-known library's message and serializer. The caller keeps its block from one response to the
// next. Sizes are those of the body; rates count bytes written.
namespace {

namespace http = boost::beast::http;
using vexa::IHTTPResponse;
using vexa::bench::Created;
using vexa::bench::StartedModule;
using Response = Created<vexa::webclient::CHTTPResponse, IHTTPResponse>;

struct Header {
  const char* name;
  const char* value;
};
constexpr Header kHeaders[] = {
    {"Content-Type", "application/json; charset=utf-8"},
    {"Cache-Control", "no-store"},
    {"Access-Control-Allow-Origin", "https://portal.example.com"},
    {"Access-Control-Allow-Methods", "GET, POST, OPTIONS"},
    {"Connection", "close"},
};

std::string makeBody(int64_t size) { return std::string(static_cast<size_t>(size), 'x'); }

void build(IHTTPResponse& response, const std::string& body) {
  for (const auto& [name, value] : kHeaders) {
    (void)response.addHeader(name, value);
  }
  (void)response.setBody(body.c_str());
}

void buildVexa(benchmark::State& state) {
  const StartedModule module;
  const std::string body = makeBody(state.range(0));
  uint8_t* buffer = nullptr;
  uint64_t capacity = 0;
  uint64_t size = 0;
  for (auto _ : state) {
    const Response response(vexa::IID_IHTTPResponse);
    build(*response.get(), body);
    size = capacity;
    if (response->serialize(&buffer, &size) != vexa::kOk) {
      std::abort();
    }
    capacity = std::max(capacity, size);
    benchmark::DoNotOptimize(buffer[size - 1]);
  }
  module.root().Free(buffer);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
}

void buildBeast(benchmark::State& state) {
  const std::string body = makeBody(state.range(0));
  std::string block;
  for (auto _ : state) {
    http::response<http::string_body> response(http::status::ok, 11);
    for (const auto& [name, value] : kHeaders) {
      response.insert(name, value);
    }
    response.body() = body;
    response.prepare_payload();
    http::response_serializer<http::string_body> serializer(response);
    block.clear();
    boost::beast::error_code error;
    while (!serializer.is_done()) {
      serializer.next(error, [&](boost::beast::error_code&, const auto& pieces) {
        const size_t start = block.size();
        const size_t length = boost::beast::buffer_bytes(pieces);
        block.resize(start + length);
        boost::asio::buffer_copy(boost::asio::buffer(&block[start], length), pieces);
        serializer.consume(length);
      });
      if (error) {
        std::abort();
      }
    }
    benchmark::DoNotOptimize(block.back());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(block.size()));
}

void sizes(benchmark::internal::Benchmark* benchmark) { benchmark->Arg(0)->Arg(400)->Arg(100'000); }

BENCHMARK(buildVexa)->Name("http_response/build/vexabase")->Apply(sizes);
BENCHMARK(buildBeast)->Name("http_response/build/boost.beast")->Apply(sizes);

}  // namespace
