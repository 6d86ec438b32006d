#include <cstdio>

#include "options.h"
#include "values.h"
#include "vexa/network.h"

namespace vexahost {
namespace {

class WideStringOut {
 public:
  explicit WideStringOut(const Module& module) : module_(module) {}
  WideStringOut(const WideStringOut&) = delete;
  WideStringOut& operator=(const WideStringOut&) = delete;
  ~WideStringOut() { module_.wideStrings().Destroy(string_); }

  vexa::runtime::WideStringObject** put() { return &string_; }
  bool isEmpty() const { return string_ == nullptr; }
  std::string text() const { return toUtf8(module_, module_.wideStrings().GetText(string_)); }

 private:
  const Module& module_;
  vexa::runtime::WideStringObject* string_ = nullptr;
};

void discover(Options options, const std::string& url, bool why) {
  constexpr uint32_t kProgressLevel = 4;
  if (why) {
    options.module.traceLevel = std::max(options.module.traceLevel, kProgressLevel);
  }
  const Module module(options.module);
  const auto& list = module.list<vexa::NetworkList>(vexa::kNetworkListName);
  WideStringOut proxy(module);
  const int32_t result = list.GetIEUserSettingProxy(toUtf16(module, url).c_str(), proxy.put());
  if (result == vexa::kOutOfMemory) {
    check(result, "proxy discovery");
  }
  if (!proxy.isEmpty()) {
    std::printf("proxy %s\n", proxy.text().c_str());
  } else if (vexa::succeeded(result)) {
    std::printf("direct (decided)\n");
  } else {
    std::printf("direct (no usable setting)\n");
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
