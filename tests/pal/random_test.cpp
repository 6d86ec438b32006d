#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "pal/windows_api.h"

TEST(Random, EachDrawIsAnother) {
  std::array<std::uint8_t, 32> first{};
  std::array<std::uint8_t, 32> second{};
  ASSERT_TRUE(RtlGenRandom(first.data(), static_cast<ULONG>(first.size())));
  ASSERT_TRUE(RtlGenRandom(second.data(), static_cast<ULONG>(second.size())));
  EXPECT_NE(first, second);
  EXPECT_NE(first, (std::array<std::uint8_t, 32>{}));
}

TEST(Random, NothingIsWrittenBehindTheLength) {
  std::uint8_t bytes[3] = {1, 2, 3};
  EXPECT_TRUE(RtlGenRandom(bytes, 0));
  EXPECT_EQ(bytes[0], 1);
  EXPECT_TRUE(RtlGenRandom(bytes + 1, 1));
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(bytes[2], 3);
}
