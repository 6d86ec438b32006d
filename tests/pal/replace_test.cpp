#include "pal/replace.h"

#include <gtest/gtest.h>

// The WinHTTP facility of this program, whole: that no call reaches the real one proves that a test
// can put its own in the place of a facility.
namespace {
DWORD detectFlags = 0;
int sessionsOpened = 0;
}  // namespace

PAL_REPLACE(BOOL, WinHttpGetIEProxyConfigForCurrentUser,
            (WINHTTP_CURRENT_USER_IE_PROXY_CONFIG * config)) {
  config->fAutoDetect = TRUE;
  return TRUE;
}

PAL_REPLACE(BOOL, WinHttpDetectAutoProxyConfigUrl, (DWORD flags, LPWSTR*)) {
  detectFlags = flags;
  return TRUE;
}

PAL_REPLACE(HINTERNET, WinHttpOpen, (LPCWSTR, DWORD, LPCWSTR, LPCWSTR, DWORD)) {
  ++sessionsOpened;
  return &sessionsOpened;
}

PAL_REPLACE(BOOL, WinHttpGetProxyForUrl,
            (HINTERNET, LPCWSTR, WINHTTP_AUTOPROXY_OPTIONS*, WINHTTP_PROXY_INFO* info)) {
  info->dwAccessType = WINHTTP_ACCESS_TYPE_NAMED_PROXY;
  return TRUE;
}

PAL_REPLACE(BOOL, WinHttpCloseHandle, (HINTERNET handle)) { return handle == &sessionsOpened; }

TEST(Replace, EveryFunctionOfAFacilityIsTheTestsOwn) {
  WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
  ASSERT_TRUE(WinHttpGetIEProxyConfigForCurrentUser(&config));
  EXPECT_TRUE(config.fAutoDetect);

  LPWSTR url = nullptr;
  EXPECT_TRUE(WinHttpDetectAutoProxyConfigUrl(3, &url));
  EXPECT_EQ(detectFlags, 3u);

  HINTERNET session = WinHttpOpen(nullptr, 0, nullptr, nullptr, 0);
  EXPECT_EQ(sessionsOpened, 1);
  WINHTTP_PROXY_INFO info{};
  EXPECT_TRUE(WinHttpGetProxyForUrl(session, PAL_TEXT("http://a.example/"), nullptr, &info));
  EXPECT_EQ(info.dwAccessType, DWORD{WINHTTP_ACCESS_TYPE_NAMED_PROXY});
  EXPECT_TRUE(WinHttpCloseHandle(session));
}
