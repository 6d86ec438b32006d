#include "base/process_seed.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace vexa::test {
namespace {

TEST(ProcessSeed, IsOneForAllThreads) {
  std::vector<uint64_t> seeds(8);
  std::vector<std::thread> threads;
  threads.reserve(seeds.size());
  for (uint64_t& seed : seeds) {
    threads.emplace_back([&seed] { seed = base::processSeed(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(seeds, std::vector<uint64_t>(seeds.size(), base::processSeed()));
  EXPECT_NE(base::processSeed(), 0u);
}

}  // namespace
}  // namespace vexa::test
