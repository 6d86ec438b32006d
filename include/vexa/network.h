#pragma once

#include "vexa/module.h"
#include "vexa/runtime/records.h"

namespace vexa {

inline constexpr char kNetworkListName[] = "vexa.misc.base.network.1";

// The list "vexa.misc.base.network.1": the proxy for a URL, by the user's Windows Internet
// settings, the tests of hosts that belong to it, and the path of a cookie. No slot keeps state;
// any thread may call any of them.
struct NetworkList {
  GetModuleInfoFunction GetModuleInfo;
  // A cookie with a path attribute as a client sends it back: "a=b; Path=/x; Secure" becomes
  // "a=b; $Path=/x" (RFC 2109). A cookie without ";" gives a text with nothing written into it.
  // 1: *out is a text that the caller releases with the root list's Free. 0: a null argument, or
  // no memory.
  int32_t (*ConvertCookiePath)(const char* cookie, char** out);
  // Which proxy leads to `url` (zero-terminated UTF-16): the detected or configured PAC script, or
  // the static settings with their bypass list. Blocks while a script is looked for or fetched.
  //   kOk              *proxy is a string that the caller drops with StringW.1's Destroy, or was
  //                    not touched: connect directly.
  //   kFail            no usable setting, or the bypass list of a static proxy names the host.
  //   kInvalidArgument a null argument.
  //   kOutOfMemory     *proxy was not touched.
  int32_t (*GetIEUserSettingProxy)(const char16_t* url, runtime::WideStringObject** proxy);
  // 1 when the host of `url` (UTF-8) contains neither "." nor ":"; 0 otherwise, also for null.
  int32_t (*IsLocalHost)(const char* url);
  // 1 when the host of `url` (UTF-8) matches one of the ";"-separated entries, in which "*" stands
  // for any run of characters; 0 otherwise, also for null.
  int32_t (*MatchesBypassList)(const char* url, const char16_t* bypassList);
};
template <>
struct ListTraits<NetworkList> {
  static constexpr const char* kName = kNetworkListName;
  static constexpr ListSlot kSlots[] = {
      VEXA_LIST_SLOT(NetworkList, GetModuleInfo, 0),
      VEXA_LIST_SLOT(NetworkList, ConvertCookiePath, 1),
      VEXA_LIST_SLOT(NetworkList, GetIEUserSettingProxy, 2),
      VEXA_LIST_SLOT(NetworkList, IsLocalHost, 3),
      VEXA_LIST_SLOT(NetworkList, MatchesBypassList, 4),
  };
};
static_assert(namesEverySlot<NetworkList>());

}  // namespace vexa
