#include "server/token.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>
#include <vector>

namespace vexahost {
namespace {

TEST(Token, IsShownAsBearer) {
  const Token token("abc-123");
  EXPECT_TRUE(token.isShownBy("Bearer abc-123"));
  EXPECT_TRUE(token.isShownBy("bearer abc-123"));
  for (const char* const other :
       {"", "Bearer", "Bearer ", "abc-123", "Bearer abc-124", "Bearer abc-12", "Bearer abc-1234",
        "Bearer  abc-123", "Basic abc-123", "Bearer ABC-123"}) {
    EXPECT_FALSE(token.isShownBy(other)) << other;
  }
}

TEST(Token, AnEmptyOneIsNeverShown) { EXPECT_FALSE(Token("").isShownBy("Bearer ")); }

TEST(Token, IsAnotherOneEachTime) {
  std::set<std::string> tokens;
  for (int i = 0; i < 100; ++i) {
    tokens.insert(Token().text());
  }
  EXPECT_EQ(tokens.size(), 100u);
}

TEST(RandomText, IsBase64UrlOfThatManyBytes) {
  constexpr std::pair<size_t, size_t> kLengths[] = {{0, 0}, {1, 2},   {2, 3},
                                                    {3, 4}, {16, 22}, {32, 43}};
  for (const auto& [bytes, length] : kLengths) {
    const std::string text = randomText(bytes);
    EXPECT_EQ(text.size(), length);
    EXPECT_EQ(
        text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
        std::string::npos);
  }
}

// What stands at each place of many texts of so many bytes.
std::vector<std::set<char>> seenAt(size_t bytes) {
  std::vector<std::set<char>> seen((8 * bytes + 5) / 6);
  for (int i = 0; i < 4000; ++i) {
    const std::string text = randomText(bytes);
    for (size_t place = 0; place < text.size(); ++place) {
      seen[place].insert(text[place]);
    }
  }
  return seen;
}

TEST(RandomText, LeavesNoBitOut) {
  const std::set<char> twoBits = {'A', 'Q', 'g', 'w'};
  const std::set<char> fourBits = {'A', 'E', 'I', 'M', 'Q', 'U', 'Y', 'c',
                                   'g', 'k', 'o', 's', 'w', '0', '4', '8'};
  EXPECT_EQ(seenAt(1)[1], twoBits);
  EXPECT_EQ(seenAt(2)[2], fourBits);
  for (const std::set<char>& seen : seenAt(3)) {
    EXPECT_EQ(seen.size(), 64u);
  }
}

}  // namespace
}  // namespace vexahost
