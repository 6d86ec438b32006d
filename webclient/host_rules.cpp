#include "webclient/host_rules.h"

#include <algorithm>
#include <string_view>

#include "base/heap.h"
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

// One copy of the list is cut into its entries where they stand.
int32_t matchesBypassList(const base::WideString& host, const char16_t* bypassList) {
  const std::u16string_view list(bypassList);
  const auto copy = base::RootBlock<char16_t>::ofBytes((list.size() + 1) * sizeof(char16_t));
  if (!copy) {
    return kOutOfMemory;
  }
  std::copy(list.begin(), list.end(), copy.get());
  for (size_t at = 0; at < list.size();) {
    const size_t end = std::min(list.find(u';', at), list.size());
    copy[end] = u'\0';
    if (host.wildcardMatch(copy.get() + at)) {
      return 1;
    }
    at = end + 1;
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
