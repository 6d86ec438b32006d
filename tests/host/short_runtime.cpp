#include <atomic>
#include <cstdlib>

#include "runtime/heap.h"

// The reference runtime on a heap that refuses: the allocation of the number that VEXA_FAILS_AT
// names (1: the first), and every one of more bytes than VEXA_MOST_BYTES. Without them it refuses
// nothing.
namespace {

uint64_t numberIn(const char* variable) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? 0 : std::strtoull(text, nullptr, 10);
}

class ShortHeap final : public vexa::velmora::HeapObserver {
 public:
  ShortHeap() { vexa::velmora::observeHeap(this); }
  ShortHeap(const ShortHeap&) = delete;
  ShortHeap& operator=(const ShortHeap&) = delete;

  bool mayAllocate(uint64_t size) override {
    return ++count_ != failsAt_ && (mostBytes_ == 0 || size <= mostBytes_);
  }
  void onFree(const uint8_t* /*block*/, uint64_t /*size*/) override {}
  void onError(const char* message) override {
    std::fputs(message, stderr);
    std::abort();
  }

 private:
  const uint64_t failsAt_ = numberIn("VEXA_FAILS_AT");
  const uint64_t mostBytes_ = numberIn("VEXA_MOST_BYTES");
  std::atomic<uint64_t> count_{0};
};

ShortHeap theHeap;

}  // namespace
