#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/char_classes.h"
#include "json/string_decoder.h"

// The scans that look at eight bytes at once, beside the same one byte at a time, on generated
// strings.
namespace vexa::json {
namespace {

using base::isInClass;

constexpr size_t kPadding = 8;
constexpr size_t kNone = ~size_t{0};

// The place of the closing quote of a string that begins at `text`.
size_t closingQuotePlainly(const std::string& text) {
  size_t at = 0;
  while (at < text.size() && text[at] != '"') {
    if (text[at] == '\\') {
      if (at + 1 == text.size() || !isInClass(text[at + 1], base::kEscapable)) {
        return kNone;
      }
      at += 2;
    } else if (isInClass(text[at], base::kQuotedPlain | base::kText8Bit | base::kWhitespace)) {
      ++at;
    } else {
      return kNone;
    }
  }
  return at < text.size() ? at : kNone;
}

size_t closingQuote(const std::string& text) {
  std::vector<char> bytes(text.begin(), text.end());
  bytes.resize(text.size() + kPadding, '\0');
  const char* const found = findClosingQuote(bytes.data(), bytes.data() + text.size());
  return found == nullptr ? kNone : static_cast<size_t>(found - bytes.data());
}

// The decoded string, or "refused". Without escapes of \u, which the tables of parse_test hold.
std::string decodedPlainly(const std::string& text) {
  static constexpr std::string_view kLetters = "\"/\\bfnrt";
  static constexpr std::string_view kMeanings = "\"/\\\b\f\n\r\t";
  const size_t end = closingQuotePlainly(text);
  if (end == kNone) {
    return "refused";
  }
  std::string decoded = "is ";
  for (size_t at = 0; at < end; ++at) {
    if (text[at] != '\\') {
      decoded += text[at];
    } else if (const size_t letter = kLetters.find(text[++at]); letter != kLetters.npos) {
      decoded += kMeanings[letter];
    } else {
      return "refused";
    }
  }
  return decoded;
}

std::string decoded(const std::string& text) {
  std::vector<char> bytes(text.begin(), text.end());
  bytes.resize(text.size() + kPadding, '\0');
  char* cursor = bytes.data();
  const char* const end = decodeString(cursor);
  if (end == nullptr) {
    return "refused";
  }
  EXPECT_EQ(*end, '\0');
  EXPECT_EQ(static_cast<size_t>(cursor - bytes.data()), closingQuotePlainly(text) + 1);
  return "is " + std::string(bytes.data(), static_cast<size_t>(end - bytes.data()));
}

// Strings of plain bytes with a few others among them.
class Strings {
 public:
  std::string next() {
    std::string text;
    for (uint32_t length = random(40); length != 0; --length) {
      text += random(8) == 0 ? special() : static_cast<char>('a' + random(26));
    }
    return text + (random(8) == 0 ? "" : "\"") + std::string(random(3), ',');
  }

 private:
  char special() {
    static constexpr std::string_view kSpecial("\"\\\t\n\r \x7F\x80\xC3\xFD\xFE\xFF\x1F\x01/!~\0",
                                               18);
    return kSpecial[random(18)];
  }
  uint32_t random(uint32_t limit) {
    state_ = state_ * 1664525 + 1013904223;
    return (state_ >> 8) % limit;
  }

  uint32_t state_ = 7;
};

TEST(JsonScanning, FindsTheClosingQuoteAsAPlainSearchDoes) {
  Strings strings;
  size_t found = 0;
  for (int i = 0; i < 20'000; ++i) {
    const std::string text = strings.next();
    ASSERT_EQ(closingQuote(text), closingQuotePlainly(text)) << ::testing::PrintToString(text);
    found += closingQuotePlainly(text) != kNone ? 1 : 0;
  }
  EXPECT_GT(found, 2000u);
}

TEST(JsonScanning, DecodesAsAPlainLoopDoes) {
  Strings strings;
  size_t accepted = 0;
  for (int i = 0; i < 20'000; ++i) {
    const std::string text = strings.next();
    if (text.find("\\u") == std::string::npos) {
      ASSERT_EQ(decoded(text), decodedPlainly(text)) << ::testing::PrintToString(text);
      accepted += decodedPlainly(text) != "refused" ? 1 : 0;
    }
  }
  EXPECT_GT(accepted, 2000u);
}

TEST(JsonScanning, SeesEveryByteAtEveryPlaceOfAWord) {
  for (int byte = 0; byte < 256; ++byte) {
    for (size_t place = 0; place < 20; ++place) {
      std::string text(20, 'x');
      text[place] = static_cast<char>(byte);
      text += '"';
      ASSERT_EQ(closingQuote(text), closingQuotePlainly(text)) << byte << " at " << place;
      ASSERT_EQ(decoded(text), decodedPlainly(text)) << byte << " at " << place;
    }
  }
}

}  // namespace
}  // namespace vexa::json
