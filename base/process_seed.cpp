#include "base/process_seed.h"

#include <atomic>

#include "pal/windows_api.h"

namespace vexa::base {
namespace {

constinit std::atomic<uint64_t> seed{0};  // 0: not drawn yet

uint64_t draw() {
  uint64_t drawn = 0;
  if (!RtlGenRandom(&drawn, sizeof(drawn))) {
    drawn = reinterpret_cast<uintptr_t>(&drawn);  // the system chose where the stack lies
  }
  return drawn | 1;
}

}  // namespace

uint64_t processSeed() {
  uint64_t known = seed.load(std::memory_order_relaxed);
  if (known == 0) {
    const uint64_t drawn = draw();
    // Two threads may draw at the same time; the first one's stays.
    if (seed.compare_exchange_strong(known, drawn, std::memory_order_relaxed)) {
      known = drawn;
    }
  }
  return known;
}

}  // namespace vexa::base
