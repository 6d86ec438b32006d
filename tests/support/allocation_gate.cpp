#include "support/allocation_gate.h"

#include <atomic>
#include <limits>

namespace vexa::test::allocation_gate {
namespace {

constexpr uint64_t kNever = std::numeric_limits<uint64_t>::max();

std::atomic<uint64_t> calls{0};
std::atomic<uint64_t> refusals{0};
std::atomic<uint64_t> failing{kNever};
std::atomic<bool> failingOn{false};
std::atomic<int64_t> processBlocks{0};

}  // namespace

void failAt(uint64_t n, bool andAllAfter) {
  calls = 0;
  refusals = 0;
  failing = n;
  failingOn = andAllAfter;
}

void neverFail() {
  failing = kNever;
  failingOn = false;
}

bool pass() {
  const uint64_t number = ++calls;
  const bool refuse = number == failing || (failingOn && number > failing);
  refusals += refuse ? 1 : 0;
  return !refuse;
}

uint64_t passed() { return calls - refusals; }

uint64_t refused() { return refusals; }

void countProcessBlock(int64_t change) { processBlocks += change; }

int64_t liveProcessBlocks() { return processBlocks; }

}  // namespace vexa::test::allocation_gate
