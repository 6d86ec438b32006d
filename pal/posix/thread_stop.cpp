#include "pal/posix/thread_stop.h"

#include <unistd.h>

namespace pal::posix {
namespace {
thread_local const std::atomic<bool>* terminated = nullptr;
}  // namespace

void watchTermination(const std::atomic<bool>* flag) { terminated = flag; }

bool isTerminated() { return terminated != nullptr && terminated->load(std::memory_order_relaxed); }

void stopIfTerminated() {
  if (isTerminated()) {
    stopForever();
  }
}

void stopForever() {
  for (;;) {
    pause();
  }
}

}  // namespace pal::posix
