#include "base/wipe.h"

#include <gtest/gtest.h>

#include <array>

namespace vexa::base {
namespace {

TEST(Wipe, ZeroesAsManyBytesAsItIsTold) {
  std::array<uint8_t, 5> bytes = {1, 2, 3, 4, 5};
  wipe(bytes.data() + 1, 3);
  EXPECT_EQ(bytes, (std::array<uint8_t, 5>{1, 0, 0, 0, 5}));
}

TEST(Wipe, ZeroesNothingOfNothing) {
  std::array<uint8_t, 1> bytes = {1};
  wipe(bytes.data(), 0);
  wipe(nullptr, 0);
  EXPECT_EQ(bytes[0], 1u);
}

}  // namespace
}  // namespace vexa::base
