#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>

#include "runtime/heap.h"
#include "vexa/runtime/reference.h"

// The reference runtime on a heap that refuses: the allocation of the number that VEXA_FAILS_AT
// names (1: the first), and every one of more bytes than VEXA_MOST_BYTES, or of more than
// VEXA_MOST_ELSEWHERE in another thread than the first. Such a thread that asks for more than
// VEXA_HOLDS_ABOVE waits for ever. Without them the heap is as large as any.
//
// short_runtime_fail_at says anew which allocation fails, counted from there; 0: none.
namespace {

uint64_t numberIn(const char* variable, uint64_t otherwise) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

class ShortHeap final : public vexa::velmora::HeapObserver {
 public:
  ShortHeap() { vexa::velmora::observeHeap(this); }
  ShortHeap(const ShortHeap&) = delete;
  ShortHeap& operator=(const ShortHeap&) = delete;

  bool mayAllocate(uint64_t size) override {
    const bool isFirst = std::this_thread::get_id() == first_;
    if (!isFirst && size > holdsAbove_) {
      std::promise<void>().get_future().wait();
    }
    return ++count_ != failsAt_ && size <= (isFirst ? mostBytes_ : mostElsewhere_);
  }
  void failAt(uint64_t number) {
    count_ = 0;
    failsAt_ = number;
  }
  void onFree(const uint8_t* /*block*/, uint64_t /*size*/) override {}
  void onError(const char* message) override {
    std::fprintf(stderr, "heap: %s\n", message);
    std::abort();
  }

 private:
  std::atomic<uint64_t> failsAt_ = numberIn("VEXA_FAILS_AT", 0);
  const uint64_t mostBytes_ = numberIn("VEXA_MOST_BYTES", UINT64_MAX);
  const uint64_t mostElsewhere_ = numberIn("VEXA_MOST_ELSEWHERE", mostBytes_);
  const uint64_t holdsAbove_ = numberIn("VEXA_HOLDS_ABOVE", UINT64_MAX);
  const std::thread::id first_ = std::this_thread::get_id();
  std::atomic<uint64_t> count_{0};
};

ShortHeap theHeap;

}  // namespace

extern "C" VELMORA_EXPORT void short_runtime_fail_at(uint64_t number) { theHeap.failAt(number); }
