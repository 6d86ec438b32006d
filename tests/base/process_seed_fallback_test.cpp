#include <gtest/gtest.h>

#include "base/process_seed.h"
#include "pal/replace.h"

namespace {
int draws = 0;
}  // namespace

PAL_REPLACE(BOOLEAN, RtlGenRandom, (PVOID, ULONG)) {
  ++draws;
  return FALSE;
}

namespace vexa::test {
namespace {

TEST(ProcessSeed, WithoutRandomBytesThereIsOneStill) {
  const uint64_t seed = base::processSeed();
  EXPECT_NE(seed, 0u);
  EXPECT_EQ(base::processSeed(), seed);
  EXPECT_EQ(draws, 1);
}

}  // namespace
}  // namespace vexa::test
