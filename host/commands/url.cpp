#include <cstdio>

#include "options.h"
#include "vexa/url_parser.h"

namespace vexahost {
namespace {

struct UrlQuestion {
  std::string url;
  std::vector<std::string> patterns;
  std::string sameAs;
};

const char* yesNo(bool value) { return value ? "yes" : "no"; }

void examine(const Options& options, const UrlQuestion& question) {
  const Module module(options.module);
  const auto url = module.create<vexa::IURLParser>(vexa::kUrlParserClassName, vexa::IID_IURLParser);
  const bool isValid = vexa::succeeded(url->parse(question.url.c_str()));
  std::printf("valid   %s\n", yesNo(isValid));
  std::printf("https   %s\n", yesNo(url->isHTTPS()));
  std::printf("port    %d\n", url->getPort());
  if (isValid) {
    const auto length = static_cast<size_t>(url->getLength());
    std::printf("origin  %s\n", question.url.substr(0, length).c_str());
  }
  for (const std::string& pattern : question.patterns) {
    std::printf("match   %s  %s\n", yesNo(url->pattern_match(pattern.c_str())), pattern.c_str());
  }
  if (!question.sameAs.empty()) {
    std::printf("same    %s  %s\n", yesNo(url->cmpText(question.sameAs.c_str())),
                question.sameAs.c_str());
  }
}

}  // namespace

void addUrlCommand(CLI::App& app, Options& options) {
  CLI::App* const command = app.add_subcommand("url", "What a URL is made of, and what covers it");
  const auto question = std::make_shared<UrlQuestion>();
  command->add_option("url", question->url, "http:// or https:// URL")->required();
  command->add_option("--pattern", question->patterns,
                      "Host pattern such as https://*.example.com; repeatable");
  command->add_option("--same-as", question->sameAs, "URL to compare the origin with");
  command->callback([&options, question] { examine(options, *question); });
}

}  // namespace vexahost
