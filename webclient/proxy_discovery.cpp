#include "webclient/proxy_discovery.h"

#include <string_view>
#include <utility>

#include "base/string.h"
#include "base/trace.h"
#include "base/windows_holders.h"
#include "pal/wide.h"
#include "pal/windows_api.h"
#include "webclient/host_rules.h"

namespace vexa::webclient {
namespace {

constexpr char16_t kUserAgent[] = u"Orlind Client";

// Wide messages with no source name.
template <class... Arguments>
void log(uint32_t level, const char16_t* format, Arguments... arguments) {
  base::traceWideFormat(level, nullptr, format, arguments...);
}

// A text that WinHTTP handed out. An empty one counts as none.
class WinHttpText : public base::GlobalBlock<LPWSTR> {
 public:
  explicit operator bool() const { return get() != nullptr && *get() != 0; }
  const char16_t* get() const { return pal::utf16(base::GlobalBlock<LPWSTR>::get()); }
};

base::InternetHandle openSession() {
  return base::InternetHandle(WinHttpOpen(pal::wide(kUserAgent), WINHTTP_ACCESS_TYPE_DEFAULT_PROXY,
                                          WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
}

// One search for the proxy of one URL: the steps in their order, each of which may find the
// decision.
class ProxySearch {
 public:
  explicit ProxySearch(const char16_t* url) : url_(url) {}

  // kOk: decided; the proxy, if any, is in proxy(). kFail: no decision. kOutOfMemory.
  int32_t run() {
    if (!readSettings()) {
      return kFail;
    }
    if (autoDetect_) {
      detectScript();
    }
    int32_t result = kOk;
    if (detectedUrl_ || autoConfigUrl_) {
      askScripts();
      result = useScriptAnswer();
    } else if (staticProxy_) {
      result = useStaticProxy();
    } else {
      result = useScriptAnswer();
    }
    if (failed(result)) {
      return result;
    }
    return decided_ ? kOk : kFail;
  }

  bool hasProxy() const { return hasProxy_; }
  base::WideString& proxy() { return proxy_; }

 private:
  bool readSettings() {
    log(base::kTraceInfo, u"Try to get User IE Settings Proxy for the URL: %s", url_);
    WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
    if (WinHttpGetIEProxyConfigForCurrentUser(&config) == FALSE) {
      base::traceText(base::kTraceWarning, nullptr, "Getting IE User Proxy Settings fails.");
      return false;
    }
    autoDetect_ = config.fAutoDetect != FALSE;
    autoConfigUrl_.reset(config.lpszAutoConfigUrl);
    staticProxy_.reset(config.lpszProxy);
    staticBypass_.reset(config.lpszProxyBypass);
    log(base::kTraceInfo, u"IE User Settings [AutoDetect]: %d", config.fAutoDetect);
    log(base::kTraceInfo, u"IE User Settings [AutoConfigUrl]: %s", autoConfigUrl_.get());
    log(base::kTraceInfo, u"IE User Settings [Proxy]: %s", staticProxy_.get());
    log(base::kTraceInfo, u"IE User Settings [ProxyBypass]: %s", staticBypass_.get());
    return true;
  }

  void detectScript() {
    const DWORD ways = WINHTTP_AUTO_DETECT_TYPE_DHCP | WINHTTP_AUTO_DETECT_TYPE_DNS_A;
    if (WinHttpDetectAutoProxyConfigUrl(ways, detectedUrl_.put()) != FALSE) {
      log(base::kTraceInfo, u"Detecting (Auto detection) automatic configuration script URL: %s",
          detectedUrl_.get());
    } else {
      log(base::kTraceError,
          u"(WinHttp Error: %d) Error detecting (WPAP) automatic configuration script URL.",
          static_cast<int>(GetLastError()));
    }
  }

  // The detected script first, then the configured one.
  void askScripts() {
    const base::InternetHandle session = openSession();
    if (!session) {
      return;
    }
    if (detectedUrl_) {
      askScript(session.get(), detectedUrl_.get());
    }
    if (!decided_ && autoConfigUrl_) {
      askScript(session.get(), autoConfigUrl_.get());
    }
  }

  void askScript(HINTERNET session, const char16_t* scriptUrl) {
    log(base::kTraceInfo, u"Try proxy Auto config URL %s", scriptUrl);
    WINHTTP_AUTOPROXY_OPTIONS options{};
    options.dwFlags = WINHTTP_AUTOPROXY_CONFIG_URL;
    options.lpszAutoConfigUrl = pal::wide(scriptUrl);
    options.fAutoLogonIfChallenged = TRUE;
    WINHTTP_PROXY_INFO info{};
    decided_ = WinHttpGetProxyForUrl(session, pal::wide(url_), &options, &info) != FALSE;
    const DWORD error = decided_ ? 0 : GetLastError();
    accessType_ = info.dwAccessType;
    scriptProxies_.reset(info.lpszProxy);
    scriptBypass_.reset(info.lpszProxyBypass);
    if (decided_) {
      log(base::kTraceInfo, u"PAC script URL %s succeeded.", scriptUrl);
    } else {
      log(base::kTraceError, u"(WinHttp Error: %d) Error getting proxy via PAC script URL %s",
          static_cast<int>(error), scriptUrl);
    }
  }

  // A host on the bypass list gets no proxy, which is a decision too.
  int32_t useScriptAnswer() {
    for (WinHttpText* const setting :
         {&detectedUrl_, &autoConfigUrl_, &staticProxy_, &staticBypass_}) {
      setting->reset();  // before the messages that follow
    }
    log(base::kTraceInfo, u"Access type %d detected.", static_cast<int>(accessType_));
    if (scriptProxies_) {
      log(base::kTraceInfo, u"Proxies %s detected.", scriptProxies_.get());
    }
    if (!decided_ || accessType_ == WINHTTP_ACCESS_TYPE_NO_PROXY || !scriptProxies_) {
      log(base::kTraceInfo, u"No proxy for the target host was found, using Direct Connect.");
      return kOk;
    }
    if (failed(split())) {
      return kOutOfMemory;
    }
    const int32_t bypassed = matchBypass(scriptBypass_);
    if (bypassed != 0) {
      return failed(bypassed) ? bypassed : kOk;
    }
    if (failed(cutAt(scriptProxies_.get(), proxy_))) {
      return kOutOfMemory;
    }
    hasProxy_ = true;
    log(base::kTraceInfo, u"Proxy %s will be used.", proxy_.text());
    return kOk;
  }

  int32_t useStaticProxy() {
    log(base::kTraceInfo, u"static proxy settings detected.");
    if (failed(split())) {
      return kOutOfMemory;
    }
    if (exemptsLocalHosts() && isLocalHost(host_)) {
      log(base::kTraceInfo, u"ignore local addresses enabled and detected. bypass static proxy");
      decided_ = true;
      return kOk;
    }
    // Unlike the local case, a host that is listed leaves the question open.
    if (const int32_t bypassed = matchBypass(staticBypass_); bypassed != 0) {
      return failed(bypassed) ? bypassed : kOk;
    }
    base::WideString setting;
    if (failed(setting.assign(staticProxy_.get()))) {
      return kOutOfMemory;
    }
    if (setting.find(u"=") == runtime::kNotFound) {
      proxy_ = std::move(setting);
    } else if (const int32_t result = findSchemeProxy(setting); failed(result) || !decided_) {
      return result;
    }
    decided_ = true;
    hasProxy_ = true;
    log(base::kTraceInfo, u"Use static proxy: %s", proxy_.text());
    return kOk;
  }

  // kOk also for a URL without a host, which is not local and matches no bypass entry.
  // kOutOfMemory.
  int32_t split() {
    const int32_t result = splitUrl(url_, scheme_, host_);
    return result == kOutOfMemory ? result : kOk;
  }
  bool hasHost() const { return !host_.empty(); }

  bool exemptsLocalHosts() const {
    return staticBypass_ &&
           std::u16string_view(staticBypass_.get()).find(u"<local>") != std::u16string_view::npos;
  }

  // "scheme=host:port;...": the entry of the URL's scheme, or else that of http.
  int32_t findSchemeProxy(const base::WideString& setting) {
    static constexpr char16_t kFallback[] = u"http=";
    uint64_t at = runtime::kNotFound;
    uint64_t keyLength = 0;
    if (hasHost()) {
      if (failed(scheme_.append(u"="))) {
        return kOutOfMemory;
      }
      at = setting.find(scheme_.text());
      keyLength = scheme_.length();
    }
    if (at == runtime::kNotFound) {
      at = setting.find(kFallback);
      keyLength = std::size(kFallback) - 1;
    }
    if (at == runtime::kNotFound) {
      log(base::kTraceInfo, u"no static proxy found for http/https, ignore static proxy settings");
      return kOk;
    }
    decided_ = true;
    return cutAt(setting.text() + at + keyLength, proxy_);
  }

  int32_t matchBypass(const WinHttpText& list) const {
    return list && hasHost() ? matchesBypassList(host_, list.get()) : 0;
  }

  // The text before the first ";".
  static int32_t cutAt(const char16_t* text, base::WideString& out) {
    base::WideString rest;
    if (failed(rest.assign(text)) || failed(rest.splitFirst(u";", out, rest))) {
      return kOutOfMemory;
    }
    return kOk;
  }

  const char16_t* url_;
  bool autoDetect_ = false;
  WinHttpText autoConfigUrl_;
  WinHttpText staticProxy_;
  WinHttpText staticBypass_;
  WinHttpText detectedUrl_;
  DWORD accessType_ = 0;
  WinHttpText scriptProxies_;
  WinHttpText scriptBypass_;
  base::WideString scheme_;
  base::WideString host_;
  base::WideString proxy_;
  bool hasProxy_ = false;
  bool decided_ = false;
};

// Hands the string over in a record of its own.
int32_t handOut(base::WideString& string, runtime::WideStringObject** out) {
  runtime::WideStringObject* record = nullptr;
  if (failed(base::bound.wideStrings->Create(&record))) {
    return kOutOfMemory;
  }
  std::swap(*record, *string.get());
  *out = record;
  return kOk;
}

}  // namespace

int32_t GetIEUserSettingProxy(const char16_t* url, runtime::WideStringObject** proxy) {
  return base::traced("GetIEUserSettingProxy", [&] {
    if (url == nullptr || proxy == nullptr) {
      return kInvalidArgument;
    }
    ProxySearch search(url);
    const int32_t result = search.run();
    if (failed(result) || !search.hasProxy()) {
      return result;
    }
    return handOut(search.proxy(), proxy);
  });
}

}  // namespace vexa::webclient
