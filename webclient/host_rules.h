#pragma once

#include "base/string.h"

// Tests of a URL's host. The string component and SEC_URL_1 do the splitting and matching.
namespace vexa::webclient {

// Scheme (lower case) and host of a URL. kOutOfMemory, or another failure when it has none; both
// are empty then.
int32_t splitUrl(const char16_t* url, base::WideString& scheme, base::WideString& host);

// Neither "." nor ":" in it: a name of the local network. An empty host is not local.
bool isLocalHost(const base::WideString& host);

// 1: an entry of the ";"-separated list matches the whole host; the first match ends the search.
// 0: none does. Negative: out of memory.
int32_t matchesBypassList(const base::WideString& host, const char16_t* bypassList);

// Slots 3 and 4 of the network list; vexa/network.h has the contracts.
int32_t IsLocalHost(const char* url);
int32_t MatchesBypassList(const char* url, const char16_t* bypassList);

}  // namespace vexa::webclient
