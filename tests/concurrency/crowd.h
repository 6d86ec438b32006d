#pragma once

#include <functional>
#include <latch>
#include <thread>
#include <vector>

namespace vexa::test {

// Runs every function in a thread of its own. All begin together; returns when all have ended.
inline void runTogether(const std::vector<std::function<void()>>& functions) {
  std::latch start(static_cast<std::ptrdiff_t>(functions.size()));
  std::vector<std::thread> threads;
  threads.reserve(functions.size());
  for (const auto& function : functions) {
    threads.emplace_back([&start, &function] {
      start.arrive_and_wait();
      function();
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// The same function `threads` times; it is given the thread's number.
inline void runCrowd(int threads, const std::function<void(int thread)>& function) {
  std::vector<std::function<void()>> functions;
  for (int i = 0; i < threads; ++i) {
    functions.emplace_back([&function, i] { function(i); });
  }
  runTogether(functions);
}

}  // namespace vexa::test
