#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "http_fixture.h"

// What each step of reading a request says of itself at its end: failures of a line are seen in the
// trace alone.
namespace vexa::test {
namespace {

using testing::ElementsAre;

class HttpRequestResults : public HttpRequestTest {
 protected:
  void SetUp() override {
    HttpRequestTest::SetUp();
    spy.setTraceLevel(5);
    spy.clearTrace();
  }

  // "name result" of each scope of this name, in the order of their ends.
  std::vector<std::string> resultsOf(const std::string& name) const {
    std::vector<std::string> open;
    std::vector<std::string> results;
    for (const std::string& text : spy.traceTexts()) {
      if (text.rfind("{ ", 0) == 0) {
        open.push_back(text.substr(2));
      } else if (text.rfind("} ", 0) == 0 && !open.empty()) {
        if (open.back() == name) {
          results.push_back(text.substr(text.find_first_not_of(' ', 1)));
        }
        open.pop_back();
      }
    }
    return results;
  }
};

TEST_F(HttpRequestResults, ARequestLineSaysWhetherItWasRead) {
  EXPECT_EQ(request.parse("GET /a HTTP/1.1\r\n"), kMoreNeeded);
  EXPECT_THAT(resultsOf("CHTTPRequest::parseRequestLine"), ElementsAre("0"));
}

TEST_F(HttpRequestResults, ARequestLineWithoutBlankFails) {
  EXPECT_EQ(request.parse("GET\r\n"), kMoreNeeded);
  EXPECT_THAT(resultsOf("CHTTPRequest::parseRequestLine"), ElementsAre("80004005"));
}

TEST_F(HttpRequestResults, AMethodThatIsNotAllowedFails) {
  EXPECT_EQ(request.parse("BREW /a HTTP/1.1\r\n"), kMoreNeeded);
  EXPECT_THAT(resultsOf("CHTTPRequest::parseRequestLine"), ElementsAre("80004005"));
}

// The blank behind the target is found in a line that has not ended.
TEST_F(HttpRequestResults, ARequestLineWhoseVersionDoesNotEndFails) {
  (void)request.parse("GET /a\r\nb c");
  EXPECT_THAT(resultsOf("CHTTPRequest::parseRequestLine"), ElementsAre("80004005"));
}

TEST_F(HttpRequestResults, AUriThatCannotBeSplitSaysThatMemoryIsShort) {
  const uint64_t before = spy.allocations();
  ASSERT_EQ(request.parse("GET /a HTTP/1.1\r\n"), kMoreNeeded);
  const uint64_t needed = spy.allocations() - before;
  renew();
  spy.clearTrace();
  spy.failAllocation(needed);
  EXPECT_EQ(request.parse("GET /a HTTP/1.1\r\n"), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_THAT(resultsOf("CHTTPRequest::parseURI"), ElementsAre("8007000e"));
  EXPECT_THAT(resultsOf("CHTTPRequest::parseRequestLine"), ElementsAre("8007000e"));
}

TEST_F(HttpRequestResults, AHeaderLineSaysWhetherItWasRead) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\nOrigin: o\r\nX-Other: v\r\nContent-Length: x\r\n"),
            kMoreNeeded);
  EXPECT_THAT(resultsOf("CHTTPRequest::parseHeaderLine"), ElementsAre("0", "0", "0"));
}

TEST_F(HttpRequestResults, AHeaderLineOfWhiteSpaceFails) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\n \t \r\nOrigin: o\r\n"), kMoreNeeded);
  EXPECT_THAT(resultsOf("CHTTPRequest::parseHeaderLine"), ElementsAre("80004005", "0"));
}

TEST_F(HttpRequestResults, AHeaderLineWithoutNameFails) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\n: value\r\n"), kMoreNeeded);
  EXPECT_THAT(resultsOf("CHTTPRequest::parseHeaderLine"), ElementsAre("80004005"));
}

}  // namespace
}  // namespace vexa::test
