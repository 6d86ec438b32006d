#include "runtime/certificates/alternative_name.h"

#include <string>
#include <string_view>

#include "runtime/crypto_fixture.h"
#include "support/characters.h"
#include "support/sweep.h"

// Each character in each kind of alternative name.
namespace vexa::test {
namespace {

bool isVisible(char c) { return c > ' ' && c < '\x7F'; }

class AlternativeName : public CryptoTest {
 protected:
  // The encoding in hexadecimal digits; empty when the text is refused.
  static std::string encoded(const std::string& text) {
    const ExactBytes exact(text);
    velmora::Bytes out;
    const char* reason = nullptr;
    const int32_t result = velmora::appendAlternativeName(
        {reinterpret_cast<const char*>(exact.data()), exact.size()}, out, reason);
    EXPECT_EQ(result == kOk, reason == nullptr) << text;
    return result == kOk ? toHex(out.data(), out.size()) : "";
  }
  static bool isTaken(const std::string& text) { return !encoded(text).empty(); }
};

// `text` with the character in the place of its blank.
std::string with(std::string text, char c) {
  text[text.find(' ')] = c;
  return text;
}

TEST_F(AlternativeName, OfAHostHasLettersDigitsAndHyphensWithin) {
  for (int c = 1; c <= 0xFF; ++c) {
    const char each = static_cast<char>(c);
    EXPECT_EQ(isTaken(with("DNS:a b", each)), isLetterOrDigit(each) || isIn("-.", each)) << c;
    EXPECT_EQ(isTaken(with("DNS: b", each)), isLetterOrDigit(each)) << c;
    EXPECT_EQ(isTaken(with("DNS:a ", each)), isLetterOrDigit(each)) << c;
    EXPECT_EQ(isTaken(with("DNS:x. b.y", each)), isLetterOrDigit(each)) << c;
    EXPECT_EQ(isTaken(with("DNS: .y", each)), isLetterOrDigit(each) || c == '*') << c;
  }
}

TEST_F(AlternativeName, OfMailHasVisibleCharactersBeforeItsHost) {
  for (int c = 1; c <= 0xFF; ++c) {
    const char each = static_cast<char>(c);
    EXPECT_EQ(isTaken(with("email:a b@c.d", each)), isVisible(each) && c != '@') << c;
    EXPECT_EQ(isTaken(with("email: @c.d", each)), isVisible(each) && c != '@') << c;
    EXPECT_EQ(isTaken(with("email:a@c d", each)), isLetterOrDigit(each) || isIn("-.", each)) << c;
  }
}

TEST_F(AlternativeName, OfAUriHasASchemeAndVisibleCharacters) {
  for (int c = 1; c <= 0xFF; ++c) {
    const char each = static_cast<char>(c);
    EXPECT_EQ(isTaken(with("URI:a b:c", each)), isLetterOrDigit(each) || isIn("+-.:", each)) << c;
    EXPECT_EQ(isTaken(with("URI:a:b c", each)), isVisible(each)) << c;
    EXPECT_EQ(isTaken(with("URI:a: ", each)), isVisible(each)) << c;
  }
}

TEST_F(AlternativeName, OfAnAddressHasDigits) {
  for (int c = 1; c <= 0xFF; ++c) {
    const char each = static_cast<char>(c);
    for (const char* const four : {"IP:1.2.3. ", "IP: .2.3.4", "IP:1.1 .3.4"}) {
      EXPECT_EQ(isTaken(with(four, each)), isIn(kDigits, each)) << c << four;
    }
    for (const char* const sixteen : {"IP:: ::", "IP:: ::1"}) {
      EXPECT_FALSE(isTaken(with(sixteen, each))) << c << sixteen;
    }
    for (const char* const sixteen : {"IP: ::", "IP::: ", "IP:fff ::1", "IP:0:1:2:3:4:5:6: "}) {
      const bool isGap = c == ':' && std::string_view(sixteen).ends_with(": ") && sixteen[3] == '0';
      EXPECT_EQ(isTaken(with(sixteen, each)), isIn(kHexDigits, each) || isGap) << c << sixteen;
    }
  }
}

TEST_F(AlternativeName, OfAnAddressIsItsBytes) {
  EXPECT_EQ(encoded("IP:0.1.10.255"), "870400010aff");
  EXPECT_EQ(encoded("IP:::"), "871000000000000000000000000000000000");
  EXPECT_EQ(encoded("IP:1234::"), "871012340000000000000000000000000000");
  EXPECT_EQ(encoded("IP:::a:bcde"), "8710000000000000000000000000000abcde");
  EXPECT_EQ(encoded("IP:1:2:3::6:7:8"), "871000010002000300000000000600070008");
  EXPECT_EQ(encoded("IP:1:2:3:4::6:7:8"), "871000010002000300040000000600070008");
  EXPECT_EQ(encoded("IP:::2:3:4:5:6:7:8"), "871000000002000300040005000600070008");
  EXPECT_EQ(encoded("IP:1:2:3:4:5:6:7:FFFF"), "87100001000200030004000500060007ffff");
  for (const char* const wrong : {"IP:0.1.10.256",
                                  "IP:1.2.3.",
                                  "IP:1.2.3.4.",
                                  "IP:.1.2.3",
                                  "IP:1..2.3",
                                  "IP:-1.2.3.4",
                                  "IP:10000::",
                                  "IP:00001::",
                                  "IP:::01234",
                                  "IP:00.1.2.3",
                                  "IP:01.2.3.4",
                                  "IP:1.02.3.4",
                                  "IP:1.2.003.4",
                                  "IP:1.2.3.04",
                                  "IP:1.2.3.00",
                                  "IP:::1:",
                                  "IP::1::",
                                  "IP:1:::",
                                  "IP:1:2:3:4:5:6:7:8::",
                                  "IP:1:2:3:4::5:6:7:8",
                                  "IP:1:2:3:4:5:6:7",
                                  "IP:1:2:3:4:5:6:7:8:9",
                                  "IP:::1::2",
                                  "IP:1:"}) {
    EXPECT_FALSE(isTaken(wrong)) << wrong;
  }
}

TEST_F(AlternativeName, OfAnAddressSaysWhatIsAmbiguous) {
  constexpr std::string_view kZero = "behind IP: stands a number that begins with zero";
  constexpr std::string_view kNone = "behind IP: stands no IPv4 or IPv6 address";
  for (const auto& [text, expected] :
       {std::pair("IP:01.2.3.4", kZero), std::pair("IP:1.2.3.010", kZero),
        std::pair("IP:0.0.0", kNone), std::pair("IP:0001:2", kNone), std::pair("IP:", kNone)}) {
    velmora::Bytes out;
    const char* reason = nullptr;
    EXPECT_EQ(velmora::appendAlternativeName(text, out, reason), kInvalidArgument);
    EXPECT_EQ(reason, expected) << text;
  }
  EXPECT_EQ(encoded("IP:0.0.0.0"), "870400000000");
  EXPECT_EQ(encoded("IP:0001::"), "871000010000000000000000000000000000");
}

TEST_F(AlternativeName, OfAHostHasNoMoreThanOneStarInFront) {
  for (const char* const taken : {"DNS:*.a", "DNS:*.a.b", "DNS:a"}) {
    EXPECT_TRUE(isTaken(taken)) << taken;
  }
  for (const char* const refused : {"DNS:*", "DNS:*.", "DNS:*a.b", "DNS:*.*.a", "DNS:a.*.b"}) {
    EXPECT_FALSE(isTaken(refused)) << refused;
  }
}

// At each place where memory can be short: both halves of an address, and where they are joined.
TEST_F(AlternativeName, IsReportedWhereMemoryIsShort) {
  for (const char* const text : {"IP:1:2:3:4::6:7:8", "IP:1.2.3.4", "DNS:a.example"}) {
    const int swept = sweepAllocations(spy, [&] {
      velmora::Bytes out;
      const char* reason = nullptr;
      const int32_t result = velmora::appendAlternativeName(text, out, reason);
      EXPECT_TRUE(result == kOk || result == kOutOfMemory) << text << result;
      return result == kOk;
    });
    EXPECT_GE(swept, std::string_view(text).starts_with("IP:1:") ? 3 : 1) << text;
  }
  velmora::Bytes out;
  const char* reason = nullptr;
  allocation_gate::failAt(1, false);
  EXPECT_EQ(velmora::appendAlternativeName("IP:1.2.3.256", out, reason), kOutOfMemory);
  allocation_gate::neverFail();
}

}  // namespace
}  // namespace vexa::test
