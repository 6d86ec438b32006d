#include "proxy.h"

#include <string_view>

#include "texts.h"
#include "vexa/network.h"

namespace vexahost {
namespace {

// Collects the trace of this thread while it lives, but for the scopes.
class TraceCollector {
 public:
  TraceCollector(const Module& module, std::vector<std::string>& lines)
      : collect_(module.runtimeFunction<decltype(velmora_collect_trace)>("velmora_collect_trace")) {
    constexpr uint32_t kProgressLevel = 4;
    if (collect_ != nullptr && vexa::failed(collect_(kProgressLevel, keep, &lines))) {
      collect_ = nullptr;
    }
  }
  TraceCollector(const TraceCollector&) = delete;
  TraceCollector& operator=(const TraceCollector&) = delete;
  ~TraceCollector() {
    if (collect_ != nullptr) {
      collect_(0, nullptr, nullptr);
    }
  }

 private:
  // A scope's lines are "{ name" and "} name".
  static void keep(void* lines, uint32_t, const char*, const char* text) {
    const std::string_view line(text);
    if (!line.starts_with("{ ") && !line.starts_with("} ")) {
      static_cast<std::vector<std::string>*>(lines)->emplace_back(line);
    }
  }

  decltype(velmora_collect_trace)* collect_;
};

// Whether there is a scheme (RFC 3986, section 3.1) and something to connect to.
bool namesHost(std::string_view url) {
  constexpr std::string_view kSeparator = "://";
  constexpr std::string_view kOfSchemes =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-.";
  const size_t end = url.find_first_not_of(kOfSchemes);
  if (end == 0 || end == std::string_view::npos || !url.substr(end).starts_with(kSeparator)) {
    return false;
  }
  const std::string_view rest = url.substr(end + kSeparator.size());
  return rest.find_first_of("/?#:") != 0 && !rest.empty();
}

}  // namespace

ProxyDecision decideProxy(const Module& module, const std::string& url) {
  if (!namesHost(url)) {
    throw HostError("not a URL with scheme and host: " + url, ExitStatus::kUsage);
  }
  const auto& list = module.list<vexa::NetworkList>();
  const std::u16string wideUrl = toUtf16(module, url);
  ProxyDecision decision;
  WideStringHolder proxy(module);
  int32_t result = vexa::kOk;
  {
    const TraceCollector collector(module, decision.why);
    result = list.GetIEUserSettingProxy(wideUrl.c_str(), proxy.put());
  }
  if (result == vexa::kOutOfMemory) {
    check(result, "proxy discovery");
  }
  if (!!proxy) {
    decision.kind = ProxyDecision::Kind::kProxy;
    decision.proxy = toUtf8(module, module.wideStrings().GetText(proxy.get()));
  } else if (vexa::succeeded(result)) {
    decision.kind = ProxyDecision::Kind::kDirect;
  }
  return decision;
}

}  // namespace vexahost
