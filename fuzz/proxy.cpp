#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "harness.h"
#include "webclient/fake_winhttp.h"
#include "webclient/network_list.h"

// The proxy for a URL under Internet settings that are made up, against a model of the same rules
// over strings by value. The first byte says what works and what fails; the lines behind it are
//   the URL, the static proxy, its bypass list, the script's URL, what the script answers, and the
//   script's bypass list. A line that does not come is a setting that is not there.
// Asked twice: once undisturbed, once with one allocation that fails; then the answer may be that
// memory is short, but never another decision.
namespace vexa::fuzz {
namespace {

using test::FakeWinHttp;
using test::OptionalText;
using Text = std::u16string;

constexpr size_t kNone = Text::npos;
constexpr char16_t kWpad[] = u"http://wpad/wpad.dat";

enum Flags : uint8_t {
  kDetect = 1,
  kDetectionFails = 2,
  kSettingsFail = 4,
  kSessionFails = 8,
  kDetectedScriptFails = 16,
  kScriptFails = 32,
  kScriptSaysDirect = 64,
};

struct Case {
  uint8_t flags = 0;
  Text url;
  OptionalText proxy;
  OptionalText bypass;
  OptionalText script;
  OptionalText answer;
  OptionalText answerBypass;

  bool has(Flags flag) const { return (flags & flag) != 0; }
};

// Bytes stand for themselves: settings are wide texts, and only ASCII has a meaning in them.
Text widened(std::string_view text) {
  Text wide;
  for (const char c : text.substr(0, text.find('\0'))) {
    wide += static_cast<uint8_t>(c);
  }
  return wide;
}

Case caseOf(std::string_view input) {
  Case read;
  read.flags = static_cast<uint8_t>(input[0]);
  input.remove_prefix(1);
  std::vector<OptionalText> lines(6);
  for (OptionalText& line : lines) {
    if (input.empty()) {
      break;
    }
    const size_t length = std::min(input.find('\n'), input.size());
    line = widened(input.substr(0, length));
    input.remove_prefix(std::min(length + 1, input.size()));
  }
  read.url = lines[0].value_or(u"");
  read.proxy = lines[1];
  read.bypass = lines[2];
  read.script = lines[3];
  read.answer = lines[4];
  read.answerBypass = lines[5];
  return read;
}

test::ProxyWorld worldOf(const Case& tested) {
  test::ProxyWorld world;
  world.autoDetect = tested.has(kDetect);
  world.settingsFail = tested.has(kSettingsFail);
  world.sessionFails = tested.has(kSessionFails);
  world.proxy = tested.proxy;
  world.bypass = tested.bypass;
  world.autoConfigUrl = tested.script;
  if (!tested.has(kDetectionFails)) {
    world.detectedUrl = kWpad;
  }
  test::ScriptAnswer answer;
  answer.accessType = tested.has(kScriptSaysDirect) ? WINHTTP_ACCESS_TYPE_NO_PROXY
                                                    : WINHTTP_ACCESS_TYPE_NAMED_PROXY;
  answer.proxies = tested.answer;
  answer.bypass = tested.answerBypass;
  if (tested.script && !tested.has(kScriptFails)) {
    world.scripts[*tested.script] = answer;
  }
  if (tested.has(kDetectedScriptFails)) {
    world.scripts.erase(kWpad);
  } else {
    world.scripts[kWpad] = answer;
  }
  return world;
}

// --- The model ---

Text lowered(Text text) {
  for (char16_t& c : text) {
    c = c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
  }
  return text;
}

struct Parts {
  Text scheme;
  Text host;  // empty: the URL has none
};

Parts split(const Text& url) {
  const size_t mark = url.find(u"://");
  if (mark == kNone) {
    return {};
  }
  Text host = url.substr(mark + 3);
  host = host.substr(0, host.find_first_of(u"/?#"));
  const size_t user = host.rfind(u'@');
  host = user == kNone ? host : host.substr(user + 1);
  if (!host.empty() && host[0] == u'[') {
    const size_t bracket = host.find(u']');
    host = bracket == kNone ? Text() : host.substr(0, bracket + 1);
  } else {
    host = host.substr(0, host.rfind(u':'));
  }
  return host.empty() ? Parts{} : Parts{lowered(url.substr(0, mark)), host};
}

bool isLocal(const Text& host) { return !host.empty() && host.find_first_of(u".:") == kNone; }

// Which ends of the host can be left when the pattern's characters have been used one by one.
bool covers(const Text& pattern, const Text& host) {
  std::vector<bool> reached(host.size() + 1);
  reached[0] = true;
  for (const char16_t c : pattern) {
    std::vector<bool> next(host.size() + 1);
    for (size_t i = 0; i <= host.size(); ++i) {
      if (c == u'*') {
        next[i] = reached[i] || (i > 0 && next[i - 1]);
      } else {
        next[i] = i > 0 && reached[i - 1] && (c == u'?' || c == host[i - 1]);
      }
    }
    reached = next;
  }
  return reached[host.size()];
}

bool isListed(const Text& host, const OptionalText& list) {
  if (host.empty() || !list) {
    return false;
  }
  for (size_t at = 0; at < list->size();) {
    const size_t end = std::min(list->find(u';', at), list->size());
    if (covers(lowered(list->substr(at, end - at)), lowered(host))) {
      return true;
    }
    at = end + 1;
  }
  return false;
}

Text upToSemicolon(const Text& text) { return text.substr(0, text.find(u';')); }

struct Decision {
  int32_t result = kFail;
  OptionalText proxy;

  friend bool operator==(const Decision&, const Decision&) = default;
};

Decision byScript(const Case& tested, const Text& host, bool isDetected) {
  const test::ProxyWorld world = worldOf(tested);
  const Text script = tested.script.value_or(u"");  // an empty one is not asked
  const bool works = (isDetected && world.scripts.count(kWpad) != 0) ||
                     (!script.empty() && world.scripts.count(script) != 0);
  if (tested.has(kSessionFails) || !works) {
    return {kFail, {}};
  }
  if (tested.has(kScriptSaysDirect) || tested.answer.value_or(u"").empty() ||
      isListed(host, tested.answerBypass)) {
    return {kOk, {}};
  }
  return {kOk, upToSemicolon(*tested.answer)};
}

Decision byStaticProxy(const Case& tested, const Parts& url) {
  if (tested.bypass.value_or(u"").find(u"<local>") != kNone && isLocal(url.host)) {
    return {kOk, {}};
  }
  if (isListed(url.host, tested.bypass)) {
    return {kFail, {}};
  }
  if (tested.proxy->find(u'=') == kNone) {
    return {kOk, *tested.proxy};
  }
  for (const Text& key : {url.host.empty() ? Text() : url.scheme + u"=", Text(u"http=")}) {
    const size_t found = key.empty() ? kNone : tested.proxy->find(key);
    if (found != kNone) {
      return {kOk, upToSemicolon(tested.proxy->substr(found + key.size()))};
    }
  }
  return {kFail, {}};
}

Decision decide(const Case& tested) {
  if (tested.has(kSettingsFail)) {
    return {kFail, {}};
  }
  const Parts url = split(tested.url);
  const bool isDetected = tested.has(kDetect) && !tested.has(kDetectionFails);
  if (isDetected || !tested.script.value_or(u"").empty()) {
    return byScript(tested, url.host, isDetected);
  }
  if (!tested.proxy.value_or(u"").empty()) {
    return byStaticProxy(tested, url);
  }
  return {kFail, {}};
}

// --- The module ---

Decision ask(const Case& tested) {
  FakeWinHttp& winHttp = FakeWinHttp::instance();
  winHttp.reset(worldOf(tested));
  runtime::WideStringObject untouched{};
  runtime::WideStringObject* proxy = &untouched;
  Decision decision;
  decision.result = webclient::kNetworkList.GetIEUserSettingProxy(tested.url.c_str(), &proxy);
  if (proxy != &untouched) {
    const auto& strings = base::bound.wideStrings;
    decision.proxy = Text(strings->GetText(proxy), strings->GetLength(proxy));
    strings->Destroy(proxy);
  }
  require(winHttp.liveTexts() == 0 && winHttp.openSessions() == 0 && winHttp.errors() == 0,
          "what WinHTTP handed out is given back");
  return decision;
}

void checkHostRules(const Case& tested) {
  std::string url;
  for (const char16_t unit : tested.url) {
    if (unit >= 0x80) {
      return;  // not the same text in UTF-8
    }
    url += static_cast<char>(unit);
  }
  const Text host = split(tested.url).host;
  require(webclient::kNetworkList.IsLocalHost(url.c_str()) == (isLocal(host) ? 1 : 0),
          "a host is local or not");
  const Text list = tested.bypass.value_or(u"");
  require(webclient::kNetworkList.MatchesBypassList(url.c_str(), list.c_str()) ==
              (isListed(host, list) ? 1 : 0),
          "a host is listed or not");
}

void check(std::string_view input) {
  const Case tested = caseOf(input);
  const Decision expected = decide(tested);
  traceLevel = 5;
  require(ask(tested) == expected, "the same decision");
  checkHostRules(tested);
  traceLevel = 0;

  const FailingAllocation failing(seedOf(input, 0) % 40 + 1);
  const Decision starved = ask(tested);
  require(starved == expected || (starved == Decision{kOutOfMemory, {}} && failing.hasFailed()),
          "out of memory is told, or changes nothing");
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return size < 1 ? 0 : vexa::fuzz::checkInputOfModule(data, size, vexa::fuzz::check);
}
