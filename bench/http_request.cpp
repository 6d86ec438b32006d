#include "webclient/http_request.h"

#include <benchmark/benchmark.h>
#include <http_parser.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/basic_dynamic_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>

#include "base/tables.h"
#include "started_module.h"

// What a page sends to the local endpoint, from the first byte to the complete request, beside two
// well-known parsers. The first builds a message with all headers, as a server would use it; the
// second is a state machine that stores nothing but what its callbacks keep, here the target, the
// headers that matter and the body.
//
// The module keeps two headers, but decodes the target and splits it into parameters. Every request
// gets an object of its own; its creation and release are in the time. "untraced" is the same with
// no tracing bound. Rates count bytes.
namespace {

namespace http = boost::beast::http;
using vexa::IHTTPRequest;
using vexa::bench::Created;
using vexa::bench::StartedModule;
using Request = Created<vexa::webclient::CHTTPRequest, IHTTPRequest>;

enum Kind : int64_t { kGet, kPost, kUpload };
constexpr const char* kKindNames[] = {"get", "post", "upload"};

constexpr char kHeaders[] =
    "Host: 127.0.0.1:24727\r\n"
    "Connection: keep-alive\r\n"
    "sec-ch-ua: \"Chromium\";v=\"122\", \"Not(A:Brand\";v=\"24\"\r\n"
    "Accept: application/json, text/plain, */*\r\n"
    "User-Agent: Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) "
    "Chrome/122.0.0.0 Safari/537.36\r\n"
    "Origin: https://portal.example.com\r\n"
    "Sec-Fetch-Site: cross-site\r\n"
    "Sec-Fetch-Mode: cors\r\n"
    "Sec-Fetch-Dest: empty\r\n"
    "Referer: https://portal.example.com/login\r\n"
    "Accept-Encoding: gzip, deflate, br\r\n"
    "Accept-Language: en-GB,en;q=0.9,pt;q=0.8\r\n";

std::string makeRequest(int64_t kind) {
  if (kind == kGet) {
    return std::string(
               "GET /api/v1/status?session=8d2f9f87c79d4569&verbose=1&next=%2Fhome "
               "HTTP/1.1\r\n") +
           kHeaders + "\r\n";
  }
  const std::string body(kind == kPost ? 400 : 1'000'000, 'x');
  return std::string("POST /api/v1/sign HTTP/1.1\r\n") + kHeaders +
         "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

void label(benchmark::State& state, const std::string& request) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(request.size()));
  state.SetLabel(kKindNames[state.range(0)]);
}

void parseOnce(const std::string& text, size_t piece) {
  const Request request(vexa::IID_IHTTPRequest);
  int32_t result = vexa::kMoreNeeded;
  for (size_t at = 0; at < text.size(); at += piece) {
    result = request->parse(reinterpret_cast<const uint8_t*>(text.data()) + at,
                            std::min(piece, text.size() - at));
  }
  if (result != vexa::kOk) {
    std::abort();
  }
}

void parseVexa(benchmark::State& state) {
  const StartedModule module;
  const std::string text = makeRequest(state.range(0));
  for (auto _ : state) {
    parseOnce(text, text.size());
  }
  label(state, text);
}

void parseUntraced(benchmark::State& state) {
  const StartedModule module;
  const std::string text = makeRequest(state.range(0));
  auto& notify = vexa::base::bound.notify.pointer;
  const auto* const bound = std::exchange(notify, nullptr);
  for (auto _ : state) {
    parseOnce(text, text.size());
  }
  notify = bound;
  label(state, text);
}

void parseBeast(benchmark::State& state) {
  const std::string text = makeRequest(state.range(0));
  for (auto _ : state) {
    http::request_parser<http::string_body> parser;
    parser.eager(true);
    parser.body_limit(1'048'576);
    boost::beast::error_code error;
    parser.put(boost::asio::buffer(text), error);
    if (error || !parser.is_done()) {
      std::abort();
    }
    benchmark::DoNotOptimize(parser.get().body());
  }
  label(state, text);
}

// What the callbacks of the state machine keep.
struct Kept {
  std::string target;
  std::string name;
  std::string origin;
  std::string referer;
  std::string body;
  bool isDone = false;
};

Kept& kept(http_parser* parser) { return *static_cast<Kept*>(parser->data); }

http_parser_settings keepingSettings() {
  http_parser_settings settings;
  http_parser_settings_init(&settings);
  settings.on_url = [](http_parser* parser, const char* at, size_t length) {
    kept(parser).target.append(at, length);
    return 0;
  };
  settings.on_header_field = [](http_parser* parser, const char* at, size_t length) {
    kept(parser).name.assign(at, length);
    return 0;
  };
  settings.on_header_value = [](http_parser* parser, const char* at, size_t length) {
    Kept& state = kept(parser);
    if (state.name == "Origin") {
      state.origin.append(at, length);
    } else if (state.name == "Referer") {
      state.referer.append(at, length);
    }
    return 0;
  };
  settings.on_body = [](http_parser* parser, const char* at, size_t length) {
    kept(parser).body.append(at, length);
    return 0;
  };
  settings.on_message_complete = [](http_parser* parser) {
    kept(parser).isDone = true;
    return 0;
  };
  return settings;
}

void parseStateMachine(benchmark::State& state) {
  const std::string text = makeRequest(state.range(0));
  const http_parser_settings settings = keepingSettings();
  for (auto _ : state) {
    Kept result;
    http_parser parser;
    http_parser_init(&parser, HTTP_REQUEST);
    parser.data = &result;
    if (http_parser_execute(&parser, &settings, text.data(), text.size()) != text.size() ||
        !result.isDone) {
      std::abort();
    }
    benchmark::DoNotOptimize(result);
  }
  label(state, text);
}

// As a socket delivers it.
void parsePieces(benchmark::State& state) {
  const StartedModule module;
  const std::string text = makeRequest(state.range(0));
  for (auto _ : state) {
    parseOnce(text, 1460);
  }
  label(state, text);
}

void kinds(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(kGet)->Arg(kPost)->Arg(kUpload);
}

BENCHMARK(parseVexa)->Name("http_request/parse/vexabase")->Apply(kinds);
BENCHMARK(parseUntraced)->Name("http_request/parse/vexabase untraced")->Apply(kinds);
BENCHMARK(parseBeast)->Name("http_request/parse/boost.beast")->Apply(kinds);
BENCHMARK(parseStateMachine)->Name("http_request/parse/http-parser")->Apply(kinds);
BENCHMARK(parsePieces)->Name("http_request/parse in pieces/vexabase")->Apply(kinds);

}  // namespace
