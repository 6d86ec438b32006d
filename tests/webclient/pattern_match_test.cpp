#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/sweep.h"
#include "url_parser_fixture.h"

namespace vexa::test {
namespace {

constexpr char kNeedTwoParts[] = "Need two domain name parts for wildcard hostname ";
constexpr char kWildcardBetween[] =
    "Wildcard is between hostname and top level domain, thats not supported";
constexpr char kPartsDiffer[] = "Pattern parts does not match";
constexpr char kNoMatch[] = "Pattern does not match";

struct PatternCase {
  const char* name;
  const char* url;
  const char* pattern;
  bool matches;
  const char* reason;  // null: no message
};
void PrintTo(const PatternCase& value, std::ostream* out) {
  *out << value.url << " " << value.pattern;
}

constexpr PatternCase kPatternCases[] = {
    {"WildcardTakesOneLabel", "https://a.example.com/x", "https://*.example.com", true, nullptr},
    {"CaseIsFoldedBehindTheWildcard", "https://a.example.com/x", "https://*.EXAMPLE.com", true,
     nullptr},
    {"CaseOfTheUrlIsFolded", "https://A.EXAMPLE.COM/x", "https://a.example.com", true, nullptr},
    {"SameHost", "https://a.example.com/x", "https://a.example.com/other", true, nullptr},
    {"SamePort", "https://a.example.com:444/x", "https://*.example.com:444", true, nullptr},
    {"DefaultPortSpelledOut", "https://a.example.com/x", "https://*.example.com:443", true,
     nullptr},
    {"EmptyFirstLabel", "https://.example.com", "https://*.example.com", true, nullptr},
    {"SecondDotInThePatternsPath", "https://a.com/x", "https://*.com/y.html", true, nullptr},
    {"SecondDotInThePatternsQuery", "https://a.com/x", "https://*.com/?q=.", true, nullptr},
    {"HostOfOneLabel", "https://a", "https://a", true, nullptr},

    {"WildcardTakesNoSecondLabel", "https://a.b.example.com/x", "https://*.example.com", false,
     kPartsDiffer},
    {"WildcardEatsTheOnlyLabelInFront", "https://example.com/x", "https://*.example.com", false,
     kPartsDiffer},
    {"OtherHostOfThatLength", "https://a.example.com/x", "https://b.example.com", false,
     kPartsDiffer},
    {"OnlyLettersAreFolded", "https://a[", "https://a{", false, kPartsDiffer},
    {"HighBytesAreNotFolded", "https://\xC3\x84", "https://\xC3\xA4", false, kPartsDiffer},
    {"PatternEndsFirst", "https://a.example.com/x", "https://a.example.co", false, kNoMatch},
    {"UrlEndsFirst", "https://a.example.co/x", "https://a.example.com", false, kNoMatch},
    {"WildcardEatsTheWholeHost", "https://localhost/x", "https://*.example.com", false, kNoMatch},
    {"WildcardOfATopLevelDomain", "https://a.com/x", "https://*.com", false, kNeedTwoParts},
    {"WildcardWithoutADot", "https://a.example.com", "https://*a.example.com", false,
     kNeedTwoParts},
    {"DoubleWildcard", "https://a.example.com", "https://**.example.com", false, kNeedTwoParts},
    {"WildcardInTheSecondLabel", "https://a.example.com/x", "https://a.*.com", false,
     kWildcardBetween},
    {"WildcardBehindAWildcard", "https://a.b.com/x", "https://*.*.com", false, kWildcardBetween},
    {"WildcardAtTheEndOfALabel", "https://abc.example.com", "https://a*.example.com", false,
     kWildcardBetween},
    {"TwoStarsAreNoWildcard", "https://a.example.com/x", "https://**", false, kWildcardBetween},
    {"OneStarIsNoWildcard", "https://a", "https://*", false, kWildcardBetween},
    {"WildcardTakesAStar", "https://*.example.com/x", "https://*.example.com", true, nullptr},
    {"StarInTheUrlAlone", "https://a.*.com", "https://a.b.com", false, kPartsDiffer},
    {"StarMeetsAStarInTheUrl", "https://a.*.com", "https://a.*.com", false, kWildcardBetween},
    {"OneStarMeetsAStar", "https://*", "https://*", false, kWildcardBetween},
    {"StarAndDotAreTooShort", "https://a.example.com", "https://*.", false, kWildcardBetween},

    {"HttpUrl", "http://a.example.com/x", "https://*.example.com", false, nullptr},
    {"HttpUrlAndPattern", "http://a.example.com/x", "http://*.example.com", false, nullptr},
    {"HttpPattern", "https://a.example.com/x", "http://a.example.com", false, nullptr},
    {"HttpPatternOnTheSamePort", "https://a.example.com", "http://a.example.com:443", false,
     nullptr},
    {"OtherPort", "https://a.example.com:444/x", "https://*.example.com", false, nullptr},
    {"UrlNotValid", "https://a.example.com/", "https://*.example.com", false, nullptr},
    {"PatternNotValid", "https://a.example.com/x", "https://*.example.com/", false, nullptr},
    {"PatternWithoutScheme", "https://a.example.com/x", "*.example.com", false, nullptr},
    {"PatternEmpty", "https://a.example.com/x", "", false, nullptr},
};

class UrlPattern : public BoundTest, public ::testing::WithParamInterface<PatternCase> {};

// Of this URL a message shows the host and all that follows it.
std::string fromHost(const std::string& url) { return url.substr(url.find("//") + 2); }

TEST_P(UrlPattern, MatchesOrSaysWhyNot) {
  RawUrlParser url(GetParam().url);
  const ExactText pattern(GetParam().pattern);
  EXPECT_EQ(url.patternMatch(pattern), GetParam().matches);
  std::vector<TraceLine> expected;
  if (GetParam().reason != nullptr) {
    expected.push_back({4, "vexabase",
                        "Bad Pattern match: [" + fromHost(GetParam().url) + "] != [" +
                            GetParam().pattern + "]. " + GetParam().reason});
  }
  EXPECT_EQ(spy.messages(), expected);
}

INSTANTIATE_TEST_SUITE_P(All, UrlPattern, ::testing::ValuesIn(kPatternCases),
                         [](const auto& test) { return std::string(test.param.name); });

class UrlPatterns : public BoundTest {};

TEST_F(UrlPatterns, PrintTheUrlFromItsHostToItsEnd) {
  RawUrlParser url("https://a.com:8443/path?query");
  EXPECT_FALSE(url.patternMatch("https://*.com:8443/y"));
  ASSERT_EQ(spy.messages().size(), 1u);
  EXPECT_EQ(spy.messages()[0].text,
            "Bad Pattern match: [a.com:8443/path?query] != [https://*.com:8443/y]. Need two domain "
            "name parts for wildcard hostname ");
}

TEST_F(UrlPatterns, RefuseNullSilently) {
  RawUrlParser url("https://a.example.com/x");
  EXPECT_FALSE(url.patternMatch(nullptr));
  EXPECT_TRUE(spy.messages().empty());
}

TEST_F(UrlPatterns, LeaveTheUrlAsItWas) {
  RawUrlParser url("https://a.example.com:444/x");
  EXPECT_FALSE(url.patternMatch("https://*.example.com"));
  EXPECT_EQ(url.getPort(), 444);
  EXPECT_TRUE(url.patternMatch("https://*.example.com:444"));
}

TEST_F(UrlPatterns, MatchWithoutARuntime) {
  RawUrlParser url("https://a.example.com/x");
  base::bound = {};
  EXPECT_TRUE(url.patternMatch("https://*.example.com"));
  EXPECT_FALSE(url.patternMatch("https://*.com"));
}

TEST_F(UrlPatterns, SurviveEveryFailedAllocation) {
  RawUrlParser url("https://a.example.com/x");
  sweepAllocations(spy, [&] { return url.patternMatch("https://*.example.com"); });
}

}  // namespace
}  // namespace vexa::test
