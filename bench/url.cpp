#include <benchmark/benchmark.h>

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "vexa/module.h"
#include "vexa/runtime/reference.h"
#include "webclient/url_parser.h"

// A URL split into scheme, host, port and the start of its path, beside a well-known library that
// keeps views into the text, too; and what else is asked of URLs on the way of a request. The rate
// counts URLs.
//
// The module's operations trace their entry and exit, with the level off, as in a client that runs
// normally. "untraced" is the same with no tracing bound.
extern "C" {
int32_t module_init(const vexa::runtime::RootList* root, vexa::GetModuleInterfaceFunction* lookup);
int32_t module_final();
}

namespace {

using vexa::IURLParser;

constexpr const char* kUrls[] = {
    "https://portal.example.com/login",
    "http://127.0.0.1:8080/api/v1/status?verbose=1",
    "https://sso.corporate.example.com:8443/adfs/ls/?wa=wsignin1.0&wtrealm=urn%3Aexample%3Aportal",
    "https://example.com",
    "http://intranet/index.html",
    "https://cdn.static.assets.example.net/libraries/framework/3.7.1/framework.min.js",
    "https://mail.example.org:443/inbox",
    "https://search.example.com/results?q=how+to+read+a+url&lang=en&page=12#top",
};

// A parser over a started module, with the tracing of the reference runtime or none.
class Parser {
 public:
  Parser() {
    const vexa::runtime::RootList* root = nullptr;
    if (quorix_get_f_list(0, 0, &root, 0, "", 0) != 0 || module_init(root, nullptr) != 0 ||
        vexa::webclient::URLParser::CreateInstance(&vexa::IID_IURLParser, &object_) != 0) {
      std::abort();
    }
  }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;
  ~Parser() {
    get()->Release();
    module_final();
  }

  IURLParser* get() const { return static_cast<IURLParser*>(object_); }

 private:
  void* object_ = nullptr;
};

void countUrls(benchmark::State& state, size_t perIteration) {
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(perIteration));
}

// All that the interface tells of each URL.
void splitAll(benchmark::State& state, IURLParser* parser) {
  for (auto _ : state) {
    for (const char* const url : kUrls) {
      benchmark::DoNotOptimize(parser->parse(url));
      benchmark::DoNotOptimize(parser->isHTTPS());
      benchmark::DoNotOptimize(parser->getPort());
      benchmark::DoNotOptimize(parser->getLength());
    }
  }
  countUrls(state, std::size(kUrls));
}

void splitVexa(benchmark::State& state) {
  const Parser parser;
  splitAll(state, parser.get());
}

// An object that outlives the module traces nothing.
void splitUntraced(benchmark::State& state) {
  IURLParser* object = nullptr;
  {
    const Parser parser;
    object = parser.get();
    object->AddRef();
  }
  splitAll(state, object);
  object->Release();
}

void splitBoost(benchmark::State& state) {
  for (auto _ : state) {
    for (const char* const url : kUrls) {
      const auto view = boost::urls::parse_uri(url);
      if (!view) {
        std::abort();
      }
      benchmark::DoNotOptimize(view->scheme_id());
      benchmark::DoNotOptimize(view->port_number());
      benchmark::DoNotOptimize(view->encoded_origin().size());
    }
  }
  countUrls(state, std::size(kUrls));
}

void compareWithText(benchmark::State& state) {
  const Parser parser;
  (void)parser.get()->parse("https://portal.example.com:443/x");
  for (auto _ : state) {
    benchmark::DoNotOptimize(parser.get()->cmp("https://portal.example.com/login"));
  }
  countUrls(state, 1);
}

void matchPattern(benchmark::State& state) {
  const Parser parser;
  (void)parser.get()->parse("https://portal.example.com/login");
  for (auto _ : state) {
    benchmark::DoNotOptimize(parser.get()->pattern_match("https://*.example.com"));
  }
  countUrls(state, 1);
}

BENCHMARK(splitVexa)->Name("url/split/vexabase");
BENCHMARK(splitUntraced)->Name("url/split/vexabase untraced");
BENCHMARK(splitBoost)->Name("url/split/boost.url");
BENCHMARK(compareWithText)->Name("url/compare/vexabase");
BENCHMARK(matchPattern)->Name("url/pattern/vexabase");

}  // namespace
