#include <gtest/gtest.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <utility>
#include <vector>

#include "pal/windows_api.h"

// The system's random source of this program: what it gives at each call, a number of bytes or an
// error as a negative one.
namespace {
std::vector<int> answers;
std::uint8_t nextByte = 0;
}  // namespace

extern "C" ssize_t getrandom(void* bytes, std::size_t length, unsigned) {
  if (answers.empty()) {
    errno = ENOSYS;
    return -1;
  }
  const int answer = answers.front();
  answers.erase(answers.begin());
  if (answer < 0) {
    errno = -answer;
    return -1;
  }
  const std::size_t given = std::min(length, static_cast<std::size_t>(answer));
  std::generate_n(static_cast<std::uint8_t*>(bytes), given, [] { return ++nextByte; });
  return static_cast<ssize_t>(given);
}

namespace {

using Bytes = std::vector<std::uint8_t>;

BOOLEAN draw(Bytes& bytes, std::vector<int> pieces) {
  answers = std::move(pieces);
  nextByte = 0;
  return RtlGenRandom(bytes.data(), static_cast<ULONG>(bytes.size()));
}

TEST(RandomPieces, AreDrawnUntilThereAreEnough) {
  Bytes bytes(6);
  EXPECT_TRUE(draw(bytes, {1, 3, 100}));
  EXPECT_EQ(bytes, (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(RandomPieces, ASignalIsNoFailure) {
  Bytes bytes(4);
  EXPECT_TRUE(draw(bytes, {-EINTR, 2, 0, -EINTR, 2}));
  EXPECT_EQ(bytes, (Bytes{1, 2, 3, 4}));
}

TEST(RandomPieces, AFailureIsTold) {
  Bytes bytes(4);
  EXPECT_FALSE(draw(bytes, {}));
  EXPECT_FALSE(draw(bytes, {2, -EIO, 2}));
}

}  // namespace
