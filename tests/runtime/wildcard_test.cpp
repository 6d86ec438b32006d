#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "runtime/runtime_fixture.h"

// Patterns with wildcards against the plain definition, and how long they may take.
namespace vexa::test {
namespace {

using namespace std::string_view_literals;

class WildcardTest : public RuntimeTest {
 protected:
  bool matches(std::u16string_view text, const std::u16string& pattern) {
    WideString string(text);
    return wides.WildcardMatch(string.get(), pattern.c_str()) == 1;
  }
};

char16_t lower(char16_t c) { return c >= 'A' && c <= 'Z' ? static_cast<char16_t>(c + 32) : c; }

// Which parts of the text can be covered when the pattern's units have been used one by one.
bool covers(std::u16string_view pattern, std::u16string_view text) {
  std::vector<bool> reached(text.size() + 1);
  reached[0] = true;
  for (const char16_t unit : pattern) {
    std::vector<bool> next(text.size() + 1);
    for (size_t i = 0; i <= text.size(); ++i) {
      if (unit == '*') {
        next[i] = reached[i] || (i != 0 && next[i - 1]);
      } else {
        next[i] = i != 0 && reached[i - 1] && (unit == '?' || lower(unit) == lower(text[i - 1]));
      }
    }
    reached = next;
  }
  return reached[text.size()];
}

std::string shown(std::u16string_view text) { return {text.begin(), text.end()}; }

TEST_F(WildcardTest, AgreesWithTheDefinition) {
  std::mt19937 random(20240229);
  const auto draw = [&](std::u16string_view alphabet, size_t most) {
    std::u16string drawn(random() % (most + 1), u'\0');
    for (char16_t& unit : drawn) {
      unit = alphabet[random() % alphabet.size()];
    }
    return drawn;
  };
  int covered = 0;
  int missed = 0;
  for (int i = 0; i < 20'000; ++i) {
    const std::u16string text = draw(u"aaAbB?"sv, 24);
    const std::u16string pattern = draw(i % 2 == 0 ? u"aAb**"sv : u"abbb**?"sv, 12);
    const bool expected = covers(pattern, text);
    ASSERT_EQ(matches(text, pattern), expected) << shown(text) << " by " << shown(pattern);
    ++(expected ? covered : missed);
  }
  EXPECT_GT(covered, 2'000);
  EXPECT_GT(missed, 2'000);
}

// Each piece of up to eight units of two kinds, in each text of up to twelve.
TEST_F(WildcardTest, FindsEveryPieceWhereverItStands) {
  constexpr unsigned kPieceMost = 8;
  constexpr unsigned kTextLength = 12;
  const auto spell = [](unsigned bits, unsigned length) {
    std::u16string text;
    for (unsigned i = 0; i < length; ++i) {
      text += (bits >> i & 1) != 0 ? u'b' : u'a';
    }
    return text;
  };
  for (unsigned bits = 0; bits < 1u << kTextLength; bits += 13) {
    const std::u16string text = spell(bits, kTextLength);
    WideString string(text);
    for (unsigned length = 1; length <= kPieceMost; ++length) {
      for (unsigned piece = 0; piece < 1u << length; ++piece) {
        const std::u16string wanted = spell(piece, length);
        ASSERT_EQ(wides.WildcardMatch(string.get(), (u'*' + wanted + u'*').c_str()),
                  text.find(wanted) == std::u16string::npos ? 0 : 1)
            << shown(wanted) << " in " << shown(text);
      }
    }
  }
}

// Texts made of parts of the piece, so that it nearly fits at many places.
TEST_F(WildcardTest, FindsAPieceAmongItsOwnParts) {
  std::mt19937 random(7);
  int found = 0;
  constexpr int kTexts = 30'000;
  for (int i = 0; i < kTexts; ++i) {
    std::u16string piece(1 + random() % 12, u'a');
    for (char16_t& unit : piece) {
      unit = static_cast<char16_t>(u'a' + random() % (i % 2 == 0 ? 2 : 3));
    }
    piece += i % 3 == 0 ? piece : u"";
    std::u16string text;
    for (uint64_t parts = random() % 4 + 1; parts != 0; --parts) {
      const size_t from = random() % piece.size();
      text += piece.substr(from, random() % (piece.size() + 1));
    }
    text += random() % 2 == 0 ? piece + piece.substr(0, random() % piece.size()) : u"";
    const bool expected = text.find(piece) != std::u16string::npos;
    ASSERT_EQ(matches(text, u'*' + piece + u'*'), expected)
        << shown(piece) << " in " << shown(text);
    found += expected ? 1 : 0;
  }
  EXPECT_GT(found, kTexts / 4);
  EXPECT_LT(found, kTexts * 3 / 4);
}

// Tried place by place, each of these would take hours.
TEST_F(WildcardTest, APieceThatNearlyFitsEverywhereIsSearchedOnce) {
  constexpr size_t kText = 1'000'000;
  constexpr size_t kPiece = kText / 2;
  const std::u16string text(kText, u'a');
  const std::u16string run(kPiece, u'A');
  EXPECT_FALSE(matches(text, u"*" + run + u"b*"));
  EXPECT_FALSE(matches(text, u"*b" + run + u"*"));
  EXPECT_FALSE(matches(text, u"*" + run + u"b" + run + u"*"));
  EXPECT_TRUE(matches(text, u"*" + run + u"*" + run + u"*"));
  EXPECT_FALSE(matches(text, u"*" + run + u"*" + run + u"*a"));
  std::u16string pairs;
  for (size_t i = 0; i < kPiece; ++i) {
    pairs += u"ab";
  }
  EXPECT_FALSE(matches(pairs, u"*" + pairs.substr(0, kPiece) + u"b*"));
  EXPECT_TRUE(matches(pairs, u"*b" + pairs.substr(0, kPiece) + u"*"));
}

TEST_F(WildcardTest, ManyPiecesAreSearchedOneBehindTheOther) {
  constexpr size_t kPieces = 300'000;
  const std::u16string text(kPieces, u'a');
  std::u16string pattern;
  for (size_t i = 0; i < kPieces; ++i) {
    pattern += u"*a";
  }
  EXPECT_TRUE(matches(text, pattern));
  EXPECT_FALSE(matches(text, pattern + u"*a"));
  EXPECT_FALSE(matches(text, pattern + u"b"));
}

}  // namespace
}  // namespace vexa::test
