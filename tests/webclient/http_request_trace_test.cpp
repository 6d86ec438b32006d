#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "http_fixture.h"

// What a request tells the trace about itself.
namespace vexa::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Not;

class HttpRequestTrace : public HttpRequestTest {
 protected:
  // All messages come at level 4, under the module's name.
  std::vector<std::string> messages() const {
    std::vector<std::string> texts;
    for (const TraceLine& line : spy.messages()) {
      EXPECT_EQ(line.level, 4u) << line.text;
      EXPECT_EQ(line.source, "vexabase") << line.text;
      texts.push_back(line.text);
    }
    return texts;
  }
  // From the last but one banner to the end.
  std::vector<std::string> dump() const {
    const std::string banner = "****************** HTTP Request ******************";
    std::vector<std::string> texts = messages();
    EXPECT_FALSE(texts.empty());
    EXPECT_EQ(texts.back(), banner);
    auto from = texts.end() - 1;
    while (from != texts.begin() && *--from != banner) {
    }
    return {from, texts.end()};
  }
};

TEST_F(HttpRequestTrace, TheDumpShowsTheWholeRequest) {
  spy.setTraceLevel(5);
  EXPECT_EQ(request.parse("POST /a?x=1 HTTP/1.1\r\nOrigin: o\r\nContent-Length: 2\r\n\r\nhi"), kOk);
  EXPECT_THAT(dump(),
              ElementsAre("****************** HTTP Request ******************", "HTTP method: POST",
                          "HTTP uri: /a?x=1", "HTTP path: /a", "HTTP query: : X : 1",
                          "HTTP protocol: HTTP/1.1", "HTTP headers: : ORIGIN : o", "HTTP Body: hi",
                          "****************** HTTP Request ******************"));
}

TEST_F(HttpRequestTrace, TheDumpHasNoLineForWhatIsNotThere) {
  spy.setTraceLevel(4);
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_THAT(dump(), ElementsAre("****************** HTTP Request ******************",
                                  "HTTP method: GET", "HTTP uri: /", "HTTP path: /",
                                  "HTTP protocol: HTTP/1.1", "HTTP Body: <empty>",
                                  "****************** HTTP Request ******************"));
}

// 257 buckets: "A" falls into 65, "B" into 66, "AB" into 1106 % 257 = 78, and so does "N".
TEST_F(HttpRequestTrace, TheDumpShowsEveryEntryByBucketAndNewestFirst) {
  spy.setTraceLevel(4);
  EXPECT_EQ(request.parse("GET /?b=1&n=2&ab=3&a=4 HTTP/1.1\r\nReferer: r\r\nOrigin: o\r\n\r\n"),
            kOk);
  EXPECT_THAT(dump(),
              ElementsAre("****************** HTTP Request ******************", "HTTP method: GET",
                          "HTTP uri: /?b=1&n=2&ab=3&a=4", "HTTP path: /", "HTTP query: : A : 4",
                          "HTTP query: : B : 1", "HTTP query: : AB : 3", "HTTP query: : N : 2",
                          "HTTP protocol: HTTP/1.1", "HTTP headers: : ORIGIN : o",
                          "HTTP headers: : REFERER : r", "HTTP Body: <empty>",
                          "****************** HTTP Request ******************"));
}

TEST_F(HttpRequestTrace, ManyEntriesComeInTheSameOrderAsFew) {
  spy.setTraceLevel(4);
  EXPECT_EQ(request.parse("GET /?b=1&n=2&ab=3&a=4&c=5&d=6&e=7&f=8&g=9&h=0 HTTP/1.1\r\n\r\n"), kOk);
  const std::vector<std::string> lines = dump();
  EXPECT_EQ(
      std::vector<std::string>(lines.begin() + 4, lines.begin() + 14),
      (std::vector<std::string>{"HTTP query: : A : 4", "HTTP query: : B : 1", "HTTP query: : C : 5",
                                "HTTP query: : D : 6", "HTTP query: : E : 7", "HTTP query: : F : 8",
                                "HTTP query: : G : 9", "HTTP query: : H : 0",
                                "HTTP query: : AB : 3", "HTTP query: : N : 2"}));
}

TEST_F(HttpRequestTrace, EveryStepIsToldOnTheWay) {
  spy.setTraceLevel(5);
  EXPECT_EQ(request.parse("POST /a?x=1&Y=%202 HTTP/1.1\r\nContent-Length: 2\r\n\r\nhi"), kOk);
  EXPECT_THAT(
      messages(),
      IsSupersetOf({"****** HTTP Request Begin (RAW) ******",
                    "******  HTTP Request End (RAW)  ******",
                    "CHTTPRequest::parse 52 bytes (header: 0)", "Query string parsed: x=1",
                    "Query string parsed: Y= 2",
                    // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): one message
                    "Request String parsed: method: POST, uri: /a?x=1&Y= 2, "
                    "protocol version: HTTP/1.1",
                    "HTTP Header: CONTENT-LENGTH = 2", "HTTP request Content-Length: 2",
                    "CHTTPRequest::header finished", "ContentLength 2 bytes (len: 2 bytes)"}));
  for (const char* scope : {"parseRequestLine", "parseURI", "parseHeaderLine", "parseBody"}) {
    EXPECT_TRUE(spy.traced(std::string("{ CHTTPRequest::") + scope)) << scope;
  }
}

TEST_F(HttpRequestTrace, APieceSaysWhetherTheHeaderIsFinished) {
  EXPECT_EQ(request.parse("POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\n"), kMoreNeeded);
  EXPECT_EQ(request.parse("ab"), kMoreNeeded);
  const std::vector<std::string> texts = messages();
  EXPECT_THAT(texts, Contains("CHTTPRequest::parse 38 bytes (header: 0)"));
  EXPECT_THAT(texts, Contains("CHTTPRequest::parse 2 bytes (header: 1)"));
}

TEST_F(HttpRequestTrace, BytesAreMeasuredUntilThereIsABody) {
  EXPECT_EQ(request.parse("POST / HTTP/1.1\r\nContent-Length: 2\r\n\r\nh"), kMoreNeeded);
  EXPECT_EQ(request.parse("i"), kOk);
  EXPECT_EQ(request.parse("more"), kMoreNeeded);
  std::vector<std::string> measured = messages();
  std::erase_if(measured, [](const std::string& text) { return text.find("(len: ") == text.npos; });
  EXPECT_THAT(measured, ElementsAre("ContentLength 2 bytes (len: 1 bytes)",
                                    "ContentLength 2 bytes (len: 2 bytes)"));
}

TEST_F(HttpRequestTrace, TheRawBytesAreShownBetweenTwoLines) {
  spy.setTraceLevel(4);
  EXPECT_EQ(request.parse("GET / "), kMoreNeeded);
  EXPECT_EQ(request.parse("HTTP/1.1"), kMoreNeeded);
  const std::vector<std::string> texts = messages();
  EXPECT_EQ(std::vector<std::string>(texts.end() - 4, texts.end() - 1),
            (std::vector<std::string>{"****** HTTP Request Begin (RAW) ******", "GET / HTTP/1.1",
                                      "******  HTTP Request End (RAW)  ******"}));
}

// `messages` has seen that the level and the source are those of all other messages.
TEST_F(HttpRequestTrace, RefusalsAreToldLikeEverythingElse) {
  EXPECT_EQ(request.parse(std::string(1025, 'a')), kFail);
  EXPECT_THAT(messages(), Contains("[BLOCK] Request blocked. Headerline too large: 1025 bytes "
                                   "(accepted: 1024 bytes)"));
  renew();
  spy.clearTrace();
  EXPECT_EQ(
      request.parse("GET / HTTP/1.1\r\nContent-Length: 12abc\r\n\r\n" + std::string(1048577, 'b')),
      kFail);
  EXPECT_THAT(messages(),
              IsSupersetOf({"Failed to parse HTTP request Content-Length: 12abc",
                            "HTTP request Content-Length: 0",
                            // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): one message
                            "[BLOCK] Request blocked. Body too large: 1048577 bytes "
                            "(accepted: 1048576 bytes)"}));
}

TEST_F(HttpRequestTrace, TheUnfinishedBytesAreCountedFromLevel3On) {
  EXPECT_EQ(request.parse("GET / HT"), kMoreNeeded);
  EXPECT_THAT(messages(), Not(Contains("HTTP request unfinished bytes count: 8")));
  spy.setTraceLevel(3);
  spy.clearTrace();
  EXPECT_EQ(request.parse("TP/1.1\r\nOri"), kMoreNeeded);
  EXPECT_THAT(messages(),
              ElementsAre("CHTTPRequest::parse 11 bytes (header: 0)",
                          "HTTP request unfinished bytes count: 19",
                          "Request String parsed: method: GET, uri: /, protocol version: HTTP/1.1",
                          "HTTP request unfinished bytes count: 3"));
  spy.clearTrace();
  EXPECT_EQ(request.parse("gin: o\r\n\r\n"), kOk);
  EXPECT_THAT(messages(), ElementsAre("CHTTPRequest::parse 10 bytes (header: 0)",
                                      "HTTP request unfinished bytes count: 13",
                                      "HTTP Header: ORIGIN = o", "CHTTPRequest::header finished",
                                      "HTTP request unfinished bytes count: 0"));
}

}  // namespace
}  // namespace vexa::test
