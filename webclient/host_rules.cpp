#include "webclient/host_rules.h"

#include "vexa/results.h"

namespace vexa::webclient {
namespace {

bool splitUtf8Url(const char* url, base::WideString& host) {
  base::WideString wideUrl;
  base::WideString scheme;
  return succeeded(wideUrl.fromUtf8(url)) && succeeded(splitUrl(wideUrl.text(), scheme, host));
}

}  // namespace

int32_t splitUrl(const char16_t* url, base::WideString& scheme, base::WideString& host) {
  return base::bound.url->Split(url, scheme.get(), host.get());
}

bool isLocalHost(const base::WideString& host) {
  return !host.empty() && host.find(u".") == runtime::kNotFound &&
         host.find(u":") == runtime::kNotFound;
}

int32_t matchesBypassList(const base::WideString& host, const char16_t* bypassList) {
  base::WideString rest;
  if (const int32_t result = rest.assign(bypassList); failed(result)) {
    return kOutOfMemory;
  }
  while (!rest.empty()) {
    base::WideString entry;
    if (failed(rest.splitFirst(u";", entry, rest))) {
      return kOutOfMemory;
    }
    if (host.wildcardMatch(entry.text())) {
      return 1;
    }
  }
  return 0;
}

int32_t IsLocalHost(const char* url) {
  base::WideString host;
  return url != nullptr && splitUtf8Url(url, host) && isLocalHost(host) ? 1 : 0;
}

int32_t MatchesBypassList(const char* url, const char16_t* bypassList) {
  base::WideString host;
  if (url == nullptr || bypassList == nullptr || !splitUtf8Url(url, host)) {
    return 0;
  }
  return matchesBypassList(host, bypassList) == 1 ? 1 : 0;
}

}  // namespace vexa::webclient
