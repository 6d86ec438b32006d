#include "server/framing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace vexahost {
namespace {

using Result = HeadScanner::Result;

constexpr uint64_t kMostBody = 1000;

std::string request(const std::string& headers, const std::string& line = "GET /a HTTP/1.1") {
  return line + "\r\nHost: localhost\r\n" + headers + "\r\n";
}

std::variant<Head, Refusal> parsed(const std::string& block) { return parseHead(block, kMostBody); }

uint32_t statusOf(const std::string& block) {
  const auto result = parsed(block);
  const auto* const refusal = std::get_if<Refusal>(&result);
  return refusal != nullptr ? refusal->status : 200;
}

void expectRefusal(const HeadScanner& scanner, uint32_t status, std::string_view detail) {
  EXPECT_EQ(scanner.refusal().status, status);
  EXPECT_EQ(scanner.refusal().detail, detail);
}

// --- where a block ends ------------------------------------------------------------------------

TEST(HeadScanner, FindsTheEndAtEverySplit) {
  const std::string block = request("X: " + std::string(3000, 'a') + "\r\n");
  const std::string bytes = block + "body that follows\r\n\r\n";
  for (size_t cut = 1; cut < bytes.size(); ++cut) {
    HeadScanner scanner;
    const Result first = scanner.scan(std::string_view(bytes).substr(0, cut));
    ASSERT_EQ(first, cut < block.size() ? Result::kMoreNeeded : Result::kComplete) << cut;
    if (first == Result::kMoreNeeded) {
      ASSERT_EQ(scanner.scan(bytes), Result::kComplete) << cut;
    }
    EXPECT_EQ(scanner.end(), block.size());
  }
}

TEST(HeadScanner, FindsTheEndByteByByte) {
  const std::string block = request("Cookie: a=b\r\n");
  HeadScanner scanner;
  for (size_t count = 1; count < block.size(); ++count) {
    ASSERT_EQ(scanner.scan(std::string_view(block).substr(0, count)), Result::kMoreNeeded);
  }
  EXPECT_EQ(scanner.scan(block), Result::kComplete);
}

TEST(HeadScanner, IgnoresEmptyLinesBeforeTheRequest) {
  const std::string block = request("");
  HeadScanner scanner;
  EXPECT_EQ(scanner.scan("\r\n\r\n" + block), Result::kComplete);
  EXPECT_EQ(scanner.start(), 4u);
  EXPECT_EQ(scanner.end(), 4 + block.size());
}

TEST(HeadScanner, TakesABlockUpToTheLimit) {
  std::string block = request("X: \r\n");
  block.insert(block.size() - 4, std::string(kMostHeadBytes - block.size(), 'a'));
  HeadScanner scanner;
  EXPECT_EQ(scanner.scan(block), Result::kComplete);
  block.insert(block.size() - 4, "a");
  scanner = {};
  EXPECT_EQ(scanner.scan(block), Result::kRefused);
  expectRefusal(scanner, 431, "the header block is too large");
}

TEST(HeadScanner, RefusesABlockWithoutEndAboveTheLimit) {
  const std::string bytes(kMostHeadBytes + 1, 'a');
  HeadScanner scanner;
  EXPECT_EQ(scanner.scan(std::string_view(bytes).substr(0, kMostHeadBytes)), Result::kMoreNeeded);
  EXPECT_EQ(scanner.scan(bytes), Result::kRefused);
  expectRefusal(scanner, 431, "the header block is too large");
}

TEST(HeadScanner, RefusesEmptyLinesWithoutEnd) {
  std::string bytes;
  while (bytes.size() <= kMostHeadBytes) {
    bytes += "\r\n";
  }
  HeadScanner scanner;
  EXPECT_EQ(scanner.scan(bytes), Result::kRefused);
}

TEST(HeadScanner, RefusesWhatIsNotHttpAtItsFirstByte) {
  for (const std::string_view bytes :
       {"\x16\x03\x01", " GET / HTTP/1.1\r\n\r\n", "\t", "(", "\n"}) {
    HeadScanner scanner;
    EXPECT_EQ(scanner.scan(bytes), Result::kRefused) << bytes;
    expectRefusal(scanner, 400, "this is not HTTP");
  }
}

TEST(HeadScanner, RefusesLinesThatEndWithoutCarriageReturn) {
  for (const std::string_view bytes : {"GET / HTTP/1.1\n", "GET / HTTP/1.1\r\nA: b\n\r\n"}) {
    HeadScanner scanner;
    EXPECT_EQ(scanner.scan(bytes), Result::kRefused) << bytes;
    expectRefusal(scanner, 400, "a line ends without a carriage return");
  }
}

// --- what a block says -------------------------------------------------------------------------

struct RefusedCase {
  const char* name;
  const char* line;
  const char* headers;
  uint32_t status;
  std::string_view detail;
};
void PrintTo(const RefusedCase& value, std::ostream* out) { *out << value.name; }

constexpr char kGet[] = "GET / HTTP/1.1";
constexpr char kPost[] = "POST / HTTP/1.1";

constexpr RefusedCase kRefused[] = {
    {"OneWord", "NONSENSE", "", 400, "no request line that can be read"},
    {"TwoWords", "GET /", "", 400, "no request line that can be read"},
    {"NoTarget", "GET  HTTP/1.1", "", 400, "the request target cannot be read"},
    {"BlankInTarget", "GET /a b HTTP/1.1", "", 400, "the request target cannot be read"},
    {"ControlInTarget", "GET /\x01 HTTP/1.1", "", 400, "the request target cannot be read"},
    {"TargetWithoutSlash", "GET a HTTP/1.1", "", 400, "the request target is not a path"},
    {"Connect", "CONNECT localhost:80 HTTP/1.1", "", 400, "the request target is not a path"},
    {"AsteriskNotForGet", "GET * HTTP/1.1", "", 400, "the request target is not a path"},
    {"AbsoluteWithoutPath", "GET http://localhost HTTP/1.1", "", 400,
     "the request target has no path"},
    {"SchemeAlone", "GET http:// HTTP/1.1", "", 400, "the request target is not a path"},
    {"AsteriskAndMore", "OPTIONS *x HTTP/1.1", "", 400, "the request target is not a path"},
    {"NoMethod", " / HTTP/1.1", "", 400, "no request line that can be read"},
    {"MethodNoToken", "G(T / HTTP/1.1", "", 400, "no request line that can be read"},
    {"VersionCutShort", "GET / HTTP/1", "", 400, "no request line that can be read"},
    {"VersionWithLetter", "GET / HTTP/1.x", "", 400, "no request line that can be read"},
    {"VersionLowerCase", "GET / http/1.1", "", 400, "no request line that can be read"},
    {"VersionTooLong", "GET / HTTP/1.10", "", 400, "no request line that can be read"},
    {"VersionWithHyphen", "GET / HTTP/1-1", "", 400, "no request line that can be read"},
    {"VersionBelowDigits", "GET / HTTP/1./", "", 400, "no request line that can be read"},
    {"VersionAboveDigits", "GET / HTTP/1.:", "", 400, "no request line that can be read"},
    {"MajorBelowDigits", "GET / HTTP//.1", "", 400, "no request line that can be read"},
    {"MajorAboveDigits", "GET / HTTP/:.1", "", 400, "no request line that can be read"},
    {"MajorWithLetter", "GET / HTTP/x.1", "", 400, "no request line that can be read"},
    {"Version2", "GET / HTTP/2.0", "", 505, "the version of HTTP is not 1.0 or 1.1"},
    {"Version0", "GET / HTTP/0.9", "", 505, "the version of HTTP is not 1.0 or 1.1"},
    {"HostTwice", kGet, "Host: localhost\r\n", 400, "a header that may come once comes twice"},
    {"OriginTwice", kGet, "Origin: a\r\nOrigin: b\r\n", 400,
     "a header that may come once comes twice"},
    {"NoColon", kGet, "nonsense\r\n", 400, "a header line cannot be read"},
    {"EmptyName", kGet, ": v\r\n", 400, "a header line cannot be read"},
    {"BlankBeforeColon", kGet, "Content-Length : 5\r\n", 400, "a header line cannot be read"},
    {"FoldedLine", kGet, "X: a\r\n b\r\n", 400, "a header line cannot be read"},
    {"ControlInValue", kGet, "X: a\x01\r\n", 400, "a header line cannot be read"},
    {"CarriageReturnInValue", kGet, "X: a\rb\r\n", 400, "a header line cannot be read"},
    {"LengthNegative", kPost, "Content-Length: -1\r\n", 400,
     "the length of the body is not a number"},
    {"LengthWithSign", kPost, "Content-Length: +5\r\n", 400,
     "the length of the body is not a number"},
    {"LengthWithLetters", kPost, "Content-Length: 12abc\r\n", 400,
     "the length of the body is not a number"},
    {"LengthHexadecimal", kPost, "Content-Length: 0x10\r\n", 400,
     "the length of the body is not a number"},
    {"LengthEmpty", kPost, "Content-Length:\r\n", 400, "the length of the body is not a number"},
    {"LengthsConflict", kPost, "Content-Length: 5\r\nContent-Length: 6\r\n", 400,
     "two lengths are given for the body"},
    {"LengthsDoubled", kPost, "Content-Length: 5\r\nContent-Length: 5\r\n", 400,
     "two lengths are given for the body"},
    {"LengthsInOneLine", kPost, "Content-Length: 5, 5\r\n", 400,
     "the length of the body is not a number"},
    {"LengthOverLimit", kPost, "Content-Length: 1001\r\n", 413, "the body is too large"},
    {"LengthOver64Bits", kPost, "Content-Length: 18446744073709551621\r\n", 413,
     "the body is too large"},
    {"LengthOverAllBits", kPost, "Content-Length: 99999999999999999999999999999\r\n", 413,
     "the body is too large"},
    {"Chunked", kPost, "Transfer-Encoding: chunked\r\n", 501,
     "transfer codings are not taken; send a Content-Length"},
    {"OtherCoding", kPost, "transfer-encoding: gzip, chunked\r\n", 501,
     "transfer codings are not taken; send a Content-Length"},
    {"ChunkedWithLength", kPost, "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n", 400,
     "the length of the body is ambiguous"},
    {"OtherExpectation", kPost, "Expect: tea\r\n", 417, "this expectation cannot be met"},
};

class HeadRefused : public ::testing::TestWithParam<RefusedCase> {};
TEST_P(HeadRefused, WithItsStatusAndItsReason) {
  const std::string block = request(GetParam().headers, GetParam().line);
  const auto result = parsed(block);
  const auto* const refusal = std::get_if<Refusal>(&result);
  ASSERT_NE(refusal, nullptr);
  EXPECT_EQ(refusal->status, GetParam().status);
  EXPECT_EQ(refusal->detail, GetParam().detail);
}
INSTANTIATE_TEST_SUITE_P(Framing, HeadRefused, ::testing::ValuesIn(kRefused),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Head, NoControlCharacterIsTaken) {
  for (int c = 0; c <= 0x7F; ++c) {
    const char character = static_cast<char>(c);
    if (character == '\r' || character == '\n' || (c >= ' ' && c != 0x7F)) {
      continue;
    }
    EXPECT_EQ(statusOf(request("", std::string("GET /a") + character + "b HTTP/1.1")), 400u) << c;
    EXPECT_EQ(statusOf(request(std::string("X: a") + character + "b\r\n")),
              character == '\t' ? 200u : 400u)
        << c;
  }
}

TEST(Head, NamesAreTokens) {
  const std::string token =
      "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  for (int c = 0; c <= 0xFF; ++c) {
    const char character = static_cast<char>(c);
    const bool isToken = c != 0 && token.find(character) != std::string::npos;
    const std::string name = std::string("X") + character;
    if (character != ':') {
      EXPECT_EQ(statusOf(request(name + ": v\r\n")), isToken ? 200u : 400u) << c;
    }
    if (character != ' ') {
      EXPECT_EQ(statusOf(request("", name + " / HTTP/1.1")), isToken ? 200u : 400u) << c;
    }
  }
}

TEST(Head, ValuesAreTrimmed) {
  for (const char* const line : {"Origin:a", "Origin: a", "Origin: \t a\t \t"}) {
    const std::string block = request(std::string(line) + "\r\n");
    EXPECT_EQ(std::get<Head>(parsed(block)).origin, "a") << line;
  }
  const std::string block = request("Origin: a \t b\r\nAuthorization: \t \r\n");
  EXPECT_EQ(std::get<Head>(parsed(block)).origin, "a \t b");
  EXPECT_EQ(std::get<Head>(parsed(block)).authorization, "");
}

TEST(Head, LettersAreTheSameInBothCases) {
  for (int a = 0; a <= 0xFF; ++a) {
    for (int b = 0; b <= 0xFF; ++b) {
      const int difference = a > b ? a - b : b - a;
      const int lower = std::max(a, b);
      const bool isSame = a == b || (difference == 0x20 && lower >= 'a' && lower <= 'z');
      ASSERT_EQ(equalIgnoringCase(std::string(1, static_cast<char>(a)),
                                  std::string(1, static_cast<char>(b))),
                isSame)
          << a << ' ' << b;
    }
  }
  EXPECT_FALSE(equalIgnoringCase("a", "ab"));
  EXPECT_TRUE(equalIgnoringCase("", ""));
}

TEST(Head, ALengthThatMightNotFitCountsAsTheLargest) {
  const auto lengthOf = [](const std::string& digits) {
    const std::string block = request("Content-Length: " + digits + "\r\n", kPost);
    return std::get<Head>(parseHead(block, UINT64_MAX)).contentLength;
  };
  EXPECT_EQ(lengthOf("0"), 0u);
  EXPECT_EQ(lengthOf("1234567890"), 1234567890u);
  EXPECT_EQ(lengthOf("999999999999999999"), 999999999999999999u);
  EXPECT_EQ(lengthOf("00999999999999999999"), 999999999999999999u);
  EXPECT_EQ(lengthOf("1000000000000000000"), UINT64_MAX);
  EXPECT_EQ(lengthOf("18446744073709551617"), UINT64_MAX);
}

TEST(Head, HostMayBeMissingInHttp10Only) {
  EXPECT_EQ(statusOf("GET / HTTP/1.0\r\n\r\n"), 200u);
  EXPECT_EQ(statusOf("GET / HTTP/1.1\r\n\r\n"), 400u);
  EXPECT_EQ(std::get<Refusal>(parsed("GET / HTTP/1.1\r\n\r\n")).detail,
            std::string_view("the Host header is missing"));
}

TEST(Head, CodingsDoNotExistInHttp10) {
  EXPECT_EQ(statusOf("POST / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n"), 400u);
}

TEST(Head, ABlockThatIsNotWholeIsRefused) {
  EXPECT_EQ(statusOf(""), 400u);
  EXPECT_EQ(std::get<Refusal>(parsed("GET / HTTP/1.1\r\nHost: localhost\r\n")).detail,
            std::string_view("the header block is not whole"));
}

TEST(Head, TellsWhatDecides) {
  const std::string block = request(
      "Origin:  https://a.example \r\nAUTHORIZATION: Bearer x\r\nSec-Fetch-Site: cross-site\r\n"
      "Access-Control-Request-Method: PUT\r\nAccess-Control-Request-Headers: a,b\r\n"
      "Access-Control-Request-Private-Network: true\r\nContent-Length: 0012\r\n"
      "Expect: 100-Continue\r\nX-Other: y\r\n",
      "PUT /a?b=c HTTP/1.1");
  const auto result = parsed(block);
  ASSERT_TRUE(std::holds_alternative<Head>(result));
  const Head& head = std::get<Head>(result);
  EXPECT_EQ(head.method, "PUT");
  EXPECT_EQ(head.target, "/a?b=c");
  EXPECT_EQ(head.minorVersion, 1u);
  EXPECT_EQ(head.host, "localhost");
  EXPECT_EQ(head.origin, "https://a.example");
  EXPECT_EQ(head.authorization, "Bearer x");
  EXPECT_EQ(head.fetchSite, "cross-site");
  EXPECT_EQ(head.requestedMethod, "PUT");
  EXPECT_EQ(head.requestedHeaders, "a,b");
  EXPECT_EQ(head.privateNetwork, "true");
  EXPECT_EQ(head.contentLength, 12u);
  EXPECT_TRUE(head.expectsContinue);
  EXPECT_FALSE(head.targetHost);
}

TEST(Head, AnAbsoluteTargetIsTakenApart) {
  const std::string block = request("", "GET HTTP://localhost:80/x?y HTTP/1.1");
  const Head head = std::get<Head>(parsed(block));
  EXPECT_EQ(head.targetHost, "localhost:80");
  EXPECT_EQ(head.target, "/x?y");
  EXPECT_EQ(head.afterTarget, " HTTP/1.1\r\nHost: localhost\r\n\r\n");
}

TEST(Head, OptionsMayAskForTheServerItself) {
  EXPECT_EQ(std::get<Head>(parsed(request("", "OPTIONS * HTTP/1.1"))).target, "*");
}

struct KeepAliveCase {
  const char* version;
  const char* headers;
  bool keepAlive;
};

TEST(Head, TellsWhetherTheConnectionStays) {
  constexpr KeepAliveCase kCases[] = {
      {"HTTP/1.1", "", true},
      {"HTTP/1.1", "Connection: close\r\n", false},
      {"HTTP/1.1", "Connection: x, Close\r\n", false},
      {"HTTP/1.1", "Connection: keep-alive\r\nConnection: close\r\n", false},
      {"HTTP/1.1", "Connection: close, keep-alive\r\n", false},
      {"HTTP/1.1", "Connection: x,close\r\n", false},
      {"HTTP/1.1", "Connection: x,\tclose \r\n", false},
      {"HTTP/1.1", "Connection: closed\r\n", true},
      {"HTTP/1.0", "", false},
      {"HTTP/1.0", "Connection: Keep-Alive\r\n", true},
      {"HTTP/1.0", "Connection: ,,keep-alive,\r\n", true},
  };
  for (const KeepAliveCase& item : kCases) {
    const std::string block = request(item.headers, std::string("GET / ") + item.version);
    EXPECT_EQ(std::get<Head>(parsed(block)).keepAlive, item.keepAlive) << block;
  }
}

TEST(Head, LengthsUpToTheLimitAreTaken) {
  EXPECT_EQ(statusOf(request("Content-Length: 1000\r\n", kPost)), 200u);
  EXPECT_EQ(statusOf(request("Content-Length: 000000000000000000000000001000\r\n", kPost)), 200u);
  EXPECT_EQ(statusOf(request("Content-Length: 0\r\n", kPost)), 200u);
}

TEST(OriginOf, ReadsCompleteLinesOnly) {
  EXPECT_EQ(originOf("GET / HTTP/1.1\r\norigin: https://a.example\r\nX: aaa"), "https://a.example");
  EXPECT_EQ(originOf("GET / HTTP/1.1\r\nOrigin: https://a.exam"), std::nullopt);
  EXPECT_EQ(originOf("GET / HTTP/1.1\r\nOrigin: a\r\nOrigin: b\r\n"), std::nullopt);
  EXPECT_EQ(originOf(""), std::nullopt);
}

}  // namespace
}  // namespace vexahost
