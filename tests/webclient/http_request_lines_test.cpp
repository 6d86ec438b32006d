#include <cstring>

#include "base/string.h"
#include "http_fixture.h"
#include "support/sweep.h"

// Lines that are not as they should be, and the parser's own steps.
namespace vexa::test {
namespace {

class HttpRequestLines : public HttpRequestTest {
 protected:
  int32_t append(const char* bytes, uint64_t count) {
    return call<int32_t>(request, 16, reinterpret_cast<const uint8_t*>(bytes), count);
  }
  int32_t setUnfinished(const char* bytes, uint64_t count) {
    return call<int32_t>(request, 17, reinterpret_cast<const uint8_t*>(bytes), count);
  }
};

TEST_F(HttpRequestLines, WhiteSpaceBeforeTheMethodIsSkipped) {
  EXPECT_EQ(parse(" \t GET /a HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(textOf(4) + textOf(5) + textOf(7), "GET/aHTTP/1.1");
}

TEST_F(HttpRequestLines, WhiteSpaceBeforeAHeaderNameIsSkipped) {
  EXPECT_EQ(parse("GET / HTTP/1.1\r\n \t Origin : o \r\n\r\n"), kOk);
  EXPECT_EQ(lookUp(11, "Origin"), "o");
}

TEST_F(HttpRequestLines, ALineOfWhiteSpaceIsDroppedAndTheNextOneKept) {
  EXPECT_EQ(parse("GET / HTTP/1.1\r\n \t \r\nOrigin: o\r\n\r\n"), kOk);
  EXPECT_EQ(lookUp(11, "Origin"), "o");
}

TEST_F(HttpRequestLines, ALineOfWhiteSpaceMayBeTheLastOne) {
  EXPECT_EQ(parse("GET / HTTP/1.1\r\n  \r\n"), kMoreNeeded);
  EXPECT_EQ(parse("\r\n"), kOk);
}

TEST_F(HttpRequestLines, CarriageReturnsAndLineFeedsByThemselvesEndNoLine) {
  EXPECT_EQ(parse("GET / HTTP/1.1\r\nOrigin: a\rb\nc\r\r\n\r\n"), kOk);
  EXPECT_EQ(lookUp(11, "Origin"), "a\rb\nc");
  renew();
  EXPECT_EQ(parse("GET / HTTP/1.1\nOrigin: o\n\n"), kMoreNeeded);
}

TEST_F(HttpRequestLines, AHeaderWithoutNameIsDropped) {
  EXPECT_EQ(parse("GET / HTTP/1.1\r\n: o\r\nOrigin: p\r\n\r\n"), kOk);
  EXPECT_EQ(lookUp(11, "Origin"), "p");
  EXPECT_FALSE(spy.traced("HTTP Header:  = o"));
}

TEST_F(HttpRequestLines, AHeaderWithoutColonHasAnEmptyValue) {
  EXPECT_EQ(parse("GET / HTTP/1.1\r\nOrigin\r\n\r\n"), kOk);
  EXPECT_EQ(lookUp(11, "Origin"), "");
}

TEST_F(HttpRequestLines, TheLaterOfTwoHeadersStays) {
  EXPECT_EQ(parse("GET / HTTP/1.1\r\nOrigin: a\r\nORIGIN: b\r\n\r\n"), kOk);
  EXPECT_EQ(lookUp(11, "origin"), "b");
}

TEST_F(HttpRequestLines, AnEmptyTargetLeavesTheUriEmptyAndTheNextLineIsTried) {
  EXPECT_EQ(parse("GET  HTTP/1.1\r\nPUT /b HTTP/1.0\r\n\r\n"), kOk);
  EXPECT_EQ(textOf(4) + textOf(5) + textOf(6) + textOf(7), "PUT/b/bHTTP/1.0");
}

TEST_F(HttpRequestLines, AMissingBlankTakesTheTargetFromLaterLines) {
  EXPECT_EQ(parse("GET\r\nOrigin: o\r\n\r\n"), kOk);
  EXPECT_EQ(textOf(5), "") << "the first token goes to the blank of the next line";
  renew();
  EXPECT_EQ(parse("GET /a\r\nOrigin: o x\r\n\r\n"), kOk);
  EXPECT_EQ(textOf(5), "/a\r\nOrigin:");
  EXPECT_EQ(textOf(7), "o x");
  EXPECT_EQ(lookUp(11, "Origin"), "o x") << "its line is read as a header all the same";
}

TEST_F(HttpRequestLines, ALineWithoutAnyBlankIsDropped) {
  EXPECT_EQ(parse("GET\r\n\r\n"), kOk);
  EXPECT_EQ(textOf(4) + textOf(5), "");
}

TEST_F(HttpRequestLines, QueriesMayHaveEmptyPairsKeysAndValues) {
  EXPECT_EQ(parse("GET /p?&&a&b=&=c& d = e &f=g=h HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(textOf(6), "/p");
  EXPECT_EQ(textOf(5), "/p?&&a&b=&=c&") << "a raw blank ends the target";
  EXPECT_EQ(lookUp(12, "a"), "");
  EXPECT_EQ(lookUp(12, "b"), "");
  EXPECT_EQ(lookUp(12, ""), "c");
  renew();
  EXPECT_EQ(parse("GET ?%20d%20=%20e%20&f=g=h HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(textOf(6), "");
  EXPECT_EQ(lookUp(12, "d"), "e");
  EXPECT_EQ(lookUp(12, "f"), "g=h");
}

TEST_F(HttpRequestLines, BytesBehindACompleteRequestGoThroughTheBodyStep) {
  EXPECT_EQ(parse("GET / HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(parse("more"), kOk) << "nothing was announced";
  EXPECT_FALSE(call<bool>(request, 10));
}

// --- The steps, called one by one as the parser calls them. ---

TEST_F(HttpRequestLines, ReadTokenTakesThePendingBytesUpToTheSeparator) {
  EXPECT_EQ(parse("GET / HTTP/1.1\r\none<>two"), kMoreNeeded);
  base::String token;
  EXPECT_EQ(call<int32_t>(request, 14, "<>", token.get()), kOk);
  EXPECT_STREQ(token.text(), "one");
  EXPECT_EQ(call<int32_t>(request, 14, "<>", token.get()), kFail) << "it comes only once";
  EXPECT_STREQ(token.text(), "one");
  EXPECT_EQ(call<int32_t>(request, 14, "o", token.get()), kOk) << "and the place is kept";
  EXPECT_STREQ(token.text(), "tw");
}

TEST_F(HttpRequestLines, IsMethodAllowedTellsOfTheLastMethod) {
  EXPECT_FALSE(call<bool>(request, 15)) << "none yet";
  for (const char* method :
       {"OPTIONS", "GET", "HEAD", "POST", "PUT", "DELETE", "TRACE", "CONNECT", "get"}) {
    renew();
    EXPECT_EQ(parse(std::string(method) + " / HTTP/1.1\r\n\r\n"), kOk);
    EXPECT_TRUE(call<bool>(request, 15)) << method;
  }
  for (const char* method : {"PATCH", "GETS", "GE"}) {
    renew();
    EXPECT_EQ(parse(std::string(method) + " / HTTP/1.1\r\n\r\n"), kOk);
    EXPECT_FALSE(call<bool>(request, 15)) << method;
  }
}

TEST_F(HttpRequestLines, PendingBytesAreAppendedAndReplaced) {
  EXPECT_EQ(append("GET / HT", 8), kOk);
  EXPECT_EQ(append(nullptr, 0), kOk);
  EXPECT_EQ(parse("TP/1.1\r\n\r\n"), kOk) << "what was appended stands in front";
  EXPECT_EQ(textOf(7), "HTTP/1.1");
  renew();
  EXPECT_EQ(setUnfinished("PUT ", 4), kOk);
  EXPECT_EQ(setUnfinished("GET ", 4), kOk) << "replaces";
  EXPECT_EQ(parse("/b HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(textOf(4) + textOf(5), "GET/b");
}

TEST_F(HttpRequestLines, MoreBytesThanThereCanBeAreRefused) {
  EXPECT_EQ(append("x", 1), kOk);
  EXPECT_EQ(append("x", UINT64_MAX), kOutOfMemory);
  EXPECT_EQ(append("x", uint64_t{1} << 62), kOutOfMemory);
  EXPECT_EQ(setUnfinished("x", uint64_t{1} << 62), kOutOfMemory);
}

TEST_F(HttpRequestLines, EveryFailedAllocationOfAStepIsReported) {
  sweepAllocations(spy, [this] {
    void* const first = request;
    if (create(kHttpRequestClassName, IID_IHTTPRequest, &request) != kOk) {
      request = first;
      return false;
    }
    base::String token;
    const int32_t results[] = {append("one<>two", 8), setUnfinished("0123456789", 10),
                               parse("GET / HTTP/1.1\r\none<>"),
                               call<int32_t>(request, 14, "<>", token.get())};
    EXPECT_EQ(call<uint32_t>(std::exchange(request, first), 2), 0u);
    return results[0] == kOk && results[1] == kOk && results[2] == kMoreNeeded && results[3] == kOk;
  });
}

TEST_F(HttpRequestLines, EveryFailedAllocationOfALookUpIsReported) {
  ASSERT_EQ(parse("GET /a?x=1 HTTP/1.1\r\nOrigin: o\r\n\r\n"), kOk);
  for (const int slotNumber : {11, 12}) {
    const char* const name = slotNumber == 11 ? "origin" : "x";
    const int swept = sweepAllocations(spy, [&] {
      char* value = nullptr;
      const int32_t result = call<int32_t>(request, slotNumber, name, &value);
      EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
      EXPECT_EQ(value != nullptr, result == kOk);
      spy.root.Free(value);
      return result == kOk;
    });
    EXPECT_GE(swept, 2) << "the name, and the value's copy";
  }
}

}  // namespace
}  // namespace vexa::test
