#include "cli/console.h"
#include "options.h"
#include "vexa/url_parser.h"

namespace vexahost {
namespace {

struct UrlQuestion {
  std::string url;
  std::vector<std::string> patterns;
  std::string sameAs;
};

std::string yesNo(const Json& value) { return value.get<bool>() ? "yes" : "no"; }

void print(Output& output, const UrlQuestion& question, const Json& data) {
  output.line("valid   " + yesNo(data["valid"]));
  output.line("https   " + yesNo(data["https"]));
  output.line("port    " + data["port"].dump());
  if (data.contains("origin")) {
    output.line("origin  " + visible(data["origin"].get<std::string>()));
  }
  for (const Json& match : data.value("patterns", Json::array())) {
    output.line("match   " + yesNo(match["match"]) + "  " +
                visible(match["pattern"].get<std::string>()));
  }
  if (data.contains("sameOrigin")) {
    output.line("same    " + yesNo(data["sameOrigin"]) + "  " + visible(question.sameAs));
  }
}

// Valid, covered by every pattern, of the same origin: otherwise the exit status says no.
void examine(Options& options, const UrlQuestion& question) {
  const Module module(options.module);
  const auto url = module.make<vexa::IURLParser>();
  const bool isValid = vexa::succeeded(url->parse(question.url.c_str()));
  bool isGood = isValid;
  Json data = {{"url", question.url},
               {"valid", isValid},
               {"https", url->isHTTPS()},
               {"port", url->getPort()}};
  if (isValid) {
    data["origin"] = question.url.substr(0, static_cast<size_t>(url->getLength()));
  }
  for (const std::string& pattern : question.patterns) {
    const bool matches = url->pattern_match(pattern.c_str());
    data["patterns"].push_back({{"pattern", pattern}, {"match", matches}});
    isGood = isGood && matches;
  }
  if (!question.sameAs.empty()) {
    data["sameOrigin"] = url->cmpText(question.sameAs.c_str());
    isGood = isGood && data["sameOrigin"].get<bool>();
  }
  options.output.answer(data, [&] { print(options.output, question, data); });
  if (!isGood) {
    options.checkFailed();
  }
}

}  // namespace

void addUrlCommand(Command app, Options& options) {
  Command command = app.command("url", "What a URL is made of, and what covers it");
  const auto question = std::make_shared<UrlQuestion>();
  command.option("url", question->url, "http:// or https:// URL").required();
  command.option("--pattern", question->patterns,
                 "Host pattern such as https://*.example.com; repeatable");
  command.option("--same-as", question->sameAs, "URL to compare the origin with");
  command.onRun([&options, question] { examine(options, *question); });
}

}  // namespace vexahost
