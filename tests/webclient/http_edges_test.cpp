#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "http_fixture.h"
#include "support/sweep.h"
#include "vexa/http_response.h"

// The edges of the HTTP classes, through their raw tables.
namespace vexa::test {
namespace {

using testing::Contains;

class HttpRequestEdges : public HttpRequestTest {};

constexpr char kGet[] = "GET /a?x=1&y=2 HTTP/1.1\r\nOrigin: o\r\n\r\n";

TEST_F(HttpRequestEdges, ARequestInOnePieceCompletes) {
  EXPECT_EQ(parse(kGet), kOk);
  EXPECT_EQ(all(), "GET|/a?x=1&y=2|/a|HTTP/1.1|o|(absent)|1|2|(none)");
  EXPECT_FALSE(call<bool>(request, 10));
  EXPECT_EQ(call<const uint8_t*>(request, 8), nullptr);
}

TEST_F(HttpRequestEdges, FedByteByByteEveryCallButTheLastAsksForMore) {
  const std::string text = kGet;
  for (size_t i = 0; i < text.size(); ++i) {
    EXPECT_EQ(parse(text.substr(i, 1)), i + 1 < text.size() ? kMoreNeeded : kOk) << i;
  }
  EXPECT_EQ(all(), "GET|/a?x=1&y=2|/a|HTTP/1.1|o|(absent)|1|2|(none)");
}

TEST_F(HttpRequestEdges, EverySplitGivesTheSameRequest) {
  const std::string requests[] = {
      kGet, "POST /p?%78=%31&Y= 2 HTTP/1.0\r\nreferer:  r \r\nContent-Length: 5\r\n\r\nhello",
      "PATCH /no HTTP/1.1\r\nPUT /yes HTTP/1.1\r\nX-Other: v\r\n\r\n",
      "GET / HTTP/1.1\r\nContent-Length: 9\r\ncontent-length: 2\r\n\r\nab"};
  for (const std::string& text : requests) {
    renew();
    EXPECT_EQ(parse(text), kOk) << text;
    const std::string whole = all();
    for (size_t cut = 1; cut < text.size(); ++cut) {
      renew();
      EXPECT_EQ(parse(text.substr(0, cut)), kMoreNeeded) << cut;
      EXPECT_EQ(parse(text.substr(cut)), kOk) << cut;
      EXPECT_EQ(all(), whole) << cut;
    }
  }
}

TEST_F(HttpRequestEdges, AnUnfinishedLineOf1024BytesWaitsAndOf1025IsBlocked) {
  EXPECT_EQ(parse(std::string(1024, 'a')), kMoreNeeded);
  renew();
  spy.clearTrace();
  EXPECT_EQ(parse(std::string(1025, 'a')), kFail);
  EXPECT_TRUE(spy.traced(
      "[BLOCK] Request blocked. Headerline too large: 1025 bytes (accepted: 1024 bytes)"));
  renew();
  EXPECT_EQ(parse("GET / HTTP/1.1\r\nOrigin: " + std::string(5000, 'a') + "\r\n\r\n"), kOk)
      << "a line that comes whole may be longer";
}

TEST_F(HttpRequestEdges, TheBodyIsCompleteAtExactlyContentLength) {
  const std::string head = "POST / HTTP/1.1\r\nContent-Length: 5\r\n\r\n";
  EXPECT_EQ(parse(head + "hel"), kMoreNeeded);
  EXPECT_EQ(parse("lo"), kOk);
  EXPECT_STREQ(reinterpret_cast<const char*>(call<const uint8_t*>(request, 8)), "hello");
  EXPECT_EQ(parse("more"), kMoreNeeded) << "after completion it answers through the body step";
  renew();
  EXPECT_EQ(parse(head + "hello!"), kMoreNeeded);
  EXPECT_EQ(parse("x"), kMoreNeeded) << "it never completes";
}

TEST_F(HttpRequestEdges, BodiesOf1048576BytesPassAndOneMoreIsBlocked) {
  EXPECT_EQ(parse("POST / HTTP/1.1\r\nContent-Length: 1048576\r\n\r\n"), kMoreNeeded);
  EXPECT_EQ(parse(std::string(1048576, 'b')), kOk);
  renew();
  EXPECT_EQ(parse("POST / HTTP/1.1\r\nContent-Length: 1048577\r\n\r\n"), kMoreNeeded);
  spy.clearTrace();
  EXPECT_EQ(parse(std::string(1048577, 'b')), kFail);
  EXPECT_TRUE(spy.traced(
      "[BLOCK] Request blocked. Body too large: 1048577 bytes (accepted: 1048576 bytes)"));
  renew();
  EXPECT_EQ(parse("POST / HTTP/1.1\r\n\r\n" + std::string(1048577, 'b')), kFail);
}

TEST_F(HttpRequestEdges, ContentLengthsThatAreNoNumbersCountAs0) {
  EXPECT_EQ(parse("GET / HTTP/1.1\r\nContent-Length: 12abc\r\n\r\n"), kOk);
  EXPECT_TRUE(spy.traced("Failed to parse HTTP request Content-Length: 12abc"));
  EXPECT_TRUE(spy.traced("HTTP request Content-Length: 0"));
  renew();
  spy.clearTrace();
  EXPECT_EQ(parse("GET / HTTP/1.1\r\nContent-Length: 0\r\n\r\n"), kOk);
  EXPECT_FALSE(spy.traced("Failed to parse HTTP request Content-Length: 0"));
  renew();
  EXPECT_EQ(parse("GET / HTTP/1.1\r\nContent-Length: -5\r\n\r\n12345"), kMoreNeeded)
      << "a negative one is huge";
}

TEST_F(HttpRequestEdges, OtherHeadersAreTracedAndNotKept) {
  EXPECT_EQ(parse("GET / HTTP/1.1\r\nX-Other: v\r\n\r\n"), kOk);
  EXPECT_TRUE(spy.traced("HTTP Header: X-OTHER = v"));
  EXPECT_EQ(lookUp(11, "X-Other"), "(absent)");
}

TEST_F(HttpRequestEdges, AMethodThatIsNotAcceptedLeavesTheUriEmpty) {
  EXPECT_EQ(parse("PATCH /a HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(textOf(5), "");
  renew();
  EXPECT_EQ(parse("PATCH /a HTTP/1.1\r\nDELETE /b HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(textOf(4) + textOf(5), "DELETE/b") << "the next line is tried as the request line";
}

TEST_F(HttpRequestEdges, NoBytesAreInvalid) {
  const uint8_t byte = 'G';
  EXPECT_EQ(call<int32_t>(request, 3, &byte, uint64_t{0}), kInvalidArgument);
  EXPECT_EQ(call<int32_t>(request, 3, static_cast<const uint8_t*>(nullptr), uint64_t{3}),
            kInvalidArgument);
  EXPECT_EQ(call<int32_t>(request, 9, static_cast<runtime::ByteBuffer*>(nullptr)),
            kInvalidArgument);
  runtime::ByteBuffer body{};
  EXPECT_EQ(call<int32_t>(request, 9, &body), kFail);
  for (const int getter : {4, 5, 6, 7}) {
    EXPECT_EQ(textOf(getter), "");
  }
  for (const int look : {11, 12}) {
    char* value = nullptr;
    EXPECT_EQ(call<int32_t>(request, look, "x", static_cast<char**>(nullptr)), kFail);
    EXPECT_EQ(call<int32_t>(request, look, static_cast<const char*>(nullptr), &value), kFail);
  }
}

TEST_F(HttpRequestEdges, TheDumpShowsTheWholeRequest) {
  spy.setTraceLevel(5);
  EXPECT_EQ(parse("POST /a?x=1 HTTP/1.1\r\nOrigin: o\r\nContent-Length: 2\r\n\r\nhi"), kOk);
  const std::vector<std::string> dump = {"****************** HTTP Request ******************",
                                         "HTTP method: POST",
                                         "HTTP uri: /a?x=1",
                                         "HTTP path: /a",
                                         "HTTP query: : X : 1",
                                         "HTTP protocol: HTTP/1.1",
                                         "HTTP headers: : ORIGIN : o",
                                         "HTTP Body: hi",
                                         "****************** HTTP Request ******************"};
  std::vector<std::string> texts;
  for (const TraceLine& line : spy.messages()) {
    EXPECT_EQ(line.level, 4u);
    EXPECT_EQ(line.source, "vexabase");
    texts.push_back(line.text);
  }
  ASSERT_GE(texts.size(), dump.size());
  EXPECT_EQ(
      std::vector<std::string>(texts.end() - static_cast<std::ptrdiff_t>(dump.size()), texts.end()),
      dump);
  for (const char* text :
       {"****** HTTP Request Begin (RAW) ******", "******  HTTP Request End (RAW)  ******",
        "CHTTPRequest::header finished", "Query string parsed: x=1",
        "Request String parsed: method: POST, uri: /a?x=1, protocol version: HTTP/1.1",
        "ContentLength 2 bytes (len: 2 bytes)"}) {
    EXPECT_THAT(texts, Contains(text));
  }
  for (const char* scope : {"parseRequestLine", "parseURI", "parseHeaderLine", "parseBody"}) {
    EXPECT_TRUE(spy.traced(std::string("{ CHTTPRequest::") + scope)) << scope;
  }
}

TEST_F(HttpRequestEdges, EveryFailedAllocationIsReportedAndLeavesNothing) {
  sweepAllocations(spy, [this] {
    void* fresh = nullptr;
    if (create(kHttpRequestClassName, IID_IHTTPRequest, &fresh) != kOk) {
      EXPECT_EQ(fresh, nullptr);
      return false;
    }
    const std::string text =
        "POST /a?x=1&y=2 HTTP/1.1\r\nOrigin: o\r\nReferer: r\r\nContent-Length: 2\r\n\r\nhi";
    const int32_t result = call<int32_t>(fresh, 3, reinterpret_cast<const uint8_t*>(text.data()),
                                         uint64_t{text.size()});
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    EXPECT_EQ(call<uint32_t>(fresh, 2), 0u);
    return result == kOk;
  });
}

// --- Responses ---

class HttpResponseEdges : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    response = create(kHttpResponseClassName, IID_IHTTPResponse);
  }
  void TearDown() override {
    spy.root.Free(buffer);
    EXPECT_EQ(call<uint32_t>(response, 2), 0u);
    ModuleTest::TearDown();
  }
  std::string serialise() {
    EXPECT_EQ(call<int32_t>(response, 3, &buffer, &size), kOk);
    return {reinterpret_cast<char*>(buffer), size};
  }
  int32_t setStatus(uint32_t code, const char* reason = nullptr) {
    return call<int32_t>(response, 4, code, reason);
  }

  void* response = nullptr;
  uint8_t* buffer = nullptr;
  uint64_t size = 0;
};

TEST_F(HttpResponseEdges, AFreshResponseIs200Ok) {
  EXPECT_EQ(call<uint32_t>(response, 5), 200u);
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
}

TEST_F(HttpResponseEdges, ABodyOfTwoBytesGives40) {
  EXPECT_EQ(call<int32_t>(response, 7, "hi"), kOk);
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi");
  EXPECT_EQ(size, 40u);
}

TEST_F(HttpResponseEdges, SetStatusAnswersNotImplementedAlsoOnSuccess) {
  EXPECT_EQ(setStatus(404), kNotImplemented);
  EXPECT_EQ(call<uint32_t>(response, 5), 404u);
  EXPECT_EQ(setStatus(1001), kFail);
  EXPECT_EQ(call<uint32_t>(response, 5), 404u);
  EXPECT_EQ(serialise().substr(0, 24), "HTTP/1.1 404 Not Found\r\n");
  EXPECT_EQ(setStatus(1000), kNotImplemented);
  EXPECT_EQ(serialise().substr(0, 16), "HTTP/1.1 1000 \r\n");
  EXPECT_EQ(setStatus(200, "Fine"), kNotImplemented);
  EXPECT_EQ(serialise().substr(0, 19), "HTTP/1.1 200 Fine\r\n");
  EXPECT_EQ(setStatus(100), kNotImplemented);
  EXPECT_EQ(serialise().substr(0, 23), "HTTP/1.1 100 continue\r\n");
}

TEST_F(HttpResponseEdges, HeadersAreTrimmedAndKeepTheirOrder) {
  EXPECT_EQ(call<int32_t>(response, 8, " X ", " y "), kOk);
  EXPECT_EQ(call<int32_t>(response, 8, "A", "b"), kOk);
  EXPECT_EQ(call<int32_t>(response, 8, "X", "z"), kOk);
  EXPECT_EQ(call<int32_t>(response, 8, static_cast<const char*>(nullptr), "z"), kFail);
  EXPECT_EQ(call<int32_t>(response, 8, "X", static_cast<const char*>(nullptr)), kFail);
  EXPECT_EQ(call<int32_t>(response, 6, "HTTP/1.0"), kOk);
  EXPECT_EQ(serialise(), "HTTP/1.0 200 OK\r\nX: y\r\nA: b\r\nX: z\r\nContent-Length: 0\r\n\r\n");
}

TEST_F(HttpResponseEdges, ABufferThatIsLargeEnoughIsWrittenInPlace) {
  buffer = static_cast<uint8_t*>(spy.root.Allocate(500));
  uint8_t* const before = buffer;
  size = 500;
  const std::string text = serialise();
  EXPECT_EQ(buffer, before);
  EXPECT_EQ(size, text.size());
  EXPECT_EQ(text, "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
}

TEST_F(HttpResponseEdges, SerialisingNeedsBothPlaces) {
  EXPECT_EQ(call<int32_t>(response, 3, static_cast<void*>(nullptr), &size), kNullPointer);
  EXPECT_EQ(call<int32_t>(response, 3, &buffer, static_cast<void*>(nullptr)), kNullPointer);
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n") << "no header was added";
}

TEST_F(HttpResponseEdges, SerialisingTwiceAddsASecondContentLength) {
  (void)serialise();
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nContent-Length: 0\r\n\r\n");
}

TEST_F(HttpResponseEdges, TheDumpStandsBetweenTwoBanners) {
  spy.setTraceLevel(4);
  const std::string text = serialise();
  const std::string banner = "****************** HTTP Response ******************";
  EXPECT_THAT(spy.traceTexts(4), testing::ElementsAre(banner, text, banner));
}

TEST_F(HttpResponseEdges, AHeaderListThatCannotGrowIsEmptyAfterwards) {
  EXPECT_EQ(call<int32_t>(response, 8, "A", "b"), kOk);
  const uint64_t before = spy.allocations();
  EXPECT_EQ(call<int32_t>(response, 8, "C", "d"), kOk);
  const uint64_t needed = spy.allocations() - before;
  spy.failAllocation(needed);
  EXPECT_EQ(call<int32_t>(response, 8, "E", "f"), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_EQ(serialise(), "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
}

TEST_F(HttpResponseEdges, EveryFailedAllocationLeavesNothing) {
  sweepAllocations(spy, [this] {
    void* fresh = nullptr;
    if (create(kHttpResponseClassName, IID_IHTTPResponse, &fresh) != kOk) {
      return false;
    }
    uint8_t* text = nullptr;
    uint64_t length = 0;
    const bool done =
        call<int32_t>(fresh, 8, "A", "b") == kOk && call<int32_t>(fresh, 7, "body") == kOk &&
        call<int32_t>(fresh, 4, 404u, static_cast<const char*>(nullptr)) == kNotImplemented &&
        call<int32_t>(fresh, 3, &text, &length) == kOk;
    spy.root.Free(text);
    EXPECT_EQ(call<uint32_t>(fresh, 2), 0u);
    return done;
  });
}

}  // namespace
}  // namespace vexa::test
