#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>

#include "pal/posix/counters.h"
#include "pal/windows_api.h"

namespace {

constexpr const char* kVariables[] = {"http_proxy",  "HTTP_PROXY", "https_proxy",
                                      "HTTPS_PROXY", "no_proxy",   "NO_PROXY"};

struct SettingsCase {
  const char* name;
  const char* http;
  const char* https;
  const char* none;
  const char16_t* proxy;   // null: none
  const char16_t* bypass;  // null: none
};
constexpr SettingsCase kSettings[] = {
    {"NothingIsSet", nullptr, nullptr, nullptr, nullptr, nullptr},
    {"OneScheme", "p1:80", nullptr, nullptr, u"http=p1:80", nullptr},
    {"BothSchemes", "p1:80", "p2:443", nullptr, u"http=p1:80;https=p2:443", nullptr},
    {"UrlsAreReducedToTheirHost", "http://p1:80/", "https://user:pw@p2:443/x?y", nullptr,
     u"http=p1:80;https=p2:443", nullptr},
    {"AnAtInAPasswordIsNoHost", "http://u:p@w@p1:80", nullptr, nullptr, u"http=p1:80", nullptr},
    {"AQueryOrAFragmentEndsTheHost", "http://p1:80?x/y@z", "p2:443#x", nullptr,
     u"http=p1:80;https=p2:443", nullptr},
    {"AnAddressInBrackets", "http://[::1]:80", nullptr, nullptr, u"http=[::1]:80", nullptr},
    {"BlankMeansNotSet", "  ", "http:///", " , ", nullptr, nullptr},
    {"BlanksAroundAreLeftOut", " \t\r\np1:80 \t\r\n", "p2:443 ", " a:1 ,\tb:2\n",
     u"http=p1:80;https=p2:443", u"a:1;b:2"},
    {"HostsOfOtherLettersCountAsNotSet", "p\xC3\xA4:80", "p2:443", nullptr, u"https=p2:443",
     nullptr},
    {"TheLastOfTheLettersIsOne", "p\x7F:80", "p\x80:80", nullptr, u"http=p\x7F:80", nullptr},
    {"ALeadingDotBecomesAWildcard", nullptr, nullptr, ".a.example", nullptr, u"*.a.example"},
    {"AHostStandsForThoseBelowItToo", nullptr, nullptr, "a.example", nullptr,
     u"a.example;*.a.example"},
    {"HostsOfOneLetter", nullptr, nullptr, "a,z,A,Z,@1[", nullptr, u"a;*.a;z;*.z;A;*.A;Z;*.Z;@1["},
    {"AddressesAndWildcardsStay", nullptr, nullptr, "127.0.0.1, ::1,10.0.0.0/8,*", nullptr,
     u"127.0.0.1;::1;10.0.0.0/8;*"},
    {"TheLocalWordStays", nullptr, nullptr, "<local>,a:80", nullptr, u"<local>;a:80"},
};

std::string caseName(const testing::TestParamInfo<SettingsCase>& info) { return info.param.name; }

// Clears the variables, and puts them back at the end.
class Environment {
 protected:
  Environment() {
    for (std::size_t i = 0; i < std::size(kVariables); ++i) {
      const char* value = std::getenv(kVariables[i]);
      if (value != nullptr) {
        was_[i] = value;
      }
      unsetenv(kVariables[i]);
    }
  }
  ~Environment() {
    for (std::size_t i = 0; i < std::size(kVariables); ++i) {
      unsetenv(kVariables[i]);
      if (was_[i]) {
        setenv(kVariables[i], was_[i]->c_str(), 1);
      }
    }
  }

  static void set(const char* variable, const char* value) {
    if (value != nullptr) {
      setenv(variable, value, 1);
    }
  }

 private:
  std::optional<std::string> was_[std::size(kVariables)];
};

class ProxySettings : public testing::TestWithParam<SettingsCase>, public Environment {};
class ProxyVariable : public testing::Test, public Environment {};

// Expects and frees one text.
void expectText(LPWSTR text, const char16_t* expected) {
  if (expected == nullptr) {
    EXPECT_EQ(text, nullptr);
  } else {
    EXPECT_EQ(text == nullptr ? u"(null)" : std::u16string(text), expected);
  }
  GlobalFree(text);
}

void expectSettings(const char16_t* proxy, const char16_t* bypass) {
  WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
  ASSERT_TRUE(WinHttpGetIEProxyConfigForCurrentUser(&config));
  EXPECT_FALSE(config.fAutoDetect);
  EXPECT_EQ(config.lpszAutoConfigUrl, nullptr);
  expectText(config.lpszProxy, proxy);
  expectText(config.lpszProxyBypass, bypass);
}

}  // namespace

TEST_P(ProxySettings, ComeFromTheEnvironment) {
  set("http_proxy", GetParam().http);
  set("https_proxy", GetParam().https);
  set("no_proxy", GetParam().none);
  const std::size_t before = pal::posix::heapBlocks();
  expectSettings(GetParam().proxy, GetParam().bypass);
  EXPECT_EQ(pal::posix::heapBlocks(), before);
}
INSTANTIATE_TEST_SUITE_P(PosixWinHttp, ProxySettings, testing::ValuesIn(kSettings), caseName);

TEST_F(ProxyVariable, MayBeWrittenInCapitals) {
  set("HTTP_PROXY", "p1:80");
  set("HTTPS_PROXY", "p2:443");
  set("NO_PROXY", "*");
  expectSettings(u"http=p1:80;https=p2:443", u"*");
}

TEST_F(ProxyVariable, InSmallLettersGoesFirst) {
  set("http_proxy", "small:80");
  set("HTTP_PROXY", "capital:80");
  expectSettings(u"http=small:80", nullptr);
}

TEST(PosixWinHttp, SessionsAreCountedAndClosedOnce) {
  const std::size_t before = pal::posix::openSessions();
  HINTERNET session = WinHttpOpen(u"test", 0, nullptr, nullptr, 0);
  EXPECT_EQ(pal::posix::openSessions(), before + 1);
  EXPECT_TRUE(WinHttpCloseHandle(session));
  EXPECT_EQ(pal::posix::openSessions(), before);
  EXPECT_FALSE(WinHttpCloseHandle(session));
}

TEST(PosixWinHttp, AskingNeedsOptionsAndAPlaceAndEachSourceThatIsNamed) {
  HINTERNET session = WinHttpOpen(u"test", 0, nullptr, nullptr, 0);
  WINHTTP_AUTOPROXY_OPTIONS options{};
  options.dwFlags = WINHTTP_AUTOPROXY_CONFIG_URL;
  options.lpszAutoConfigUrl = u"http://conf/a.pac";
  WINHTTP_PROXY_INFO info{};
  const auto ask = [session](WINHTTP_AUTOPROXY_OPTIONS* asked, WINHTTP_PROXY_INFO* place) {
    SetLastError(0);
    EXPECT_FALSE(WinHttpGetProxyForUrl(session, u"http://a.example/", asked, place));
    return GetLastError();
  };
  EXPECT_EQ(ask(&options, &info), ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT);
  EXPECT_EQ(ask(nullptr, &info), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(ask(&options, nullptr), ERROR_INVALID_PARAMETER);
  options.dwFlags |= WINHTTP_AUTOPROXY_AUTO_DETECT;
  EXPECT_EQ(ask(&options, &info), ERROR_INVALID_PARAMETER) << "no way to detect";
  options.dwAutoDetectFlags = WINHTTP_AUTO_DETECT_TYPE_DHCP;
  EXPECT_EQ(ask(&options, &info), ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT);
  options.lpszAutoConfigUrl = nullptr;
  EXPECT_EQ(ask(&options, &info), ERROR_INVALID_PARAMETER) << "no script";
  EXPECT_TRUE(WinHttpCloseHandle(session));
}

TEST(PosixWinHttp, OnlySynchronousSessionsAreBuilt) {
  constexpr DWORD kAsynchronous = 0x10000000;
  SetLastError(0);
  EXPECT_EQ(WinHttpOpen(u"test", 0, nullptr, nullptr, kAsynchronous), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
}
