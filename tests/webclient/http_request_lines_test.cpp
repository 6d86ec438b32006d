#include <string>

#include "base/string.h"
#include "http_fixture.h"
#include "support/sweep.h"

// Lines that are not as they should be, and the parser's own steps.
namespace vexa::test {
namespace {

class HttpRequestLines : public HttpRequestTest {
 protected:
  std::string requestLine() const {
    return std::string(request.getMethod()) + " " + request.getURI() + " " +
           request.getProtocolVersion();
  }
  static std::string repeated(const char* piece, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
      text += piece;
    }
    return text;
  }
};

TEST_F(HttpRequestLines, WhiteSpaceBeforeTheMethodIsSkipped) {
  EXPECT_EQ(request.parse(" \t GET /a HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(requestLine(), "GET /a HTTP/1.1");
}

TEST_F(HttpRequestLines, WhiteSpaceBeforeAHeaderNameIsSkipped) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\n \t Origin : o \r\n\r\n"), kOk);
  EXPECT_EQ(request.header("Origin"), "o");
}

TEST_F(HttpRequestLines, ALineOfWhiteSpaceIsDroppedAndTheNextOneKept) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\n \t \r\nOrigin: o\r\n\r\n"), kOk);
  EXPECT_EQ(request.header("Origin"), "o");
}

TEST_F(HttpRequestLines, ALineOfWhiteSpaceMayBeTheLastOne) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\n  \r\n"), kMoreNeeded);
  EXPECT_EQ(request.parse("\r\n"), kOk);
}

TEST_F(HttpRequestLines, CarriageReturnsAndLineFeedsByThemselvesEndNoLine) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\nOrigin: a\rb\nc\r\r\n\r\n"), kOk);
  EXPECT_EQ(request.header("Origin"), "a\rb\nc");
  renew();
  EXPECT_EQ(request.parse("GET / HTTP/1.1\nOrigin: o\n\n"), kMoreNeeded);
}

TEST_F(HttpRequestLines, AHeaderWithoutNameIsDropped) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\n: o\r\nOrigin: p\r\n\r\n"), kOk);
  EXPECT_EQ(request.header("Origin"), "p");
  EXPECT_FALSE(spy.traced("HTTP Header:  = o"));
}

TEST_F(HttpRequestLines, AHeaderWithoutColonHasAnEmptyValue) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\nOrigin\r\n\r\n"), kOk);
  EXPECT_EQ(request.header("Origin"), "");
}

TEST_F(HttpRequestLines, ValuesLoseTheWhiteSpaceAroundThemAndKeepColons) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\nOrigin:\t a:b c \t\r\nReferer: \r\n\r\n"), kOk);
  EXPECT_EQ(request.header("Origin"), "a:b c");
  EXPECT_EQ(request.header("Referer"), "");
}

TEST_F(HttpRequestLines, AZeroByteEndsItsLine) {
  const std::string line = std::string("Origin: a") + '\0' + "b\r\n";
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\n" + line + "\r\n"), kOk);
  EXPECT_EQ(request.header("Origin"), "a");
  renew();
  EXPECT_EQ(request.parse(std::string("GET / HTTP/1.1\r\n") + '\0' + "Origin: o\r\n\r\n"), kOk);
  EXPECT_EQ(request.header("Origin"), "(absent)");
}

TEST_F(HttpRequestLines, TheLaterOfTwoHeadersStays) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\nOrigin: a\r\nORIGIN: b\r\n\r\n"), kOk);
  EXPECT_EQ(request.header("origin"), "b");
}

TEST_F(HttpRequestLines, AnEmptyTargetLeavesTheUriEmptyAndTheNextLineIsTried) {
  EXPECT_EQ(request.parse("GET  HTTP/1.1\r\nPUT /b HTTP/1.0\r\n\r\n"), kOk);
  EXPECT_EQ(requestLine(), "PUT /b HTTP/1.0");
  EXPECT_STREQ(request.getPath(), "/b");
}

TEST_F(HttpRequestLines, AMissingBlankTakesTheTargetFromLaterLines) {
  EXPECT_EQ(request.parse("GET\r\nOrigin: o\r\n\r\n"), kOk);
  EXPECT_STREQ(request.getURI(), "") << "the first token goes to the blank of the next line";
  renew();
  EXPECT_EQ(request.parse("GET /a\r\nOrigin: o x\r\n\r\n"), kOk);
  EXPECT_STREQ(request.getURI(), "/a\r\nOrigin:");
  EXPECT_STREQ(request.getProtocolVersion(), "o x");
  EXPECT_EQ(request.header("Origin"), "o x") << "its line is read as a header all the same";
}

TEST_F(HttpRequestLines, ALineWithoutAnyBlankIsDropped) {
  EXPECT_EQ(request.parse("GET\r\n\r\n"), kOk);
  EXPECT_EQ(requestLine(), "  ");
}

TEST_F(HttpRequestLines, ManyLinesOfWhiteSpaceLeadToTheLinesBehindThem) {
  const std::string white = repeated(" \r\n\t\r\n", 100);
  EXPECT_EQ(request.parse(white + "GET /a HTTP/1.1\r\n" + white + "Origin: o\r\n" + white + "\r\n"),
            kOk);
  EXPECT_EQ(requestLine(), "GET /a HTTP/1.1");
  EXPECT_EQ(request.header("Origin"), "o");
}

TEST_F(HttpRequestLines, AMethodThatThereIsNotStaysUntilTheNextOne) {
  EXPECT_EQ(request.parse("unheardOf / HTTP/1.1\r\n"), kMoreNeeded);
  EXPECT_STREQ(request.getMethod(), "UNHEARDOF");
  EXPECT_FALSE(request.isMethodAllowed());
  EXPECT_EQ(request.parse("a\r\nge unheardOf\r\n\r\n"), kOk);
  EXPECT_STREQ(request.getMethod(), "GE") << "the first line's reaches into the second one";
  renew();
  EXPECT_EQ(request.parse("a\r\nb\r\nunheardOf\r\nx y\r\n\r\n"), kOk);
  EXPECT_STREQ(request.getMethod(), "X");
  renew();
  EXPECT_EQ(request.parse("a\r\nunheardOf\r\nb \r\n\r\n"), kOk);
  EXPECT_STREQ(request.getMethod(), "B");
  renew();
  EXPECT_EQ(request.parse("a\r\nunheardOf\r\n b\r\n\r\n"), kOk);
  EXPECT_STREQ(request.getMethod(), "UNHEARDOF\r\n") << "there is no other blank";
}

TEST_F(HttpRequestLines, AMethodThatFindsNoMemoryIsReported) {
  sweepAllocations(spy, [this] {
    const RawRequest fresh = another();
    return fresh && fresh.parse(std::string(100, 'm') + " / HTTP/1.1\r\n\r\n") == kOk;
  });
}

// Each line's method is all that comes before the next blank, which is far away.
TEST_F(HttpRequestLines, ManyLinesWithoutABlankAreNotCopiedForEachOfThem) {
  static uint64_t normalised;
  static int32_t (*normalise)(runtime::StringObject*);
  normalised = 0;
  normalise = spy.strings.Normalise;
  spy.strings.Normalise = [](runtime::StringObject* text) {
    normalised += text->length;
    return normalise(text);
  };
  const std::string text = repeated("a\r\n", 300) + "b c\r\n\r\n";
  EXPECT_EQ(request.parse(text), kOk);
  EXPECT_STREQ(request.getMethod(), "B");
  EXPECT_LE(normalised, text.size());
}

TEST_F(HttpRequestLines, QueriesMayHaveEmptyPairsKeysAndValues) {
  EXPECT_EQ(request.parse("GET /p?&&a&b=&=c& d = e &f=g=h HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_STREQ(request.getPath(), "/p");
  EXPECT_STREQ(request.getURI(), "/p?&&a&b=&=c&") << "a raw blank ends the target";
  EXPECT_EQ(request.parameter("a"), "");
  EXPECT_EQ(request.parameter("b"), "");
  EXPECT_EQ(request.parameter(""), "c");
  renew();
  EXPECT_EQ(request.parse("GET ?%20d%20=%20e%20&f=g=h HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_STREQ(request.getPath(), "");
  EXPECT_EQ(request.parameter("d"), "e");
  EXPECT_EQ(request.parameter("f"), "g=h");
}

TEST_F(HttpRequestLines, TheUriStaysAsItWasDecodedWhenItIsSplit) {
  EXPECT_EQ(request.parse("GET /%41?x=%20v%20&X=w&%3d=%26 HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_STREQ(request.getURI(), "/A?x= v &X=w&==&");
  EXPECT_STREQ(request.getPath(), "/A");
  EXPECT_EQ(request.parameter("x"), "w") << "the later of two";
  EXPECT_EQ(request.parameter(""), "=");
}

TEST_F(HttpRequestLines, BytesBehindACompleteRequestGoThroughTheBodyStep) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(request.parse("more"), kOk) << "nothing was announced";
  EXPECT_FALSE(request.hasBody());
}

// --- The steps, called one by one as the parser calls them. ---

TEST_F(HttpRequestLines, ReadTokenTakesThePendingBytesUpToTheSeparator) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\none<>two"), kMoreNeeded);
  base::String token;
  EXPECT_EQ(request.readToken("<>", token.get()), kOk);
  EXPECT_STREQ(token.text(), "one");
  EXPECT_EQ(request.readToken("<>", token.get()), kFail) << "it comes only once";
  EXPECT_STREQ(token.text(), "one");
  EXPECT_EQ(request.readToken("o", token.get()), kOk) << "and the place is kept";
  EXPECT_STREQ(token.text(), "tw");
}

TEST_F(HttpRequestLines, BeforeTheFirstParseThereIsNoToken) {
  base::String token;
  EXPECT_EQ(request.readToken("x", token.get()), kFail);
  EXPECT_EQ(request.append("axb"), kOk);
  EXPECT_EQ(request.readToken("x", token.get()), kFail) << "they are for the next parse";
}

// The 13 bytes that are pending stand in front now; the place that was reached is 20 bytes behind
// the start of the block, its end 29, wherever the block is.
TEST_F(HttpRequestLines, ThePlaceIsKeptWhenThePendingBytesGrow) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\none two three"), kMoreNeeded);
  base::String token;
  EXPECT_EQ(request.readToken(" ", token.get()), kOk);
  EXPECT_STREQ(token.text(), "one");
  EXPECT_EQ(request.append("0123456789-ABCDE" + std::string(500, '!')), kOk);
  EXPECT_EQ(request.readToken("-", token.get()), kOk);
  EXPECT_STREQ(token.text(), "789");
  EXPECT_EQ(request.readToken("!", token.get()), kFail) << "that is for the next parse";
  EXPECT_EQ(request.readToken("E", token.get()), kOk);
  EXPECT_STREQ(token.text(), "ABCD");
}

TEST_F(HttpRequestLines, IsMethodAllowedTellsOfTheLastMethod) {
  EXPECT_FALSE(request.isMethodAllowed()) << "none yet";
  for (const char* method :
       {"OPTIONS", "GET", "HEAD", "POST", "PUT", "DELETE", "TRACE", "CONNECT", "get"}) {
    renew();
    EXPECT_EQ(request.parse(std::string(method) + " / HTTP/1.1\r\n\r\n"), kOk);
    EXPECT_TRUE(request.isMethodAllowed()) << method;
  }
  for (const char* method : {"PATCH", "GETS", "GE"}) {
    renew();
    EXPECT_EQ(request.parse(std::string(method) + " / HTTP/1.1\r\n\r\n"), kOk);
    EXPECT_FALSE(request.isMethodAllowed()) << method;
  }
}

TEST_F(HttpRequestLines, PendingBytesAreAppendedAndReplaced) {
  EXPECT_EQ(request.append("GET / HT"), kOk);
  EXPECT_EQ(request.appendUnfinished(nullptr, 0), kOk);
  EXPECT_EQ(request.parse("TP/1.1\r\n\r\n"), kOk) << "what was appended stands in front";
  EXPECT_STREQ(request.getProtocolVersion(), "HTTP/1.1");
  renew();
  EXPECT_EQ(request.replace("PUT "), kOk);
  EXPECT_EQ(request.replace("GET "), kOk);
  EXPECT_EQ(request.parse("/b HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(requestLine(), "GET /b HTTP/1.1");
}

TEST_F(HttpRequestLines, ReplacedBytesAreSearchedFromTheirStart) {
  EXPECT_EQ(request.parse("GET /a"), kMoreNeeded);
  EXPECT_EQ(request.replace("GET /b HTTP/1.1\r\n\r\n"), kOk);
  EXPECT_EQ(request.parse("!"), kOk);
  EXPECT_STREQ(request.getURI(), "/b");
  renew();
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\nOrigin: a long one"), kMoreNeeded);
  EXPECT_EQ(request.replace("Origin: o\r\n\r\n"), kOk);
  EXPECT_EQ(request.parse("!"), kOk) << "its end stands where no line end was before";
  EXPECT_EQ(request.header("Origin"), "o");
  renew();
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\n"), kMoreNeeded);
  EXPECT_EQ(request.replace("\r\n"), kOk);
  EXPECT_EQ(request.parse("!"), kOk) << "the first byte may begin a line end";
}

TEST_F(HttpRequestLines, MoreBytesThanThereCanBeAreRefused) {
  const auto* const byte = reinterpret_cast<const uint8_t*>("x");
  EXPECT_EQ(request.appendUnfinished(byte, 1), kOk);
  EXPECT_EQ(request.appendUnfinished(byte, UINT64_MAX), kOutOfMemory);
  EXPECT_EQ(request.appendUnfinished(byte, uint64_t{1} << 62), kOutOfMemory);
  EXPECT_EQ(request.setUnfinished(byte, uint64_t{1} << 62), kOutOfMemory);
}

TEST_F(HttpRequestLines, EveryFailedAllocationOfAStepIsReported) {
  sweepAllocations(spy, [this] {
    const RawRequest fresh = another();
    if (!fresh) {
      return false;
    }
    base::String token;
    const int32_t results[] = {fresh.append("one<>two"), fresh.replace("0123456789"),
                               fresh.parse("GET / HTTP/1.1\r\none<>"),
                               fresh.readToken("<>", token.get())};
    return results[0] == kOk && results[1] == kOk && results[2] == kMoreNeeded && results[3] == kOk;
  });
}

TEST_F(HttpRequestLines, ATokenThatFindsNoMemoryMayBeReadAgain) {
  EXPECT_EQ(request.parse("GET / HTTP/1.1\r\none two"), kMoreNeeded);
  base::String token;
  spy.failAllocation(1);
  EXPECT_EQ(request.readToken(" ", token.get()), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_EQ(request.readToken(" ", token.get()), kOk);
  EXPECT_STREQ(token.text(), "one");
}

}  // namespace
}  // namespace vexa::test
