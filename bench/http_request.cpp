#include "vexa/http_request.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "loaded_module.h"

// What a page sends to the local endpoint: an object is made, fed, asked for all that it keeps and
// released, beside a well-known library that does the same with its parser and message. Whole, and
// in pieces of 64 bytes as a slow socket delivers them.
//
// The peer keeps all headers as they came; the module keeps two of them, decodes the target, splits
// it into parameters, and makes every call of its tracing, which is off. Rates count bytes.
namespace {

namespace http = boost::beast::http;
using vexa::IHTTPRequest;
using vexa::bench::block;
using vexa::bench::create;
using vexa::bench::loadedModule;
using Request = vexa::InterfaceHolder<IHTTPRequest>;

constexpr size_t kWhole = SIZE_MAX;
constexpr size_t kPiece = 64;

// The headers of a browser's cross-origin request.
constexpr char kHeaders[] =
    "Host: 127.0.0.1:24727\r\n"
    "Connection: keep-alive\r\n"
    "sec-ch-ua: \"Chromium\";v=\"122\", \"Not(A:Brand\";v=\"24\"\r\n"
    "Accept: application/json, text/plain, */*\r\n"
    "User-Agent: Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 Chrome/122.0\r\n"
    "Origin: https://portal.example.com\r\n"
    "Sec-Fetch-Site: cross-site\r\n"
    "Sec-Fetch-Mode: cors\r\n"
    "Referer: https://portal.example.com/login\r\n"
    "Accept-Encoding: gzip, deflate, br\r\n"
    "Accept-Language: en-GB,en;q=0.9,pt;q=0.8\r\n";

std::string getRequest() {
  return std::string("GET /api/v1/status?session=8d2f9f87c79d4569&verbose=1&next=%2Fhome ") +
         "HTTP/1.1\r\n" + kHeaders + "\r\n";
}

std::string postRequest(size_t bodySize) {
  return std::string("POST /api/v1/sign HTTP/1.1\r\n") + kHeaders +
         "Content-Type: application/json\r\nContent-Length: " + std::to_string(bodySize) +
         "\r\n\r\n" + std::string(bodySize, 'x');
}

void countBytes(benchmark::State& state, const std::string& request) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(request.size()));
}

// --- The module ---

void askHeader(IHTTPRequest& request, const char* name) {
  auto value = block<char>();
  benchmark::DoNotOptimize(request.getHeader(name, value.put()));
}

void askParameter(IHTTPRequest& request, const char* name) {
  auto value = block<char>();
  benchmark::DoNotOptimize(request.getQueryParameter(name, value.put()));
}

void askAll(IHTTPRequest& request) {
  benchmark::DoNotOptimize(request.getMethod());
  benchmark::DoNotOptimize(request.getURI());
  benchmark::DoNotOptimize(request.getPath());
  benchmark::DoNotOptimize(request.getProtocolVersion());
  benchmark::DoNotOptimize(request.hasBody());
  benchmark::DoNotOptimize(request.getBody());
  vexa::runtime::ByteBuffer body{};
  benchmark::DoNotOptimize(request.getBodyData(&body));
  askHeader(request, "Origin");
  askHeader(request, "Referer");
  askParameter(request, "session");
}

void parseOnce(const std::string& text, size_t piece) {
  const Request request = create<vexa::IHTTPRequest>();
  int32_t result = vexa::kMoreNeeded;
  const auto* const bytes = reinterpret_cast<const uint8_t*>(text.data());
  for (size_t at = 0; at < text.size();) {
    const size_t count = std::min(piece, text.size() - at);
    result = request->parse(bytes + at, count);
    at += count;
  }
  if (result != vexa::kOk) {
    std::abort();
  }
  askAll(*request.get());
}

void ours(benchmark::State& state, const std::string& text, size_t piece) {
  (void)loadedModule();
  for (auto _ : state) {
    parseOnce(text, piece);
  }
  countBytes(state, text);
}

void createAndRelease(benchmark::State& state) {
  (void)loadedModule();
  for (auto _ : state) {
    const Request request = create<vexa::IHTTPRequest>();
    benchmark::DoNotOptimize(request.get());
  }
}

// --- The peer ---

void askAll(const http::request<http::string_body>& request) {
  benchmark::DoNotOptimize(request.method());
  benchmark::DoNotOptimize(request.target());
  benchmark::DoNotOptimize(request.version());
  benchmark::DoNotOptimize(request.body().data());
  for (const http::field name : {http::field::origin, http::field::referer}) {
    std::string value(request[name]);
    benchmark::DoNotOptimize(value);
  }
}

void parseOnceBeast(const std::string& text, size_t piece) {
  http::request_parser<http::string_body> parser;
  parser.eager(true);
  parser.body_limit(1'048'576);
  boost::beast::flat_buffer pending;
  for (size_t at = 0; at < text.size();) {
    const size_t count = std::min(piece, text.size() - at);
    boost::beast::error_code error;
    if (pending.size() == 0 && piece == kWhole) {  // nothing to gather
      parser.put(boost::asio::buffer(text), error);
    } else {
      pending.commit(boost::asio::buffer_copy(pending.prepare(count),
                                              boost::asio::buffer(text.data() + at, count)));
      pending.consume(parser.put(pending.data(), error));
    }
    if (error && error != http::error::need_more) {
      std::abort();
    }
    at += count;
  }
  if (!parser.is_done()) {
    std::abort();
  }
  askAll(parser.get());
}

void peer(benchmark::State& state, const std::string& text, size_t piece) {
  for (auto _ : state) {
    parseOnceBeast(text, piece);
  }
  countBytes(state, text);
}

BENCHMARK_CAPTURE(ours, get, getRequest(), kWhole)->Name("http_request/get/whole/vexabase");
BENCHMARK_CAPTURE(peer, get, getRequest(), kWhole)->Name("http_request/get/whole/boost.beast");
BENCHMARK_CAPTURE(ours, get64, getRequest(), kPiece)->Name("http_request/get/pieces/vexabase");
BENCHMARK_CAPTURE(peer, get64, getRequest(), kPiece)->Name("http_request/get/pieces/boost.beast");
BENCHMARK_CAPTURE(ours, post, postRequest(4096), kWhole)
    ->Name("http_request/post 4 KiB/whole/vexabase");
BENCHMARK_CAPTURE(peer, post, postRequest(4096), kWhole)
    ->Name("http_request/post 4 KiB/whole/boost.beast");
BENCHMARK_CAPTURE(ours, post64, postRequest(4096), kPiece)
    ->Name("http_request/post 4 KiB/pieces/vexabase");
BENCHMARK_CAPTURE(peer, post64, postRequest(4096), kPiece)
    ->Name("http_request/post 4 KiB/pieces/boost.beast");

// The cost of a body grows with its size alone, however it comes.
BENCHMARK_CAPTURE(ours, quarter, postRequest(262'144), kPiece)
    ->Name("http_request/post 256 KiB/pieces/vexabase")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ours, upload, postRequest(1'048'576), kPiece)
    ->Name("http_request/post 1 MiB/pieces/vexabase")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(peer, upload, postRequest(1'048'576), kPiece)
    ->Name("http_request/post 1 MiB/pieces/boost.beast")
    ->Unit(benchmark::kMillisecond);

// A long head instead.
std::string manyHeaders(size_t size) {
  std::string text = "GET / HTTP/1.1\r\n";
  while (text.size() < size) {
    text += kHeaders;
  }
  return text + "\r\n";
}

void growing(benchmark::State& state) {
  ours(state, manyHeaders(static_cast<size_t>(state.range(0)) * 1'000'000), kWhole);
}
BENCHMARK(growing)->Name("http_request/growing/vexabase")->Arg(1)->Arg(2)->Arg(4);

// Heads of lines that cannot be read, each of which asks for something that stands far behind it.
std::string manyLines(const std::string& line, size_t size) {
  std::string text;
  while (text.size() < size) {
    text += line;
  }
  return text + "GET / HTTP/1.1\r\n\r\n";
}

void growingWhite(benchmark::State& state) {
  ours(state, manyLines(" \r\n", static_cast<size_t>(state.range(0)) * 100'000), kWhole);
}
BENCHMARK(growingWhite)->Name("http_request/white lines/vexabase")->Arg(1)->Arg(2)->Arg(4);

void growingDark(benchmark::State& state) {
  ours(state, manyLines("a\r\n", static_cast<size_t>(state.range(0)) * 100'000), kWhole);
}
BENCHMARK(growingDark)->Name("http_request/lines without a blank/vexabase")->Arg(1)->Arg(2)->Arg(4);

// --- Parameters that somebody chose, beside ordinary ones ---

constexpr size_t kQuery = 32'768;

std::string queryRequest(const std::string& query) {
  return "GET /?" + query.substr(0, kQuery) + " HTTP/1.1\r\n\r\n";
}

std::string ordinaryQuery() {
  std::string query;
  for (int i = 0; query.size() < kQuery; ++i) {
    query += "parameter" + std::to_string(i) + "=some+ordinary+value&";
  }
  return queryRequest(query);
}

// Keys that all fall into one of the 257 buckets of a request's table.
std::string collidingQuery() {
  std::string query;
  for (uint32_t i = 0; query.size() < kQuery; ++i) {
    const std::string key = std::to_string(i);
    uint64_t hash = 0;
    for (const char c : key) {
      hash = (hash << 4 | hash >> 28) ^ static_cast<uint8_t>(c);
    }
    query += hash % 257 == 0 ? key + "&" : "";
  }
  return queryRequest(query);
}

BENCHMARK_CAPTURE(ours, ordinary, ordinaryQuery(), kWhole)
    ->Name("http_request/query of 32 KiB/ordinary/vexabase");
BENCHMARK_CAPTURE(ours, colliding, collidingQuery(), kWhole)
    ->Name("http_request/query of 32 KiB/colliding/vexabase");

BENCHMARK(createAndRelease)->Name("http_request/create and release/vexabase");

}  // namespace
