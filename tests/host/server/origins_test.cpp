#include "server/origins.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace vexahost {
namespace {

TEST(Origin, WhatBrowsersSendIsRead) {
  for (const char* const text :
       {"https://a.example", "https://a.example:8443", "http://localhost:3000", "http://127.0.0.1",
        "http://[::1]:5173", "https://xn--bcher-kva.example", "https://a_b.example", "http://a:443",
        "https://a:80", "https://a.example.", "https://a:1", "https://a:65535"}) {
    EXPECT_TRUE(parseOrigin(text)) << text;
  }
}

TEST(Origin, WhatNoBrowserSendsIsNot) {
  for (const char* const text : {"",
                                 "null",
                                 "*",
                                 "a.example",
                                 "ftp://a.example",
                                 "https://",
                                 "https://a.example/",
                                 "https://a.example/x",
                                 "https://evil@x.client.example",
                                 "https://x.client.example:0443",
                                 "https://x.client.example:443x",
                                 "https://evil#.client.example",
                                 "https://A.example",
                                 "HTTPS://a.example",
                                 "https://a.example:443",
                                 "http://a.example:80",
                                 "https://a.example:",
                                 "https://a.example:0",
                                 "https://a.example:65536",
                                 "https://a.example:-1",
                                 "https://a..example",
                                 "https://.example",
                                 "https://a.example ",
                                 "https://a.ex ample",
                                 "https://a.example?x",
                                 "https://b\xC3\xBC.example",
                                 "https://[::1",
                                 "https://[]",
                                 "https://[x]",
                                 "https://[::1]x",
                                 "https://a%2eexample",
                                 "https://*.example",
                                 "https://a.example:8443:1",
                                 "https://a.example, https://b.example"}) {
    EXPECT_FALSE(parseOrigin(text)) << text;
  }
}

TEST(Origin, ANameIsOfLettersDigitsHyphensAndUnderscores) {
  const std::string known = "abcdefghijklmnopqrstuvwxyz0123456789-_.";
  for (int c = 0; c <= 0xFF; ++c) {
    const char character = static_cast<char>(c);
    const bool isKnown = c != 0 && known.find(character) != std::string::npos;
    EXPECT_EQ(parseOrigin(std::string("https://a") + character + "b").has_value(), isKnown) << c;
  }
}

TEST(Origin, AnAddressInBracketsIsOfHexadecimalDigitsColonsAndPoints) {
  const std::string known = "abcdef0123456789:.";
  for (int c = 0; c <= 0xFF; ++c) {
    const char character = static_cast<char>(c);
    const bool isKnown = c != 0 && known.find(character) != std::string::npos;
    for (const std::string& host : {std::string(1, character), std::string("::") + character,
                                    character + std::string("::")}) {
      EXPECT_EQ(parseOrigin("https://[" + host + "]").has_value(), isKnown) << c;
    }
  }
}

TEST(Origin, NamesAreAsLongAsTheDomainSystemTakesThem) {
  const std::string label(63, 'a');
  EXPECT_TRUE(parseOrigin("https://" + label));
  EXPECT_TRUE(parseOrigin("https://b." + label + ".c"));
  EXPECT_FALSE(parseOrigin("https://" + label + "a"));
  EXPECT_FALSE(parseOrigin("https://b." + label + "a.c"));
  const std::string three = label + "." + label + "." + label + ".";
  EXPECT_TRUE(parseOrigin("https://" + three + std::string(61, 'a') + "."));
  EXPECT_TRUE(parseOrigin("https://" + three + std::string(62, 'a')));
  EXPECT_FALSE(parseOrigin("https://" + three + std::string(62, 'a') + "."));
}

TEST(Origin, IsTakenApart) {
  const std::optional<Origin> origin = parseOrigin("http://[::1]:5173");
  ASSERT_TRUE(origin);
  EXPECT_FALSE(origin->isHttps);
  EXPECT_EQ(origin->host, "[::1]");
  EXPECT_EQ(origin->port, 5173);
  EXPECT_EQ(parseOrigin("https://a.example")->port, 443);
  EXPECT_EQ(parseOrigin("http://a.example")->port, 80);
}

TEST(Origin, LoopbackIsKnown) {
  for (const char* const host : {"localhost", "app.localhost", "127.0.0.1", "127.8.9.1", "[::1]"}) {
    EXPECT_TRUE(isLoopback(host)) << host;
  }
  for (const char* const host : {"127.evil.example.x", "127.0.0.1.example", "localhost.example",
                                 "notlocalhost", "10.0.0.1", "128.0.0.1", "127.0.1", "127.0.0.1.",
                                 "127.0.0.1:", "127.0.0./", "127.0.0.a", "[::2]", ""}) {
    EXPECT_FALSE(isLoopback(host)) << host;
  }
}

// As the module does: "*" stands for one label, and two more follow.
bool matchesLikeTheModule(const std::string& origin, const std::string& pattern) {
  const size_t star = pattern.find("*.");
  if (star == std::string::npos) {
    return origin == pattern;
  }
  const std::string rest = pattern.substr(star + 1);
  const size_t dot = origin.find('.');
  return rest.find('.', 1) != std::string::npos && dot != std::string::npos &&
         origin.substr(dot) == rest;
}

AllowedOrigins allowed(const std::string& pattern) {
  AllowedOrigins result(matchesLikeTheModule);
  result.add(pattern);
  return result;
}

struct RefusedPattern {
  const char* pattern;
  std::string_view reason;
};

TEST(AllowedOrigins, APatternThatCanNeverMatchIsAnErrorThatSaysWhy) {
  constexpr std::string_view kHttps =
      "no browser sends such an origin: https://, a host and perhaps a port, nothing else";
  constexpr std::string_view kHttp =
      "no browser sends such an origin: http://, a host and perhaps a port, nothing else";
  constexpr std::string_view kScheme =
      "it does not begin with https:// (or http:// for a page on this machine)";
  constexpr std::string_view kPlain =
      "plain http is for pages of this machine alone: localhost, 127.0.0.1 or [::1]";
  constexpr std::string_view kNothing =
      "it covers no origin at all; a wildcard stands for one label before two more";
  constexpr RefusedPattern kCases[] = {
      {"", "it is empty"},
      {"*", "every page at all may not call; name the origins that may"},
      {"nonsense", kScheme},
      {"null", kScheme},
      {"ftp://a.example", kScheme},
      {"//a.example", kScheme},
      {"https://", kHttps},
      {"https://*", kHttps},
      {"https://a.example/", kHttps},
      {"https://a.example/x", kHttps},
      {"https://a.*.example", kHttps},
      {"https://a.example:0443", kHttps},
      {"https://a.example:x", kHttps},
      {"https://user@a.example", kHttps},
      {"https://a b.example", kHttps},
      {"https://*.com", kNothing},
      {"http://", kHttp},
      {"http://*.example.com", kHttp},
      {"http://localhost:3000/", kHttp},
      {"http://a.example:3000", kPlain},
  };
  for (const RefusedPattern& each : kCases) {
    std::string reason = "(none)";
    try {
      allowed(each.pattern);
    } catch (const std::invalid_argument& error) {
      reason = error.what();
    }
    EXPECT_EQ(reason, each.reason) << each.pattern;
  }
}

TEST(AllowedOrigins, PlainHttpOnThisMachineMatchesExactly) {
  const AllowedOrigins origins = allowed("http://localhost:3000");
  EXPECT_TRUE(origins.covers("http://localhost:3000"));
  for (const char* const other :
       {"http://localhost", "http://localhost:3001", "https://localhost:3000",
        "http://127.0.0.1:3000", "http://localhost:3000.evil.example", "http://a.localhost:3000"}) {
    EXPECT_FALSE(origins.covers(other)) << other;
  }
  EXPECT_TRUE(allowed("http://LocalHost:80").covers("http://localhost"));
  EXPECT_TRUE(allowed("http://[::1]:5173").covers("http://[::1]:5173"));
}

TEST(AllowedOrigins, HttpsGoesByTheModulesPatterns) {
  const AllowedOrigins origins = allowed("https://*.client.example");
  EXPECT_TRUE(origins.covers("https://app.client.example"));
  for (const char* const other :
       {"https://client.example", "https://a.b.client.example", "http://app.client.example",
        "https://evil@x.client.example", "https://evil#.client.example", "null"}) {
    EXPECT_FALSE(origins.covers(other)) << other;
  }
}

TEST(AllowedOrigins, TheModuleIsNotAskedAboutWhatNoBrowserSends) {
  int asked = 0;
  AllowedOrigins origins([&asked](const std::string&, const std::string&) {
    ++asked;
    return true;
  });
  origins.add("https://*.client.example");
  EXPECT_EQ(asked, 1);  // whether the pattern can match at all
  EXPECT_FALSE(origins.covers("https://x.client.example:0443"));
  EXPECT_FALSE(origins.covers("https://X.client.example"));
  EXPECT_EQ(asked, 1);
}

TEST(AllowedOrigins, AnAddressLiteralMatchesExactly) {
  const AllowedOrigins origins = allowed("https://[2001:DB8::1]:8443");
  EXPECT_TRUE(origins.covers("https://[2001:db8::1]:8443"));
  EXPECT_FALSE(origins.covers("https://[2001:db8::1]"));
  EXPECT_FALSE(origins.covers("https://[2001:db8::2]:8443"));
}

TEST(AllowedOrigins, LettersMayBeOfEitherCase) {
  const std::string lower = "abcdefghijklmnopqrstuvwxyz";
  const std::string upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  EXPECT_TRUE(allowed("http://" + upper + ".localhost").covers("http://" + lower + ".localhost"));
  AllowedOrigins origins([&](const std::string& sample, const std::string&) {
    return sample == "https://" + lower + ".example";
  });
  EXPECT_NO_THROW(origins.add("https://" + upper + ".EXAMPLE"));
}

TEST(AllowedOrigins, TheUsualPortMayBeWritten) {
  EXPECT_TRUE(allowed("https://[::1]:443").covers("https://[::1]"));
  EXPECT_TRUE(allowed("http://localhost:80").covers("http://localhost"));
  EXPECT_TRUE(allowed("http://localhost:443").covers("http://localhost:443"));
}

TEST(AllowedOrigins, EachOfSeveralCounts) {
  AllowedOrigins origins = allowed("https://*.client.example");
  origins.add("https://other.example");
  origins.add("http://localhost:3000");
  for (const char* const text :
       {"https://app.client.example", "https://other.example", "http://localhost:3000"}) {
    EXPECT_TRUE(origins.covers(text)) << text;
  }
}

}  // namespace
}  // namespace vexahost
