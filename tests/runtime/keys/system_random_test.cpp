#include "runtime/keys/system_random.h"

#include <gtest/gtest.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

// The system's generator as this program has it: it gives what the test laid ready, in order.
namespace {

struct Draw {
  ssize_t given;  // negative: a failure, with this error
  int error = 0;
};
std::vector<Draw> draws;
uint8_t nextByte;

}  // namespace

extern "C" ssize_t getrandom(void* buffer, size_t length, unsigned int flags) {
  EXPECT_EQ(flags, 0u);
  if (draws.empty()) {
    ADD_FAILURE() << "more is drawn than was asked for";
    errno = EIO;
    return -1;
  }
  const Draw draw = draws.front();
  draws.erase(draws.begin());
  if (draw.given < 0) {
    errno = draw.error;
    return -1;
  }
  const size_t count = std::min(length, static_cast<size_t>(draw.given));
  for (size_t i = 0; i < count; ++i) {
    static_cast<uint8_t*>(buffer)[i] = nextByte++;
  }
  return static_cast<ssize_t>(count);
}

namespace vexa::test {
namespace {

class SystemRandom : public ::testing::Test {
 protected:
  bool draw(const std::vector<Draw>& given) {
    draws = given;
    nextByte = 1;
    return velmora::systemRandom(bytes_, sizeof(bytes_));
  }

  uint8_t bytes_[10] = {};
};

TEST_F(SystemRandom, IsDrawnUntilAllIsThere) {
  for (const std::vector<Draw>& given : {std::vector<Draw>{{10}},
                                         {{3}, {3}, {3}, {3}},
                                         {{0}, {9}, {1}},
                                         {{-1, EINTR}, {4}, {-1, EINTR}, {6}}}) {
    EXPECT_TRUE(draw(given));
    EXPECT_TRUE(draws.empty());
    for (uint8_t i = 0; i < 10; ++i) {
      EXPECT_EQ(bytes_[i], i + 1);
    }
  }
}

TEST_F(SystemRandom, FailsWhereTheSystemDoes) {
  EXPECT_FALSE(draw({{-1, ENOSYS}}));
  EXPECT_FALSE(draw({{4}, {-1, EIO}}));
}

TEST_F(SystemRandom, DrawsNothingForNothing) {
  draws.clear();
  EXPECT_TRUE(velmora::systemRandom(nullptr, 0));
}

}  // namespace
}  // namespace vexa::test
