#include "base/secret_mix.h"

#include <gtest/gtest.h>

#include <string>

#include "base/process_seed.h"

namespace vexa::base {
namespace {

TEST(SecretMix, OfANumberDependsOnItsBitsAndTheSeed) {
  const SecretMix mix(processSeed());
  for (const uint64_t number : {uint64_t{0}, uint64_t{1}, uint64_t{0x0123456789ABCDEF}}) {
    EXPECT_EQ(mix(number), SecretMix(processSeed())(number));
    for (int bit = 0; bit < 64; ++bit) {
      EXPECT_NE(mix(number), mix(number ^ uint64_t{1} << bit)) << bit;
    }
    EXPECT_NE(mix(number), SecretMix(processSeed() + 2)(number));
  }
}

TEST(SecretMix, OfATextIsTheSameWhereverItStandsAndAnotherForEachChange) {
  const SecretMix mix(processSeed());
  for (size_t length = 0; length < 40; ++length) {
    const std::string text =
        std::string("abcdefghijklmnopqrstuvwxyz0123456789ABCDEFG").substr(0, length);
    const std::string around = "x" + text + "y";
    EXPECT_EQ(mix(text), mix(std::string_view(around).substr(1, length)));
    EXPECT_NE(mix(text), mix(text + "a"));
    for (size_t at = 0; at < length; ++at) {
      std::string other = text;
      other[at] = '!';
      EXPECT_NE(mix(text), mix(other)) << at << " of " << length;
      for (int bit = 0; bit < 8; ++bit) {
        other[at] = static_cast<char>(text[at] ^ 1 << bit);
        EXPECT_NE(mix(text), mix(other)) << "bit " << bit << " of " << at << " of " << length;
      }
    }
    EXPECT_NE(mix(text), SecretMix(processSeed() + 2)(text));
  }
}

}  // namespace
}  // namespace vexa::base
