#include <cstdio>

#include "options.h"
#include "proxy.h"

namespace vexahost {
namespace {

void discover(Options options, const std::string& url, bool why) {
  constexpr uint32_t kProgressLevel = 4;
  if (why) {
    options.module.traceLevel = std::max(options.module.traceLevel, kProgressLevel);
  }
  const Module module(options.module);
  const ProxyDecision decision = decideProxy(module, url);
  switch (decision.kind) {
    case ProxyDecision::Kind::kProxy:
      std::printf("proxy %s\n", decision.proxy.c_str());
      break;
    case ProxyDecision::Kind::kDirect:
      std::printf("direct (decided)\n");
      break;
    case ProxyDecision::Kind::kNone:
      std::printf("direct (no usable setting)\n");
      break;
  }
}

}  // namespace

void addProxyCommand(CLI::App& app, Options& options) {
  CLI::App* const command =
      app.add_subcommand("proxy", "Which proxy the user's settings choose for a URL");
  const auto url = std::make_shared<std::string>();
  const auto why = std::make_shared<bool>(false);
  command->add_option("url", *url, "URL")->required();
  command->add_flag("--why", *why, "Show how it was decided (the trace, on standard error)");
  command->callback([&options, url, why] { discover(options, *url, *why); });
}

}  // namespace vexahost
