#include "server/token.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

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

}  // namespace
}  // namespace vexahost
