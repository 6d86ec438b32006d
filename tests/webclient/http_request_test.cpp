#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "http_fixture.h"
#include "support/sweep.h"

// What comes of whole requests: limits, bodies, pieces, memory.
namespace vexa::test {
namespace {

class HttpRequest : public HttpRequestTest {
 protected:
  // The n-th text that is normalised from now on (1: the next one) finds no memory.
  void failNormaliseAt(int n) {
    static int left = 0;
    static auto* const normalise = spy.strings.Normalise;
    left = n;
    spy.strings.Normalise = [](runtime::StringObject* text) {
      return --left == 0 ? kOutOfMemory : normalise(text);
    };
  }
};

constexpr char kGet[] = "GET /a?x=1&y=2 HTTP/1.1\r\nOrigin: o\r\n\r\n";

TEST_F(HttpRequest, ARequestInOnePieceCompletes) {
  EXPECT_EQ(request.parse(kGet), kOk);
  EXPECT_EQ(request.all(), "GET|/a?x=1&y=2|/a|HTTP/1.1|o|(absent)|1|2|(none)");
  EXPECT_FALSE(request.hasBody());
  EXPECT_EQ(request.getBody(), nullptr);
}

TEST_F(HttpRequest, FedByteByByteEveryCallButTheLastAsksForMore) {
  const std::string text = kGet;
  for (size_t i = 0; i < text.size(); ++i) {
    EXPECT_EQ(request.parse(text.substr(i, 1)), i + 1 < text.size() ? kMoreNeeded : kOk) << i;
  }
  EXPECT_EQ(request.all(), "GET|/a?x=1&y=2|/a|HTTP/1.1|o|(absent)|1|2|(none)");
}

TEST_F(HttpRequest, EverySplitGivesTheSameRequest) {
  const std::string requests[] = {
      kGet, "POST /p?%78=%31&Y= 2 HTTP/1.0\r\nreferer:  r \r\nContent-Length: 5\r\n\r\nhello",
      "PATCH /no HTTP/1.1\r\nPUT /yes HTTP/1.1\r\nX-Other: v\r\n\r\n",
      "GET / HTTP/1.1\r\nOrigin: a\r\rb\r\r\nReferer: \n\r \r\n\r\n",
      "GET / HTTP/1.1\r\nContent-Length: 9\r\ncontent-length: 2\r\n\r\nab"};
  for (const std::string& text : requests) {
    renew();
    EXPECT_EQ(request.parse(text), kOk) << text;
    const std::string whole = request.all();
    for (size_t cut = 1; cut < text.size(); ++cut) {
      renew();
      EXPECT_EQ(request.parse(text.substr(0, cut)), kMoreNeeded) << cut;
      EXPECT_EQ(request.parse(text.substr(cut)), kOk) << cut;
      EXPECT_EQ(request.all(), whole) << cut;
    }
  }
}

TEST_F(HttpRequest, AnUnfinishedLineOf1024BytesWaitsAndOf1025IsBlocked) {
  EXPECT_EQ(request.parse(std::string(1024, 'a')), kMoreNeeded);
  renew();
  spy.clearTrace();
  EXPECT_EQ(request.parse(std::string(1025, 'a')), kFail);
  EXPECT_TRUE(spy.traced(
      "[BLOCK] Request blocked. Headerline too large: 1025 bytes (accepted: 1024 bytes)"));
  renew();
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\nOrigin: " + std::string(5000, 'a') + "\r\n\r\n"), kOk)
      << "a line that comes whole may be longer";
}

TEST_F(HttpRequest, TheBodyIsCompleteAtExactlyContentLength) {
  const std::string head = "POST / HTTP/1.1\r\nContent-Length: 5\r\n\r\n";
  EXPECT_EQ(request.parse(head + "hel"), kMoreNeeded);
  EXPECT_EQ(request.parse("lo"), kOk);
  EXPECT_STREQ(reinterpret_cast<const char*>(request.getBody()), "hello");
  EXPECT_EQ(request.parse("more"), kMoreNeeded)
      << "after completion it answers through the body step";
  renew();
  EXPECT_EQ(request.parse(head + "hello!"), kMoreNeeded);
  EXPECT_EQ(request.parse("x"), kMoreNeeded) << "it never completes";
}

TEST_F(HttpRequest, BodiesOf1048576BytesPassAndOneMoreIsBlocked) {
  EXPECT_EQ(request.parse("POST / HTTP/1.1\r\nContent-Length: 1048576\r\n\r\n"), kMoreNeeded);
  EXPECT_EQ(request.parse(std::string(1048576, 'b')), kOk);
  renew();
  EXPECT_EQ(request.parse("POST / HTTP/1.1\r\nContent-Length: 1048577\r\n\r\n"), kMoreNeeded);
  spy.clearTrace();
  EXPECT_EQ(request.parse(std::string(1048577, 'b')), kFail);
  EXPECT_TRUE(spy.traced(
      "[BLOCK] Request blocked. Body too large: 1048577 bytes (accepted: 1048576 bytes)"));
  renew();
  EXPECT_EQ(request.parse("POST / HTTP/1.1\r\n\r\n" + std::string(1048577, 'b')), kFail);
  renew();
  EXPECT_EQ(request.parse("POST / HTTP/1.1\r\n\r\n" + std::string(1048576, 'b')), kOk)
      << "bytes that nobody announced, up to the limit";
}

// The pending bytes grow by exactly what came, and nothing else is asked of the heap.
TEST_F(HttpRequest, APieceOfABodyCostsOneAllocation) {
  constexpr uint64_t kBody = 100'000;
  constexpr uint64_t kPiece = 64;
  ASSERT_EQ(
      request.parse("POST / HTTP/1.1\r\nContent-Length: " + std::to_string(kBody) + "\r\n\r\n"),
      kMoreNeeded);
  const std::string piece(kPiece, 'b');
  for (uint64_t at = 0; at + kPiece < kBody; at += kPiece) {
    const uint64_t before = spy.allocations();
    ASSERT_EQ(request.parse(piece), kMoreNeeded);
    ASSERT_LE(spy.allocations() - before, 1u) << at;
  }
}

TEST_F(HttpRequest, ContentLengthsThatAreNoNumbersCountAs0) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\nContent-Length: 12abc\r\n\r\n"), kOk);
  EXPECT_TRUE(spy.traced("Failed to parse HTTP request Content-Length: 12abc"));
  EXPECT_TRUE(spy.traced("HTTP request Content-Length: 0"));
  renew();
  spy.clearTrace();
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\nContent-Length: 0\r\n\r\n"), kOk);
  EXPECT_FALSE(spy.traced("Failed to parse HTTP request Content-Length: 0"));
  renew();
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\nContent-Length: -5\r\n\r\n12345"), kMoreNeeded)
      << "a negative one is huge";
}

TEST_F(HttpRequest, OtherHeadersAreTracedAndNotKept) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\nX-Other: v\r\n\r\n"), kOk);
  EXPECT_TRUE(spy.traced("HTTP Header: X-OTHER = v"));
  EXPECT_EQ(request.header("X-Other"), "(absent)");
}

TEST_F(HttpRequest, AMethodThatIsNotAcceptedLeavesTheUriEmpty) {
  EXPECT_EQ(request.parse("PATCH /a HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_STREQ(request.getURI(), "");
  EXPECT_STREQ(request.getMethod(), "PATCH");
  renew();
  EXPECT_EQ(request.parse("PATCH /a HTTP/1.1\r\nDELETE /b HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_STREQ(request.getMethod(), "DELETE") << "the next line is tried as the request line";
  EXPECT_STREQ(request.getURI(), "/b");
}

TEST_F(HttpRequest, LongMethodsAndVersionsAreKeptWhole) {
  const std::string word(100, 'A');
  EXPECT_EQ(request.parse(word + " / HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(request.getMethod(), word);
  renew();
  EXPECT_EQ(request.parse("GET / " + word + "\r\n\r\n"), kOk);
  EXPECT_EQ(request.getProtocolVersion(), word);
}

TEST_F(HttpRequest, MoreParametersThanATableHasChainsAreAllFound) {
  std::string text = "GET /?";
  for (int i = 0; i < 600; ++i) {
    text += "k" + std::to_string(i) + "=v" + std::to_string(i) + "&";
  }
  EXPECT_EQ(request.parse(text + " HTTP/1.1\r\n\r\n"), kOk);
  for (int i = 0; i < 600; ++i) {
    ASSERT_EQ(request.parameter(("K" + std::to_string(i)).c_str()), "v" + std::to_string(i));
  }
}

TEST_F(HttpRequest, NoBytesAreInvalid) {
  const uint8_t byte = 'G';
  EXPECT_EQ(request.parse(&byte, 0), kInvalidArgument);
  EXPECT_EQ(request.parse(nullptr, 3), kInvalidArgument);
}

TEST_F(HttpRequest, AFreshOneHasNothingToTell) {
  runtime::ByteBuffer body{};
  EXPECT_EQ(request.getBodyData(&body), kFail);
  EXPECT_EQ(request.getBodyData(nullptr), kInvalidArgument);
  EXPECT_EQ(request.all(), "||||(absent)|(absent)|(absent)|(absent)|(none)");
}

TEST_F(HttpRequest, LookUpsNeedANameAndAPlace) {
  char* value = nullptr;
  EXPECT_EQ(request.getHeader("x", nullptr), kFail);
  EXPECT_EQ(request.getHeader(nullptr, &value), kFail);
  EXPECT_EQ(request.getQueryParameter("x", nullptr), kFail);
  EXPECT_EQ(request.getQueryParameter(nullptr, &value), kFail);
}

TEST_F(HttpRequest, ALookUpThatFailsGivesNull) {
  char other[] = "other";
  for (const char* name : {static_cast<const char*>(nullptr), "x"}) {
    char* value = other;
    EXPECT_EQ(request.getHeader(name, &value), kFail);
    EXPECT_EQ(value, nullptr);
    value = other;
    EXPECT_EQ(request.getQueryParameter(name, &value), kFail);
    EXPECT_EQ(value, nullptr);
  }
}

TEST_F(HttpRequest, ANameThatCannotBeNormalisedIsReportedAsShortMemory) {
  ASSERT_EQ(request.parse("GET /a?x=1 HTTP/1.1\r\nOrigin: o\r\n\r\n"), kOk);
  failNormaliseAt(1);
  char* value = nullptr;
  EXPECT_EQ(request.getHeader("Origin", &value), kOutOfMemory);
  failNormaliseAt(1);
  EXPECT_EQ(request.getQueryParameter("x", &value), kOutOfMemory);
  EXPECT_EQ(value, nullptr);
}

// Dropped as a bad line, it would be missing from a request that calls itself complete.
TEST_F(HttpRequest, ALineThatCannotBeNormalisedIsShortMemoryAndNoBadLine) {
  const std::string text = "GET /a?x=1 HTTP/1.1\r\nOrigin: o\r\nX-Other: v\r\n\r\n";
  for (const int n : {1, 2, 3, 4}) {  // the method, the parameter, both headers
    failNormaliseAt(n);
    EXPECT_EQ(request.parse(text), kOutOfMemory) << n;
    renew();
  }
  failNormaliseAt(5);
  EXPECT_EQ(request.parse(text), kOk);
}

// --- Memory ---

TEST_F(HttpRequest, EveryFailedAllocationIsReportedAndNothingIsLost) {
  const std::string text =
      "POST /a?x=1&y=2&a&b&c&d&e&f&g&h HTTP/1.1\r\nOrigin: o\r\nReferer: r\r\nContent-Length: 2"
      "\r\n\r\nhi";
  sweepAllocations(spy, [this, &text] {
    const RawRequest fresh = another();
    if (!fresh) {
      return false;
    }
    const int32_t result = fresh.parse(text);
    if (result == kOk) {
      allocation_gate::neverFail();  // the look-ups below are others' concern
      EXPECT_EQ(fresh.all(), "POST|/a?x=1&y=2&a&b&c&d&e&f&g&h|/a|HTTP/1.1|o|r|1|2|hi");
    } else {
      EXPECT_EQ(result, kOutOfMemory);
    }
    return result == kOk;
  });
}

TEST_F(HttpRequest, EveryFailedAllocationOfALongMethodOrVersionIsReported) {
  const std::string word(100, 'A');
  for (const std::string& line : {word + " / HTTP/1.1", "GET / " + word}) {
    EXPECT_GE(sweepAllocations(spy,
                               [this, &line] {
                                 const RawRequest fresh = another();
                                 const int32_t result =
                                     fresh ? fresh.parse(line + "\r\n\r\n") : kOutOfMemory;
                                 EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
                                 return result == kOk;
                               }),
              2)
        << "the pending bytes and the word";
  }
}

TEST_F(HttpRequest, EveryFailedAllocationOfALookUpIsReported) {
  const std::string longName(100, 'X');
  ASSERT_EQ(request.parse("GET /a?x=1&" + longName + "=2 HTTP/1.1\r\nOrigin: o\r\n\r\n"), kOk);
  const auto sweep = [this](auto lookUp) {
    return sweepAllocations(spy, [&] {
      char* value = nullptr;
      const int32_t result = lookUp(&value);
      EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
      EXPECT_EQ(value != nullptr, result == kOk);
      spy.root.Free(value);
      return result == kOk;
    });
  };
  EXPECT_GE(sweep([&](char** value) { return request.getHeader("origin", value); }), 1)
      << "the value's copy";
  EXPECT_GE(sweep([&](char** value) { return request.getQueryParameter("x", value); }), 1);
  EXPECT_GE(sweep([&](char** value) { return request.getQueryParameter(longName.c_str(), value); }),
            2)
      << "the name, and the value's copy";
}

}  // namespace
}  // namespace vexa::test
