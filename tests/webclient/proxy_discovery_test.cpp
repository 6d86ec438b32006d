#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <map>

#include "proxy_fixture.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

const std::u16string kPac = u"http://conf/a.pac";
const std::u16string kFound = u"http://wpad/wpad.dat";
const std::u16string kSite = u"http://a.example/x";

const std::string kStatic = "4 static proxy settings detected.";
const std::string kLocal = "4 ignore local addresses enabled and detected. bypass static proxy";
const std::string kNoneListed =
    "4 no static proxy found for http/https, ignore static proxy settings";
const std::string kDirect = "4 No proxy for the target host was found, using Direct Connect.";
const std::string kNotDetected =
    "1 (WinHttp Error: 12180) Error detecting (WPAP) automatic configuration script URL.";
const std::string kDetected =
    "4 Detecting (Auto detection) automatic configuration script URL: http://wpad/wpad.dat";

std::string use(const std::string& proxy) { return "4 Use static proxy: " + proxy; }
std::string access(int type) { return "4 Access type " + std::to_string(type) + " detected."; }
std::string tries(const std::u16string& script) {
  return "4 Try proxy Auto config URL " + narrow(script);
}
std::string succeeds(const std::u16string& script) {
  return "4 PAC script URL " + narrow(script) + " succeeded.";
}
std::string fails(const std::u16string& script, int error = 12167) {
  return "1 (WinHttp Error: " + std::to_string(error) +
         ") Error getting proxy via PAC script URL " + narrow(script);
}

ProxyWorld staticWorld(OptionalText proxy, OptionalText bypass = {}) {
  ProxyWorld world;
  world.proxy = std::move(proxy);
  world.bypass = std::move(bypass);
  return world;
}
ProxyWorld scriptWorld(ScriptAnswer answer) {
  ProxyWorld world;
  world.autoConfigUrl = kPac;
  world.scripts[kPac] = std::move(answer);
  return world;
}
// Detection finds one script, the settings name another.
ProxyWorld twoScripts(ScriptAnswer found, ScriptAnswer configured) {
  ProxyWorld world = scriptWorld(std::move(configured));
  world.autoDetect = true;
  world.detectedUrl = kFound;
  world.scripts[kFound] = std::move(found);
  return world;
}
ProxyWorld detecting(ProxyWorld world) {
  world.autoDetect = true;
  return world;
}

const ScriptAnswer kFailing = {.error = 12166};
const ScriptAnswer kNoProxyAnswer = {.accessType = WINHTTP_ACCESS_TYPE_NO_PROXY};
ScriptAnswer named(std::u16string proxies, OptionalText bypass = {}) {
  return {.proxies = std::move(proxies), .bypass = std::move(bypass)};
}

ProxyWorld emptyDetectedUrl() {
  ProxyWorld world = detecting(staticWorld(u"p:80"));
  world.detectedUrl = u"";
  return world;
}
ProxyWorld withoutSession() {
  ProxyWorld world = twoScripts(named(u"q:1"), named(u"r:2"));
  world.sessionFails = true;
  world.proxy = u"p:80";
  return world;
}

struct RouteCase {
  const char* name;
  ProxyWorld world;
  std::u16string url;
  int32_t result;
  OptionalText proxy;
};
void PrintTo(const RouteCase& route, std::ostream* out) { *out << route.name; }

class ProxyRoute : public ProxyTest, public testing::WithParamInterface<RouteCase> {};

TEST_P(ProxyRoute, LeadsToTheProxyOrNone) {
  const RouteCase& route = GetParam();
  const Decision decision = ask(route.world, route.url);
  EXPECT_EQ(decision.result, route.result);
  EXPECT_EQ(decision.proxy, route.proxy);
}

// An allocation that fails is told, or changes nothing but the trace; never the decision.
TEST_P(ProxyRoute, IsTakenOrOutOfMemory) {
  const RouteCase& route = GetParam();
  sweepAllocations(
      spy,
      [&] {
        const Decision decision = ask(route.world, route.url);
        if (decision.result == kOutOfMemory) {
          EXPECT_EQ(decision.proxy, std::nullopt);
          return false;
        }
        EXPECT_EQ(decision.result, route.result);
        EXPECT_EQ(decision.proxy, route.proxy);
        return true;
      },
      Shortage::kMayDoWithout);
}

const RouteCase kNothingSet[] = {
    {"NothingIsSet", {}, kSite, kFail, {}},
    {"AnEmptyProxyIsNone", staticWorld(u""), kSite, kFail, {}},
    {"OnlyABypassList", staticWorld({}, u"*"), kSite, kFail, {}},
    {"NothingIsDetected", detecting({}), kSite, kFail, {}},
};

const RouteCase kStaticRoutes[] = {
    {"OneProxy", staticWorld(u"p:8080"), kSite, kOk, u"p:8080"},
    {"OneProxyForEveryScheme", staticWorld(u"p:8080"), u"ftp://a.example/", kOk, u"p:8080"},
    {"WithoutSchemesTheTextIsNotCut", staticWorld(u"p:80;q:81"), kSite, kOk, u"p:80;q:81"},
    {"TheEntryOfTheScheme", staticWorld(u"http=p1:80;https=p2:443"), u"https://a.example/", kOk,
     u"p2:443"},
    {"TheFirstEntry", staticWorld(u"http=p1:80;https=p2:443"), kSite, kOk, u"p1:80"},
    {"AnUnlistedSchemeTakesHttp", staticWorld(u"http=p1:80;https=p2:443"), u"ftp://a.example/", kOk,
     u"p1:80"},
    {"AListedScheme", staticWorld(u"http=p1:80;ftp=p3:21"), u"ftp://a.example/", kOk, u"p3:21"},
    {"TheSchemeInCapitals", staticWorld(u"http=p1:80;https=p2:443"), u"HTTPS://a.example/", kOk,
     u"p2:443"},
    {"AnEntryWithoutProxy", staticWorld(u"http=;https=p2:443"), kSite, kOk, u""},
    {"NeitherTheSchemeNorHttp", staticWorld(u"https=p2:443"), u"ftp://a.example/", kFail, {}},
    {"HttpIsNotInHttps", staticWorld(u"https=p2:443"), kSite, kFail, {}},
    {"AUrlThatCannotBeSplitTakesHttp", staticWorld(u"http=p1:80;https=p2:443"), u"no url", kOk,
     u"p1:80"},
    {"AnEmptyUrlTakesTheProxy", staticWorld(u"p:80"), u"", kOk, u"p:80"},
    {"AfterAFailedDetection", detecting(staticWorld(u"p:80")), kSite, kOk, u"p:80"},
};

const RouteCase kBypassRoutes[] = {
    {"ALocalHost", staticWorld(u"p:80", u"<local>"), u"http://intranet/", kOk, {}},
    {"ALocalHostWithAPort",
     staticWorld(u"p:80", u"x;<local>;y"),
     u"http://intranet:8080/a.b",
     kOk,
     {}},
    {"AHostWithADotIsNotLocal", staticWorld(u"p:80", u"<local>"), kSite, kOk, u"p:80"},
    {"AnIpv6AddressIsNotLocal", staticWorld(u"p:80", u"<local>"), u"http://[::1]/", kOk, u"p:80"},
    {"ALocalHostThatIsNotExempt", staticWorld(u"p:80", u"other"), u"http://intranet/", kOk,
     u"p:80"},
    {"LocalComesBeforeTheList",
     staticWorld(u"p:80", u"intranet;<local>"),
     u"http://intranet/",
     kOk,
     {}},
    {"AListedLocalHost", staticWorld(u"p:80", u"intranet"), u"http://intranet/", kFail, {}},
    {"AListedHost", staticWorld(u"p:80", u"a.example"), kSite, kFail, {}},
    {"AListedPattern", staticWorld(u"p:80", u"x;*.EXAMPLE"), kSite, kFail, {}},
    {"AListedHostWithSchemes", staticWorld(u"http=p:80", u"a.*"), kSite, kFail, {}},
    {"APartOfTheHostIsNoMatch", staticWorld(u"p:80", u"example;a"), kSite, kOk, u"p:80"},
    {"EntriesAreNotTrimmed", staticWorld(u"p:80", u"x; a.example"), kSite, kOk, u"p:80"},
    {"AUrlThatCannotBeSplitIsNotLocal", staticWorld(u"p:80", u"<local>"), u"intranet", kOk,
     u"p:80"},
    {"AUrlThatCannotBeSplitMatchesNothing", staticWorld(u"p:80", u"*;;"), u"a.example", kOk,
     u"p:80"},
};

const RouteCase kScriptRoutes[] = {
    {"TheScriptNamesAProxy", scriptWorld(named(u"q:1")), kSite, kOk, u"q:1"},
    {"OfSeveralTheFirst", scriptWorld(named(u"q:1;r:2;s:3")), kSite, kOk, u"q:1"},
    {"ADefaultAccessTypeWithProxies",
     scriptWorld({.accessType = WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, .proxies = u"q:1"}), kSite, kOk,
     u"q:1"},
    {"TheScriptSaysDirect", scriptWorld(kNoProxyAnswer), kSite, kOk, {}},
    {"NoProxyWinsOverAList",
     scriptWorld({.accessType = WINHTTP_ACCESS_TYPE_NO_PROXY, .proxies = u"q:1"}),
     kSite,
     kOk,
     {}},
    {"TheScriptNamesNothing", scriptWorld({}), kSite, kOk, {}},
    {"TheScriptNamesAnEmptyList", scriptWorld(named(u"")), kSite, kOk, {}},
    {"TheScriptExemptsTheHost", scriptWorld(named(u"q:1", u"x;*.example")), kSite, kOk, {}},
    {"TheScriptExemptsOthers", scriptWorld(named(u"q:1", u"b.example;a")), kSite, kOk, u"q:1"},
    {"LocalIsNoWordForAScript", scriptWorld(named(u"q:1", u"<local>")), u"http://intranet/", kOk,
     u"q:1"},
    {"AScriptExemptsNoUrlThatCannotBeSplit", scriptWorld(named(u"q:1", u"*")), u"a.example", kOk,
     u"q:1"},
    {"TheScriptFails", scriptWorld(kFailing), kSite, kFail, {}},
    {"ADetectedScript",
     [] {
       ProxyWorld world = detecting({});
       world.detectedUrl = kFound;
       world.scripts[kFound] = named(u"q:1");
       return world;
     }(),
     kSite, kOk, u"q:1"},
    {"TheDetectedScriptComesFirst", twoScripts(named(u"q:1"), named(u"r:2")), kSite, kOk, u"q:1"},
    {"TheDetectedScriptSaysDirect", twoScripts(kNoProxyAnswer, named(u"r:2")), kSite, kOk, {}},
    {"TheDetectedScriptFails", twoScripts(kFailing, named(u"r:2")), kSite, kOk, u"r:2"},
    {"BothScriptsFail", twoScripts(kFailing, {.error = 12167}), kSite, kFail, {}},
    {"AfterAFailedDetectionTheConfiguredScript", detecting(scriptWorld(named(u"q:1"))), kSite, kOk,
     u"q:1"},
    {"AnEmptyDetectedUrlIsNone", emptyDetectedUrl(), kSite, kOk, u"p:80"},
    {"AScriptLeavesTheStaticProxyUnused",
     [] {
       ProxyWorld world = scriptWorld(kFailing);
       world.proxy = u"p:80";
       world.bypass = u"*.example";
       return world;
     }(),
     kSite,
     kFail,
     {}},
    {"DetectionIsOff",
     [] {
       ProxyWorld world = twoScripts(named(u"q:1"), named(u"r:2"));
       world.autoDetect = false;
       return world;
     }(),
     kSite, kOk, u"r:2"},
    {"NoSession", withoutSession(), kSite, kFail, {}},
};

const auto kCaseName = [](const auto& tested) { return std::string(tested.param.name); };
INSTANTIATE_TEST_SUITE_P(None, ProxyRoute, testing::ValuesIn(kNothingSet), kCaseName);
INSTANTIATE_TEST_SUITE_P(Static, ProxyRoute, testing::ValuesIn(kStaticRoutes), kCaseName);
INSTANTIATE_TEST_SUITE_P(Bypass, ProxyRoute, testing::ValuesIn(kBypassRoutes), kCaseName);
INSTANTIATE_TEST_SUITE_P(Script, ProxyRoute, testing::ValuesIn(kScriptRoutes), kCaseName);

// --- What is told, and what is asked, on the way ---

const std::vector<std::string> kAskedPac = {"open", "ask http://conf/a.pac", "close"};
const std::vector<std::string> kAskedFound = {"detect", "open", "ask http://wpad/wpad.dat",
                                              "close"};
const std::vector<std::string> kAskedBoth = {"detect", "open", "ask http://wpad/wpad.dat",
                                             "ask http://conf/a.pac", "close"};

struct LoggedCase {
  const char* name;
  ProxyWorld world;
  std::u16string url;
  std::vector<std::string> messages;  // after those of the settings
  std::vector<std::string> calls;     // after "settings"
};
void PrintTo(const LoggedCase& route, std::ostream* out) { *out << route.name; }

class ProxyLog : public ProxyTest, public testing::WithParamInterface<LoggedCase> {
 protected:
  static std::string shown(const OptionalText& text) { return text ? narrow(*text) : "(null)"; }

  static std::vector<std::string> expectedLog() {
    const LoggedCase& route = GetParam();
    std::vector<std::string> lines = {
        "4 Try to get User IE Settings Proxy for the URL: " + narrow(route.url),
        std::string("4 IE User Settings [AutoDetect]: ") + (route.world.autoDetect ? "1" : "0"),
        "4 IE User Settings [AutoConfigUrl]: " + shown(route.world.autoConfigUrl),
        "4 IE User Settings [Proxy]: " + shown(route.world.proxy),
        "4 IE User Settings [ProxyBypass]: " + shown(route.world.bypass),
    };
    lines.insert(lines.end(), route.messages.begin(), route.messages.end());
    return lines;
  }
};

TEST_P(ProxyLog, TellsEveryStep) {
  const LoggedCase& route = GetParam();
  ask(route.world, route.url);
  EXPECT_EQ(log(), expectedLog());
  std::vector<std::string> calls = {"settings"};
  calls.insert(calls.end(), route.calls.begin(), route.calls.end());
  EXPECT_EQ(winHttp().calls, calls);
}

const LoggedCase kLogged[] = {
    {"NothingIsSet", {}, kSite, {access(0), kDirect}, {}},
    {"NothingIsDetected", detecting({}), kSite, {kNotDetected, access(0), kDirect}, {"detect"}},
    {"AnEmptyDetectedUrlIsNone",
     emptyDetectedUrl(),
     kSite,
     {"4 Detecting (Auto detection) automatic configuration script URL: ", kStatic, use("p:80")},
     {"detect"}},
    {"OneProxy", staticWorld(u"p:8080"), kSite, {kStatic, use("p:8080")}, {}},
    {"NeitherTheSchemeNorHttp",
     staticWorld(u"https=p2:443"),
     u"ftp://a.example/",
     {kStatic, kNoneListed},
     {}},
    {"ALocalHost", staticWorld(u"p:80", u"<local>"), u"http://intranet/", {kStatic, kLocal}, {}},
    {"AListedHost", staticWorld(u"p:80", u"a.example"), kSite, {kStatic}, {}},
    {"OfSeveralTheFirst",
     scriptWorld(named(u"q:1;r:2;s:3")),
     kSite,
     {tries(kPac), succeeds(kPac), access(3), "4 Proxies q:1;r:2;s:3 detected.",
      "4 Proxy q:1 will be used."},
     kAskedPac},
    {"NoProxyWinsOverAList",
     scriptWorld({.accessType = WINHTTP_ACCESS_TYPE_NO_PROXY, .proxies = u"q:1"}),
     kSite,
     {tries(kPac), succeeds(kPac), access(1), "4 Proxies q:1 detected.", kDirect},
     kAskedPac},
    {"TheScriptExemptsTheHost",
     scriptWorld(named(u"q:1", u"x;*.example")),
     kSite,
     {tries(kPac), succeeds(kPac), access(3), "4 Proxies q:1 detected."},
     kAskedPac},
    {"TheDetectedScriptComesFirst",
     twoScripts(named(u"q:1"), named(u"r:2")),
     kSite,
     {kDetected, tries(kFound), succeeds(kFound), access(3), "4 Proxies q:1 detected.",
      "4 Proxy q:1 will be used."},
     kAskedFound},
    {"TheDetectedScriptFails",
     twoScripts(kFailing, named(u"r:2")),
     kSite,
     {kDetected, tries(kFound), fails(kFound, 12166), tries(kPac), succeeds(kPac), access(3),
      "4 Proxies r:2 detected.", "4 Proxy r:2 will be used."},
     kAskedBoth},
    {"BothScriptsFail",
     twoScripts(kFailing, {.error = 12167}),
     kSite,
     {kDetected, tries(kFound), fails(kFound, 12166), tries(kPac), fails(kPac), access(0), kDirect},
     kAskedBoth},
    {"AfterAFailedDetectionTheConfiguredScript",
     detecting(scriptWorld(named(u"q:1"))),
     kSite,
     {kNotDetected, tries(kPac), succeeds(kPac), access(3), "4 Proxies q:1 detected.",
      "4 Proxy q:1 will be used."},
     {"detect", "open", "ask http://conf/a.pac", "close"}},
    {"NoSession", withoutSession(), kSite, {kDetected, access(0), kDirect}, {"detect", "open"}},
};
INSTANTIATE_TEST_SUITE_P(All, ProxyLog, testing::ValuesIn(kLogged), kCaseName);

TEST_F(ProxyTest, SettingsThatCannotBeReadAreAWarning) {
  ProxyWorld world = staticWorld(u"p:80");
  world.settingsFail = true;
  const Decision decision = ask(world, kSite);
  EXPECT_EQ(decision.result, kFail);
  EXPECT_EQ(decision.proxy, std::nullopt);
  EXPECT_EQ(log(), (std::vector<std::string>{
                       "4 Try to get User IE Settings Proxy for the URL: http://a.example/x",
                       "2 Getting IE User Proxy Settings fails."}));
  EXPECT_EQ(winHttp().calls, std::vector<std::string>{"settings"});
}

TEST_F(ProxyTest, NullArgumentsAreRefusedBeforeAnythingIsAsked) {
  const auto get =
      tableEntry<int32_t(const char16_t*, runtime::WideStringObject**)>(networkList(), 2);
  runtime::WideStringObject untouched{};
  runtime::WideStringObject* proxy = &untouched;
  EXPECT_EQ(get(nullptr, &proxy), kInvalidArgument);
  EXPECT_EQ(proxy, &untouched);
  EXPECT_EQ(get(u"http://a.example/", nullptr), kInvalidArgument);
  EXPECT_TRUE(winHttp().calls.empty());
  EXPECT_TRUE(log().empty());
}

TEST_F(ProxyTest, TheWholeIsOneTraceScope) {
  ask(staticWorld(u"p:80"), kSite);
  const auto lines = spy.traceTexts();
  EXPECT_EQ(lines.front(), "{ GetIEUserSettingProxy");
  EXPECT_EQ(lines.back(), "}        0");
  ask(ProxyWorld{}, kSite);
  EXPECT_EQ(spy.traceTexts().back(), "} 80004005");
}

TEST_F(ProxyTest, WinHttpIsAskedAsItShould) {
  ask(twoScripts(kFailing, named(u"r:2")), kSite);
  EXPECT_EQ(winHttp().detections, std::vector<DWORD>{3});  // DHCP and DNS
  ASSERT_EQ(winHttp().opened.size(), 1u);
  EXPECT_EQ(winHttp().opened[0].agent, u"Orlind Client");
  EXPECT_EQ(winHttp().opened[0].accessType, DWORD{WINHTTP_ACCESS_TYPE_DEFAULT_PROXY});
  EXPECT_FALSE(winHttp().opened[0].hasProxyOrBypass);
  EXPECT_EQ(winHttp().opened[0].flags, 0u);
  ASSERT_EQ(winHttp().asked.size(), 2u);
  for (const auto& made : winHttp().asked) {
    EXPECT_EQ(made.url, kSite);
    EXPECT_EQ(made.options.dwFlags, DWORD{WINHTTP_AUTOPROXY_CONFIG_URL});
    EXPECT_EQ(made.options.dwAutoDetectFlags, 0u);
    EXPECT_EQ(made.options.lpvReserved, nullptr);
    EXPECT_EQ(made.options.dwReserved, 0u);
    EXPECT_EQ(made.options.fAutoLogonIfChallenged, TRUE);
  }
}

TEST_F(ProxyTest, EveryTextOfWinHttpIsFreed) {
  ProxyWorld world = twoScripts(named(u"q:1;r:2", u"b;c"), named(u"r:2"));
  world.proxy = u"p:80";
  world.bypass = u"<local>";
  EXPECT_EQ(ask(world, kSite).result, kOk);
  EXPECT_EQ(winHttp().textsHandedOut(), 6);  // ask has seen that none is left
}

// How many texts of WinHTTP's there are when a message is written, by the message's first word.
std::map<std::string, int> textsAtMessage;
void countTexts(uint32_t, const char*, uint64_t, const char* format, ...) {
  char text[256] = {};
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  const std::string message(text);
  textsAtMessage[message.substr(0, message.find(' '))] = FakeWinHttp::instance().liveTexts();
}

TEST_F(ProxyTest, TheSettingsAreFreedBeforeTheAnswerIsTold) {
  textsAtMessage.clear();
  spy.notify.Message = countTexts;
  ProxyWorld world = twoScripts(named(u"q:1"), named(u"r:2"));
  world.proxy = u"p:80";
  world.bypass = u"<local>";
  EXPECT_EQ(ask(world, kSite).proxy, u"q:1");
  EXPECT_EQ(textsAtMessage["PAC"], 5) << "two scripts, two settings and the answer";
  EXPECT_EQ(textsAtMessage["Access"], 1) << "the answer alone";
}

TEST_F(ProxyTest, TheListsOwnDescription) {
  const auto getInfo =
      tableEntry<int32_t(const char**, const char**, const char**)>(networkList(), 0);
  const char* name = nullptr;
  EXPECT_EQ(getInfo(&name, nullptr, nullptr), kOk);
  EXPECT_STREQ(name, "vexa.misc.base.network.1");
}

}  // namespace
}  // namespace vexa::test
