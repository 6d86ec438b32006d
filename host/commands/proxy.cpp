#include "proxy.h"
#include "cli/console.h"
#include "options.h"

namespace vexahost {
namespace {

std::string inWords(const ProxyDecision& decision) {
  switch (decision.kind) {
    case ProxyDecision::Kind::kProxy:
      return "proxy " + visible(decision.proxy);
    case ProxyDecision::Kind::kDirect:
      return "direct (decided)";
    case ProxyDecision::Kind::kNone:
      break;
  }
  return "direct (no usable setting)";
}

void discover(Options& options, const std::string& url, bool why) {
  constexpr uint32_t kProgressLevel = 4;
  ModuleOptions settings = options.module;
  if (why && !options.output.isJson()) {
    settings.traceLevel = std::max(settings.traceLevel, kProgressLevel);
  }
  const Module module(settings);
  const ProxyDecision decision = decideProxy(module, url);
  Json data = {{"url", url}, {"decided", decision.kind != ProxyDecision::Kind::kNone}};
  data["proxy"] = decision.proxy.empty() ? Json() : Json(decision.proxy);
  if (why) {
    data["why"] = decision.why;
  }
  options.output.answer(data, [&] { options.output.line(inWords(decision)); });
}

}  // namespace

void addProxyCommand(Command app, Options& options) {
  Command command = app.command("proxy", "Which proxy the user's settings choose for a URL");
  const auto url = std::make_shared<std::string>();
  const auto why = std::make_shared<bool>(false);
  command.option("url", *url, "URL").required();
  command.flag("--why", *why, "Show how it was decided (the trace, on standard error)");
  command.onRun([&options, url, why] { discover(options, *url, *why); });
}

}  // namespace vexahost
