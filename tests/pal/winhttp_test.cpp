#include <gtest/gtest.h>

#include "pal/windows_api.h"

namespace {

class ProxyForUrl : public testing::Test {
 protected:
  void SetUp() override {
    session_ = WinHttpOpen(PAL_TEXT("test"), WINHTTP_ACCESS_TYPE_DEFAULT_PROXY,
                           WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
    ASSERT_NE(session_, nullptr);
  }
  void TearDown() override { EXPECT_TRUE(WinHttpCloseHandle(session_)); }

  // The error of asking for a URL's proxy, which fails in all these tests.
  DWORD ask(HINTERNET session, WINHTTP_AUTOPROXY_OPTIONS options,
            LPCWSTR url = PAL_TEXT("http://a.example/")) {
    WINHTTP_PROXY_INFO info{};
    SetLastError(0);
    EXPECT_FALSE(WinHttpGetProxyForUrl(session, url, &options, &info));
    EXPECT_EQ(info.lpszProxy, nullptr);
    return GetLastError();
  }

  static WINHTTP_AUTOPROXY_OPTIONS script(LPCWSTR url) {
    WINHTTP_AUTOPROXY_OPTIONS options{};
    options.dwFlags = WINHTTP_AUTOPROXY_CONFIG_URL;
    options.lpszAutoConfigUrl = url;
    return options;
  }

  HINTERNET session_ = nullptr;
};

}  // namespace

TEST(WinHttp, SettingsNeedAPlace) {
  SetLastError(0);
  EXPECT_FALSE(WinHttpGetIEProxyConfigForCurrentUser(nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(WinHttp, DetectionFindsNothingHere) {
  WCHAR before[] = {0};
  LPWSTR url = before;
  SetLastError(0);
  EXPECT_FALSE(WinHttpDetectAutoProxyConfigUrl(
      WINHTTP_AUTO_DETECT_TYPE_DHCP | WINHTTP_AUTO_DETECT_TYPE_DNS_A, &url));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_WINHTTP_AUTODETECTION_FAILED});
  EXPECT_EQ(url, nullptr);
}

TEST(WinHttp, DetectionNeedsAWayAndAPlace) {
  LPWSTR url = nullptr;
  SetLastError(0);
  EXPECT_FALSE(WinHttpDetectAutoProxyConfigUrl(0, &url));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  SetLastError(0);
  EXPECT_FALSE(WinHttpDetectAutoProxyConfigUrl(WINHTTP_AUTO_DETECT_TYPE_DNS_A, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(WinHttp, ClosingWhatIsNotOpenFails) {
  SetLastError(0);
  EXPECT_FALSE(WinHttpCloseHandle(nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(ProxyForUrl, NeedsASession) {
  EXPECT_EQ(ask(nullptr, script(PAL_TEXT("http://127.0.0.1:1/p"))), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(ProxyForUrl, NeedsAUrl) {
  EXPECT_EQ(ask(session_, script(PAL_TEXT("http://127.0.0.1:1/p")), nullptr),
            DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(ProxyForUrl, NeedsASource) {
  EXPECT_EQ(ask(session_, {}), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(ask(session_, script(nullptr)), DWORD{ERROR_INVALID_PARAMETER});
  WINHTTP_AUTOPROXY_OPTIONS detect{};
  detect.dwFlags = WINHTTP_AUTOPROXY_AUTO_DETECT;
  EXPECT_EQ(ask(session_, detect), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(ProxyForUrl, AScriptThatCannotBeHadFails) {
  EXPECT_EQ(ask(session_, script(PAL_TEXT("http://127.0.0.1:1/p"))),
            DWORD{ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT});
}

TEST_F(ProxyForUrl, DetectionThatFindsNothingFails) {
  WINHTTP_AUTOPROXY_OPTIONS detect{};
  detect.dwFlags = WINHTTP_AUTOPROXY_AUTO_DETECT;
  detect.dwAutoDetectFlags = WINHTTP_AUTO_DETECT_TYPE_DNS_A;
  EXPECT_EQ(ask(session_, detect), DWORD{ERROR_WINHTTP_AUTODETECTION_FAILED});
}
