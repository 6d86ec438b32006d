#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/com_object.h"
#include "support/sweep.h"
#include "url_parser_fixture.h"

namespace vexa::test {
namespace {

class UrlParser : public BoundTest {};

// --- parse and the getters ---

struct ParseCase {
  const char* name;
  const char* url;
  int32_t result;
  int32_t port;
  bool isHttps;
  int64_t length;  // -1: not valid
};
void PrintTo(const ParseCase& value, std::ostream* out) { *out << value.url; }

constexpr ParseCase kParseCases[] = {
    {"HostAlone", "http://a", kOk, 80, false, 8},
    {"HttpsHostAlone", "https://a", kOk, 443, true, 9},
    {"HostAndPath", "http://host/x", kOk, 80, false, 11},
    {"PathOfSlashes", "http://host//", kOk, 80, false, 11},
    {"PortReplacesTheDefault", "https://a:444/x", kOk, 444, true, 13},
    {"PortAlone", "http://a:8080", kOk, 8080, false, 13},
    {"PortOfOneDigit", "http://a:1/x", kOk, 1, false, 10},
    {"HighestPort", "http://a:65535/x", kOk, 65535, false, 14},
    {"LeadingZeros", "http://a:00080", kOk, 80, false, 14},
    {"PortReadUpToTheFirstLetter", "http://host:8o", kOk, 8, false, 14},
    {"PortBehindASpace", "http://a: 80/x", kOk, 80, false, 12},
    {"PortBehindATab", "http://a:\t80/x", kOk, 80, false, 12},
    {"PortBehindALineFeed", "http://a:\n80/x", kOk, 80, false, 12},
    {"PortBehindAVerticalTab", "http://a:\v80/x", kOk, 80, false, 12},
    {"PortBehindAFormFeed", "http://a:\f80/x", kOk, 80, false, 12},
    {"PortBehindACarriageReturn", "http://a:\r80/x", kOk, 80, false, 12},
    {"PortBehindSeveralSpaces", "http://a: \t \r8/x", kOk, 8, false, 14},
    {"PortWithAPlus", "http://a:+80/x", kOk, 80, false, 12},
    {"SecondColonEndsThePort", "http://a:80:1", kOk, 80, false, 13},
    {"ColonInThePath", "http://a/x:1", kOk, 80, false, 8},
    {"QueryBelongsToTheHost", "http://a?x/y", kOk, 80, false, 10},
    {"UserBelongsToTheHost", "http://user@a", kOk, 80, false, 13},
    {"HighBytesInTheHost", "http://\xC3\xA9/x", kOk, 80, false, 9},

    {"FinalSlashAlone", "http://a/", kFail, 80, false, -1},
    {"FinalSlashBehindThePort", "https://host:8443/", kFail, 8443, true, -1},
    {"Empty", "", kFail, 0, false, -1},
    {"HttpPrefixAlone", "http://", kFail, 0, false, -1},
    {"HttpsPrefixAlone", "https://", kFail, 0, false, -1},
    {"HttpPrefixCutShort", "http:/", kFail, 0, false, -1},
    {"HttpsPrefixCutShort", "https:/", kFail, 0, false, -1},
    {"UpperCaseHttp", "HTTP://a", kFail, 0, false, -1},
    {"UpperCaseHttps", "HTTPS://abc", kFail, 0, false, -1},
    {"MixedCaseHttps", "httpS://abc", kFail, 0, false, -1},
    {"OtherScheme", "ftp://a", kFail, 0, false, -1},
    {"OneSlash", "http:/a", kFail, 0, false, -1},
    {"OneSlashHttps", "https:/abc", kFail, 0, false, -1},
    {"LeadingSpace", " http://a", kFail, 0, false, -1},
    {"NoScheme", "host.example/x", kFail, 0, false, -1},
    {"EmptyHost", "http:///x", kFail, 80, false, -1},
    {"EmptyHostWithPort", "http://:81/x", kFail, 81, false, -1},
    {"PortZero", "http://a:0/x", kFail, 0, false, -1},
    {"PortTooHigh", "http://a:65536/x", kFail, 0, false, -1},
    {"PortOfSixCharacters", "http://host:123456", kFail, 0, false, -1},
    {"PortOfSixCharactersWithZeros", "http://host:000080", kFail, 0, false, -1},
    {"PortEmptyBeforeAPath", "http://a:/x", kFail, 0, false, -1},
    {"PortEmptyAtTheEnd", "https://a:", kFail, 0, true, -1},
    {"PortWithoutDigits", "http://a:x/y", kFail, 0, false, -1},
    {"NegativePort", "http://a:-1/x", kFail, 0, false, -1},
    {"SignAlone", "http://a:+/x", kFail, 0, false, -1},
    {"SpacesAlone", "http://a:  /x", kFail, 0, false, -1},
    {"BackspaceIsNoSpace", "http://a:\b80/x", kFail, 0, false, -1},
    {"ShiftOutIsNoSpace", "http://a:\01680/x", kFail, 0, false, -1},
    {"TwoSigns", "http://a:+-8/x", kFail, 0, false, -1},
};

class UrlParse : public UrlParser, public ::testing::WithParamInterface<ParseCase> {};

TEST_P(UrlParse, SplitsOrRefuses) {
  RawUrlParser url;
  EXPECT_EQ(url.parse(GetParam().url), GetParam().result);
  EXPECT_EQ(url.getPort(), GetParam().port);
  EXPECT_EQ(url.isHttps(), GetParam().isHttps);
  EXPECT_EQ(url.isValid(), GetParam().result == kOk);
  EXPECT_EQ(url.getLength(), GetParam().length);
}

INSTANTIATE_TEST_SUITE_P(All, UrlParse, ::testing::ValuesIn(kParseCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(UrlParser, StartsWithoutAnything) {
  RawUrlParser url;
  EXPECT_FALSE(url.isValid());
  EXPECT_FALSE(url.isHttps());
  EXPECT_EQ(url.getPort(), 0);
  EXPECT_EQ(url.getLength(), -1);
}

TEST_F(UrlParser, ForgetsTheLastUrlWithTheNextParse) {
  RawUrlParser url("https://host.example:8443/x");
  EXPECT_EQ(url.parse("ftp://a"), kFail);
  EXPECT_EQ(url.getPort(), 0);
  EXPECT_FALSE(url.isHttps());
  EXPECT_EQ(url.parse("http://b/"), kFail);
  EXPECT_EQ(url.getPort(), 80);
  EXPECT_EQ(url.getLength(), -1);
  EXPECT_EQ(url.parse("http://b/y"), kOk);
  EXPECT_EQ(url.getLength(), 8);
}

TEST_F(UrlParser, RefusesNullAndForgetsTheLastUrl) {
  RawUrlParser url("https://host.example");
  EXPECT_EQ(url.parseNull(), kFail);
  EXPECT_FALSE(url.isValid());
  EXPECT_EQ(url.getPort(), 0);
}

TEST_F(UrlParser, ReadsLongHostsAndPathsWhole) {
  const std::string host(100000, 'h');
  RawUrlParser url;
  EXPECT_EQ(url.parse(("https://" + host + ":1234/" + std::string(100000, 'p')).c_str()), kOk);
  EXPECT_EQ(url.getPort(), 1234);
  EXPECT_EQ(url.getLength(), 8 + 100000 + 5);
}

TEST_F(UrlParser, AllocatesNothingToParse) {
  RawUrlParser url;
  const uint64_t before = spy.allocations();
  EXPECT_EQ(url.parse("https://host.example:8443/path"), kOk);
  EXPECT_EQ(url.getLength(), 25);
  EXPECT_EQ(spy.allocations(), before);
}

// --- Trace ---

TEST_F(UrlParser, TracesEveryStepOfAParse) {
  RawUrlParser url;
  spy.clearTrace();
  EXPECT_EQ(url.parse("https://a:444/x"), kOk);
  const std::vector<std::string> expected = {
      "{ URLParser::parse", "{ URLParser::handleHost", "}        0", "{ URLParser::handlePort",
      "}        0",         "{ URLParser::isValid",    "}        1", "}        0",
  };
  EXPECT_EQ(spy.traceTexts(), expected);
}

TEST_F(UrlParser, TracesAFailedParseWithItsResult) {
  RawUrlParser url;
  spy.clearTrace();
  EXPECT_EQ(url.parse("ftp://a"), kFail);
  const std::vector<std::string> expected = {"{ URLParser::parse", "{ URLParser::isValid",
                                             "}        0", "} 80004005"};
  EXPECT_EQ(spy.traceTexts(), expected);
}

TEST_F(UrlParser, OpensAScopeNamedAfterEachOperation) {
  RawUrlParser url("https://a");
  const auto firstScope = [&](auto operation) {
    spy.clearTrace();
    operation();
    const std::vector<TraceLine> lines = spy.trace();
    EXPECT_GE(lines.size(), 2u);
    EXPECT_EQ(lines.front().level, 4u);
    EXPECT_EQ(lines.back().level, 4u);
    return lines.front().text;
  };
  EXPECT_EQ(firstScope([&] { (void)url.parse("https://a"); }), "{ URLParser::parse");
  EXPECT_EQ(firstScope([&] { (void)url.getPort(); }), "{ URLParser::getPort");
  EXPECT_EQ(firstScope([&] { (void)url.isHttps(); }), "{ URLParser::isHTTPS");
  EXPECT_EQ(firstScope([&] { (void)url.isValid(); }), "{ URLParser::isValid");
  EXPECT_EQ(firstScope([&] { (void)url.getLength(); }), "{ URLParser::getLength");
  EXPECT_EQ(firstScope([&] { (void)url.cmp(nullptr); }), "{ URLParser::cmp");
  EXPECT_EQ(firstScope([&] { (void)url.cmpText("http://a"); }), "{ URLParser::cmp");
  EXPECT_EQ(firstScope([&] { (void)url.patternMatch("http://a"); }), "{ URLParser::pattern_match");
}

TEST_F(UrlParser, AComparisonAsksForTheSchemesOfBoth) {
  RawUrlParser url("https://a");
  RawUrlParser other("https://a");
  spy.clearTrace();
  EXPECT_TRUE(url.cmp(other.get()));
  const std::vector<std::string> texts = spy.traceTexts();
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "{ URLParser::getProtocol"), 2);
  EXPECT_EQ(texts.back(), "}        1");
}

// --- cmp ---

struct CmpCase {
  const char* name;
  const char* url;
  const char* other;
  bool same;
};
void PrintTo(const CmpCase& value, std::ostream* out) { *out << value.url << " " << value.other; }

constexpr CmpCase kCmpCases[] = {
    {"DefaultPortSpelledOut", "https://a.example:443/x", "https://a.example/y", true},
    {"HttpDefaultPortSpelledOut", "http://a.example:80", "http://a.example/y", true},
    {"PathsDoNotCount", "http://a/x", "http://a", true},
    {"OtherScheme", "http://a.example/x", "https://a.example/x", false},
    {"OtherSchemeSamePort", "http://a.example:443/x", "https://a.example/x", false},
    {"OtherPort", "http://a:81", "http://a:82", false},
    {"OtherHost", "http://ab", "http://ac", false},
    {"LongerHost", "http://ab", "http://abc", false},
    {"LetterCaseOfTheHostCounts", "http://Host", "http://host", false},
    {"ThisIsNotValid", "http://a/", "http://a", false},
    {"OtherIsNotValid", "http://a", "http://a/", false},
    {"NeitherIsValid", "http://a/", "http://a/", false},
    {"OtherIsEmpty", "http://a", "", false},
};

class UrlCmp : public UrlParser, public ::testing::WithParamInterface<CmpCase> {};

TEST_P(UrlCmp, ComparesOriginsOfObjects) {
  RawUrlParser url(GetParam().url);
  RawUrlParser other(GetParam().other);
  EXPECT_EQ(url.cmp(other.get()), GetParam().same);
  EXPECT_EQ(other.cmp(url.get()), GetParam().same);
}

TEST_P(UrlCmp, ComparesOriginsWithATextAlike) {
  RawUrlParser url(GetParam().url);
  const ExactText other(GetParam().other);
  EXPECT_EQ(url.cmpText(other), GetParam().same);
}

INSTANTIATE_TEST_SUITE_P(All, UrlCmp, ::testing::ValuesIn(kCmpCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(UrlParser, IsTheSameOriginAsItself) {
  RawUrlParser url("http://a");
  EXPECT_TRUE(url.cmp(url.get()));
  RawUrlParser broken("http://a/");
  EXPECT_FALSE(broken.cmp(broken.get()));
}

TEST_F(UrlParser, IsNotTheSameOriginAsNull) {
  RawUrlParser url("http://a");
  EXPECT_FALSE(url.cmp(nullptr));
  EXPECT_FALSE(url.cmpText(nullptr));
}

TEST_F(UrlParser, LetsCallersUseOneNameForBothComparisons) {
  RawUrlParser url("http://a");
  auto* const parser = static_cast<IURLParser*>(url.get());
  EXPECT_TRUE(parser->cmp("http://a/x"));
  EXPECT_TRUE(parser->cmp(parser));
}

struct Comparison {
  std::string a;
  std::string b;
};
std::vector<Comparison> comparisons;
int32_t comparisonResult;

TEST_F(UrlParser, LeavesTheVerdictOnHostsToTheStringComponent) {
  comparisons.clear();
  spy.strings.Compare = [](const runtime::StringObject* a, const runtime::StringObject* b) {
    comparisons.push_back({std::string(a->text, a->length), std::string(b->text, b->length)});
    return comparisonResult;
  };
  RawUrlParser url("http://Host:80/x");
  comparisonResult = 0;
  EXPECT_TRUE(url.cmpText("http://hOST"));
  comparisonResult = 1;
  EXPECT_FALSE(url.cmpText("http://Host"));
  ASSERT_EQ(comparisons.size(), 2u);
  EXPECT_EQ(comparisons[0].a, "Host");
  EXPECT_EQ(comparisons[0].b, "hOST");
}

TEST_F(UrlParser, AsksTheStringComponentOnlyAboutHostsOfOneLengthSchemeAndPort) {
  comparisons.clear();
  comparisonResult = 0;
  spy.strings.Compare = [](const runtime::StringObject*, const runtime::StringObject*) {
    comparisons.emplace_back();
    return comparisonResult;
  };
  RawUrlParser url("http://host");
  EXPECT_FALSE(url.cmpText("http://hosts"));
  EXPECT_FALSE(url.cmpText("http://host:81"));
  EXPECT_FALSE(url.cmpText("https://host:80"));
  EXPECT_TRUE(comparisons.empty());
}

TEST_F(UrlParser, AsksTheOtherObjectForItsPortThroughItsTable) {
  constexpr size_t kBefore = 2;  // what compilers keep in front of the first slot
  constexpr size_t kSlots = 12;
  RawUrlParser url("http://a:8080");
  RawUrlParser other("http://a:81");
  EXPECT_FALSE(url.cmp(other.get()));

  auto** const object = static_cast<void**>(other.get());
  auto** const original = static_cast<void**>(*object);
  std::array<void*, kBefore + kSlots> table;
  std::copy_n(original - kBefore, table.size(), table.begin());
  int32_t (*const getPort)(void*) = [](void*) { return 8080; };
  table[kBefore + 4] = reinterpret_cast<void*>(getPort);
  *object = table.data() + kBefore;
  EXPECT_TRUE(url.cmp(other.get()));
  *object = original;
}

// An IURLParser of somebody else, which has no data of ours behind its table.
struct ForeignParser {
  void* const* table;
  int32_t answer;  // when it is asked for anything
  int asked;
};

TEST_F(UrlParser, DoesNotLookIntoAnotherImplementation) {
  std::array<void*, 12> table{};
  int32_t (*const queryInterface)(ForeignParser*, const Guid*,
                                  void**) = [](ForeignParser* self, const Guid* id, void** out) {
    ++self->asked;
    EXPECT_FALSE(*id == IID_IURLParser);
    *out = nullptr;
    return self->answer;
  };
  bool (*const isValid)(ForeignParser*) = [](ForeignParser*) { return true; };
  int32_t (*const getPort)(ForeignParser*) = [](ForeignParser*) { return 80; };
  table[0] = reinterpret_cast<void*>(queryInterface);
  table[4] = reinterpret_cast<void*>(getPort);
  table[6] = reinterpret_cast<void*>(isValid);
  RawUrlParser url("http://a");
  for (const int32_t answer : {kNoInterface, kFalse, kOk}) {  // successes without an object, too
    ForeignParser foreign{table.data(), answer, 0};
    EXPECT_FALSE(url.cmp(&foreign));
    EXPECT_EQ(foreign.asked, 1);
  }
}

TEST_F(UrlParser, DoesNotHoldTheOtherObject) {
  RawUrlParser url("http://a");
  RawUrlParser other("http://a");
  EXPECT_TRUE(url.cmp(other.get()));
  EXPECT_EQ(call<uint32_t>(other.get(), 1), 2u);
  EXPECT_EQ(call<uint32_t>(other.get(), 2), 1u);
}

// --- The object ---

TEST_F(UrlParser, AnswersForItsInterfaceAndIUnknownOnly) {
  RawUrlParser url;
  for (const Guid& id : {IID_IURLParser, IID_IComponent}) {
    void* found = nullptr;
    EXPECT_EQ(call<int32_t>(url.get(), 0, &id, &found), kOk);
    EXPECT_EQ(found, url.get());
    EXPECT_EQ(call<uint32_t>(found, 2), 1u);
  }
  const Guid other{1, 2, 3, {}};
  void* found = url.get();
  EXPECT_EQ(call<int32_t>(url.get(), 0, &other, &found), kNoInterface);
  EXPECT_EQ(found, nullptr);
}

TEST_F(UrlParser, DestroysItselfInItsLastSlot) {
  void* object = nullptr;
  ASSERT_EQ(webclient::URLParser::CreateInstance(&IID_IURLParser, &object), kOk);
  const int64_t before = allocation_gate::liveProcessBlocks();
  EXPECT_EQ(call<void*>(object, 11, uint32_t{0}), object);
  EXPECT_EQ(allocation_gate::liveProcessBlocks(), before);
  base::processFree(object);
}

TEST_F(UrlParser, ComparesNothingWithoutARuntime) {
  RawUrlParser url("http://a");
  RawUrlParser other("http://a");
  base::bound = {};
  EXPECT_TRUE(url.isValid());
  EXPECT_FALSE(url.cmp(other.get()));
}

TEST_F(UrlParser, SurvivesEveryFailedAllocation) {
  // Hosts of everyday length are compared without a block.
  const std::string origin = "https://" + std::string(80, 'h') + ".example:8443";
  RawUrlParser url((origin + "/x").c_str());
  EXPECT_GE(sweepAllocations(spy, [&] { return url.cmpText((origin + "/y").c_str()); }), 2);
}

TEST_F(UrlParser, ReportsAFailedCreation) {
  sweepAllocations(spy, [] {
    void* object = &object;
    const int32_t result = webclient::URLParser::CreateInstance(&IID_IURLParser, &object);
    if (result != kOk) {
      EXPECT_EQ(result, kOutOfMemory);
      EXPECT_EQ(object, nullptr);
      return false;
    }
    call<uint32_t>(object, 2);
    return true;
  });
}

}  // namespace
}  // namespace vexa::test
