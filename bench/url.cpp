#include "vexa/url_parser.h"

#include <benchmark/benchmark.h>

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "loaded_module.h"
#include "vexa/network.h"

// A URL split into scheme, host, port and the start of its path, beside a well-known library that
// keeps views into the text, too; the same question of origin asked of two texts; and what else is
// asked of URLs on the way of a request. The rate counts URLs.
//
// The module's operations trace their entry and exit, with the level off.
namespace {

using vexa::IURLParser;
using vexa::bench::create;
using vexa::bench::loadedModule;
using Parser = vexa::InterfaceHolder<IURLParser>;

constexpr const char* kHosts[] = {
    "https://portal.example.com",
    "http://127.0.0.1:8080",
    "https://sso.corporate.example.com:8443",
    "http://intranet",
    "https://cdn.static.assets.example.net",
    "https://mail.example.org:443",
    "https://search.example.com",
};
constexpr const char* kPaths[] = {
    "/login",
    "/api/v1/status?verbose=1",
    "/adfs/ls/?wa=wsignin1.0&wtrealm=urn%3Aexample%3Aportal",
    "",
    "/libraries/framework/3.7.1/framework.min.js",
    "/results?q=how+to+read+a+url&lang=en&page=12#top",
};

std::vector<std::string> urls() {
  std::vector<std::string> made;
  for (size_t i = 0; i < 1000; ++i) {
    made.push_back(std::string(kHosts[i % std::size(kHosts)]) + kPaths[i % std::size(kPaths)]);
  }
  return made;
}

constexpr char kFirst[] = "https://portal.example.com:443/x";
constexpr char kSecond[] = "https://portal.example.com/login";

void countUrls(benchmark::State& state, size_t perIteration) {
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(perIteration));
}

void split(benchmark::State& state) {
  const Parser parser = create<vexa::IURLParser>();
  const std::vector<std::string> texts = urls();
  for (auto _ : state) {
    for (const std::string& url : texts) {
      benchmark::DoNotOptimize(parser->parse(url.c_str()));
      benchmark::DoNotOptimize(parser->isHTTPS());
      benchmark::DoNotOptimize(parser->getPort());
      benchmark::DoNotOptimize(parser->getLength());
    }
  }
  countUrls(state, texts.size());
}

void splitBoost(benchmark::State& state) {
  const std::vector<std::string> texts = urls();
  for (auto _ : state) {
    for (const std::string& url : texts) {
      const auto view = boost::urls::parse_uri(url);
      if (!view) {
        std::abort();
      }
      benchmark::DoNotOptimize(view->scheme_id());
      benchmark::DoNotOptimize(view->port_number());
      benchmark::DoNotOptimize(view->encoded_host().data());
      benchmark::DoNotOptimize(view->encoded_path().data());
    }
  }
  countUrls(state, texts.size());
}

void sameOrigin(benchmark::State& state) {
  const Parser parser = create<vexa::IURLParser>();
  for (auto _ : state) {
    benchmark::DoNotOptimize(parser->parse(kFirst));
    benchmark::DoNotOptimize(parser->cmpText(kSecond));
  }
  countUrls(state, 2);
}

uint16_t portOf(const boost::urls::url_view& url) {
  if (url.has_port()) {
    return url.port_number();
  }
  return url.scheme_id() == boost::urls::scheme::https ? 443 : 80;
}

void sameOriginBoost(benchmark::State& state) {
  for (auto _ : state) {
    const auto first = boost::urls::parse_uri(kFirst);
    const auto second = boost::urls::parse_uri(kSecond);
    benchmark::DoNotOptimize(first && second && first->scheme_id() == second->scheme_id() &&
                             portOf(*first) == portOf(*second) &&
                             first->encoded_host() == second->encoded_host());
  }
  countUrls(state, 2);
}

void matchPattern(benchmark::State& state) {
  const Parser parser = create<vexa::IURLParser>();
  (void)parser->parse(kSecond);
  for (auto _ : state) {
    benchmark::DoNotOptimize(parser->pattern_match("https://*.example.com"));
  }
  countUrls(state, 1);
}

// A long host: of a path the parser sees only where it begins.
void growing(benchmark::State& state) {
  const Parser parser = create<vexa::IURLParser>();
  const size_t size = static_cast<size_t>(state.range(0)) * 1'000'000;
  const std::string url = "https://" + std::string(size, 'h') + ":8443/x";
  for (auto _ : state) {
    benchmark::DoNotOptimize(parser->parse(url.c_str()));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(url.size()));
}

// A long host beside a list with one pattern, of which a piece of half that length is searched.
void bypass(benchmark::State& state, const std::string& unit, const std::u16string& units) {
  const size_t half = static_cast<size_t>(state.range(0)) * 50'000;
  std::string url = "http://";
  std::u16string list = u"*";
  while (list.size() < half) {
    url += unit + unit;
    list += units;
  }
  list += u"!*";
  const auto& network = loadedModule().list<vexa::NetworkList>();
  for (auto _ : state) {
    benchmark::DoNotOptimize(network.MatchesBypassList(url.c_str(), list.c_str()));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(url.size()));
}

void createAndRelease(benchmark::State& state) {
  (void)loadedModule();
  for (auto _ : state) {
    const Parser parser = create<vexa::IURLParser>();
    benchmark::DoNotOptimize(parser.get());
  }
}

BENCHMARK(split)->Name("url/split 1000/vexabase");
BENCHMARK(splitBoost)->Name("url/split 1000/boost.url");
BENCHMARK(sameOrigin)->Name("url/same origin/vexabase");
BENCHMARK(sameOriginBoost)->Name("url/same origin/boost.url");
BENCHMARK(matchPattern)->Name("url/pattern/vexabase");
BENCHMARK(growing)->Name("url/growing/vexabase")->Arg(1)->Arg(2)->Arg(4);
BENCHMARK_CAPTURE(bypass, ordinary, "www.example.", u"example.net.")
    ->Name("url/bypass list/ordinary/vexabase")
    ->Arg(1);
BENCHMARK_CAPTURE(bypass, nearly, "a", u"a")
    ->Name("url/bypass list/nearly everywhere/vexabase")
    ->Arg(1)
    ->Arg(2)
    ->Arg(4);
BENCHMARK(createAndRelease)->Name("url/create and release/vexabase");

}  // namespace
