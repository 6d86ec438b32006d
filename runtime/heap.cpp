#include "runtime/heap.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/heap_block.h"
#include "runtime/heap_poison.h"
#include "runtime/thread_cache.h"

namespace vexa::velmora {
namespace {

// No block is larger. Beyond it lie only wrong calculations.
constexpr uint64_t kLargest = uint64_t{1} << 39;

std::atomic<uint64_t> errors{0};
std::atomic<HeapObserver*> observer{nullptr};
std::atomic<bool> askedToWatch{kUnderAddressSanitizer};
// Whether blocks may be kept and grow in place: nobody watches.
std::atomic<bool> quick{!kUnderAddressSanitizer};

void updateQuick() { quick = !askedToWatch && observer == nullptr; }

ThreadCache* quickCache() {
  return quick.load(std::memory_order_relaxed) ? ThreadCache::current() : nullptr;
}

void count(int64_t change) {
  if (ThreadCache* const cache = ThreadCache::make()) {
    cache->count(change);
  } else {
    ThreadCache::countElsewhere(change);
  }
}

void report(const char* message) {
  errors.fetch_add(1);
  if (HeapObserver* const watcher = observer.load()) {
    watcher->onError(message);
  } else {
    std::fprintf(stderr, "velmora: %s\n", message);
  }
}

bool refused(uint64_t size) {
  HeapObserver* const watcher = observer.load();
  return (watcher != nullptr && !watcher->mayAllocate(size)) || size > kLargest;
}

// What the header says, where there is room for one; anything at all, when it is no live block.
Origin markOf(void* block) {
  const bool hasHeader =
      block != nullptr && reinterpret_cast<uintptr_t>(block) % sizeof(Header) == 0;
  return hasHeader ? headerOf(block)->origin() : Origin::kNone;
}

// Who may release the block; kNone when it is no live block.
Origin originOf(void* block) {
  const Origin origin = markOf(block);
  const bool isLive =
      origin == Origin::kRoot || origin == Origin::kText || origin == Origin::kComponentText;
  return isLive ? origin : Origin::kNone;
}

// --- Taking ---

// The first and the last bytes, which may overlap.
template <uint64_t count>
void clearEnds(uint8_t* bytes, uint64_t size) {
  std::memset(bytes, 0, count);
  std::memset(bytes + size - count, 0, count);
}

// Small blocks without a call. No block has room for less than a step.
inline void clear(uint8_t* bytes, uint64_t size) {
  if (size <= 16) {
    std::memset(bytes, 0, kStep);
  } else if (size <= 32) {
    clearEnds<16>(bytes, size);
  } else if (size <= 64) {
    clearEnds<32>(bytes, size);
  } else if (size <= 128) {
    clearEnds<64>(bytes, size);
  } else {
    std::memset(bytes, 0, size);
  }
}

template <uint64_t count>
void copyEnds(uint8_t* target, const uint8_t* bytes, uint64_t size) {
  std::memcpy(target, bytes, count);
  std::memcpy(target + size - count, bytes + size - count, count);
}

// Most texts without a call.
inline void copy(uint8_t* target, const uint8_t* bytes, uint64_t size) {
  if (size - 8 > 64 - 8) {
    std::memcpy(target, bytes, size);
  } else if (size > 32) {
    copyEnds<32>(target, bytes, size);
  } else if (size > 16) {
    copyEnds<16>(target, bytes, size);
  } else {
    copyEnds<8>(target, bytes, size);
  }
}

enum class Content { kZero, kAny };

// Gives a block that was free to `origin`. The slack stays out of bounds.
inline void* handOut(Header* header, Origin origin, uint64_t size, uint32_t sizeClass,
                     Content content) {
  header->mark(origin);
  header->setSize(size, sizeClass);
  if (content == Content::kZero) {
    clear(header->bytes(), size);
  }
  forbidBytes(header->bytes() + size, capacityOfClass(sizeClass) - size);
  return header->bytes();
}

// A block of its own. Null when memory is short.
Header* newLarge(Origin origin, uint64_t size, uint64_t capacity, Content content) {
  const uint64_t room = sizeof(LargeHeader) + capacity;
  auto* const large = static_cast<LargeHeader*>(content == Content::kZero ? std::calloc(1, room)
                                                                          : std::malloc(room));
  if (large == nullptr) {
    return nullptr;
  }
  large->capacity = capacity;
  large->header.mark(origin);
  large->header.setSize(size, kNoClass);
  return &large->header;
}

// A block of `size` bytes with room for `capacity`, when nobody watches.
[[gnu::noinline]] void* allocateNew(Origin origin, uint64_t size, uint64_t capacity,
                                    Content content) {
  if (capacity > kLargestOfClass) {
    Header* const header = newLarge(origin, size, capacity, content);
    if (header == nullptr) {
      return nullptr;
    }
    count(1);
    forbidBytes(header->bytes() + size, capacity - size);
    return header->bytes();
  }
  const uint32_t sizeClass = classOf(capacity);
  ThreadCache* const cache = ThreadCache::make();
  Header* header = cache == nullptr ? nullptr : cache->take(sizeClass);
  if (header == nullptr) {
    header = static_cast<Header*>(std::malloc(sizeof(Header) + capacityOfClass(sizeClass)));
  }
  if (header == nullptr) {
    return nullptr;
  }
  count(1);
  return handOut(header, origin, size, sizeClass, content);
}

[[gnu::noinline]] void* allocateSlowly(Origin origin, uint64_t size) {
  if (refused(size)) {
    return nullptr;
  }
  const uint64_t bytes = std::max<uint64_t>(size, 1);
  if (quick.load(std::memory_order_relaxed)) {
    return allocateNew(origin, bytes, bytes, Content::kZero);
  }
  Header* const header = newLarge(origin, bytes, bytes, Content::kZero);
  if (header == nullptr) {
    return nullptr;
  }
  count(1);
  return header->bytes();
}

// What the thread keeps of that class; null when there is nothing.
[[gnu::always_inline]] inline void* allocateKept(Origin origin, uint64_t size, uint64_t capacity,
                                                 Content content) {
  ThreadCache* const cache = quickCache();
  if (cache != nullptr && capacity - 1 < kLargestOfClass) [[likely]] {
    const uint32_t sizeClass = classOf(capacity);
    if (Header* const header = cache->take(sizeClass)) [[likely]] {
      cache->count(1);
      return handOut(header, origin, size, sizeClass, content);
    }
  }
  return nullptr;
}

// A zero-filled block. One byte at least, so that every block has an address of its own.
inline void* allocateFor(Origin origin, uint64_t size) {
  void* const block = allocateKept(origin, size, size, Content::kZero);
  return block != nullptr ? block : allocateSlowly(origin, size);
}

// --- Giving back ---

[[gnu::noinline]] void releaseToSystem(Header* header) {
  const uint64_t size = header->size();
  if (!quick.load(std::memory_order_relaxed)) {
    if (HeapObserver* const watcher = observer.load()) {
      watcher->onFree(header->bytes(), size);
    }
    std::memset(header->bytes(), kFreedByte, size);
  }
  void* const start =
      header->sizeClass() == kNoClass ? static_cast<void*>(largeOf(header)) : header;
  header->mark(Origin::kFreed);
  std::free(start);
  count(-1);
}

inline void release(Header* header) {
  ThreadCache* const cache = quickCache();
  const uint32_t sizeClass = header->sizeClass();
  if (cache != nullptr && sizeClass != kNoClass) [[likely]] {
    header->mark(Origin::kFreed);
    cache->count(-1);
    cache->keep(header, sizeClass);
    return;
  }
  releaseToSystem(header);
}

[[gnu::noinline]] void freeOther(void* block) {
  if (markOf(block) == Origin::kComponentText) {
    report("a text of TextDuplicate released by Free instead of TextRelease");
    release(headerOf(block));
  } else {
    report("Free of something that is not a live block");
  }
}

// --- Changing the size ---

// Blocks up to here stay as they are when they shrink.
constexpr uint64_t kSmall = 1024;
// As much slack a block gets that doubles.
constexpr uint64_t kMostDoubled = 4096;

bool fits(uint64_t bytes, uint64_t capacity) {
  return bytes <= capacity && (capacity <= kSmall || bytes >= capacity / 2);
}

void* setSize(Header* header, uint64_t bytes) {
  header->setSize(bytes, header->sizeClass());
  allowBytes(header->bytes(), bytes);
  forbidBytes(header->bytes() + bytes, header->capacity() - bytes);
  return header->bytes();
}

// The system may find a larger block's neighbourhood free, or move it without copying.
void* resizeLarge(Header* header, Origin origin, uint64_t bytes, uint64_t capacity) {
  LargeHeader* const old = largeOf(header);
  allowBytes(header->bytes(), old->capacity);
  header->mark(Origin::kFreed);
  auto* const large = static_cast<LargeHeader*>(std::realloc(old, sizeof(LargeHeader) + capacity));
  if (large == nullptr) {
    header->mark(origin);
    forbidBytes(header->bytes() + header->size(), old->capacity - header->size());
    return nullptr;
  }
  large->capacity = capacity;
  large->header.mark(origin);
  return setSize(&large->header, bytes);
}

void* moveTo(void* target, Header* header, uint64_t bytes) {
  if (target != nullptr) {
    std::memcpy(target, header->bytes(), std::min(header->size(), bytes));
    release(header);
  }
  return target;
}

// What grows is likely to grow again: with slack, many small steps cost as much as one long one. It
// is a quarter, but small blocks double.
uint64_t slackFor(uint64_t bytes) { return std::max(bytes / 4, std::min(bytes, kMostDoubled)); }

void* resize(Header* header, Origin origin, uint64_t bytes) {
  const uint64_t old = header->size();
  const uint64_t capacity = bytes > old ? bytes + slackFor(bytes) : bytes;
  void* resized = allocateKept(origin, bytes, capacity, Content::kAny);
  if (resized != nullptr) {
    return moveTo(resized, header, bytes);
  }
  resized = header->sizeClass() == kNoClass && capacity > kLargestOfClass
                ? resizeLarge(header, origin, bytes, capacity)
                : moveTo(allocateNew(origin, bytes, capacity, Content::kAny), header, bytes);
  return resized == nullptr && bytes <= header->capacity() ? setSize(header, bytes) : resized;
}

// Always moved, so that a pointer into the old block shows itself as stale.
void* resizeWatchfully(Header* header, Origin origin, uint64_t bytes) {
  Header* const grown = newLarge(origin, bytes, bytes, Content::kAny);
  if (grown == nullptr) {
    return nullptr;
  }
  count(1);
  const uint64_t old = header->size();
  if (bytes > old) {
    std::memset(grown->bytes() + old, kGrownByte, bytes - old);
  }
  return moveTo(grown->bytes(), header, bytes);
}

[[gnu::noinline]] void* reallocateSlowly(void* block, uint64_t size) {
  if (block == nullptr) {
    return allocateBlock(size);
  }
  const Origin origin = originOf(block);
  if (origin == Origin::kNone) {
    report("Reallocate of something that is not a live block");
    return nullptr;
  }
  if (refused(size)) {
    return nullptr;
  }
  Header* const header = headerOf(block);
  const uint64_t bytes = std::max<uint64_t>(size, 1);
  if (!quick.load(std::memory_order_relaxed)) {
    return resizeWatchfully(header, origin, bytes);
  }
  return fits(bytes, header->capacity()) ? setSize(header, bytes) : resize(header, origin, bytes);
}

}  // namespace

void* allocateBlock(uint64_t size) { return allocateFor(Origin::kRoot, size); }

void* reallocateBlock(void* block, uint64_t size) {
  if (markOf(block) != Origin::kRoot || !quick.load(std::memory_order_relaxed)) [[unlikely]] {
    return reallocateSlowly(block, size);
  }
  // What small pieces are appended to: it has room for most of them.
  Header* const header = headerOf(block);
  if (size <= header->size() || size > kLargest) [[unlikely]] {
    return reallocateSlowly(block, size);
  }
  return size <= header->capacity() ? setSize(header, size) : resize(header, Origin::kRoot, size);
}

bool fitsInPlace(void* block, uint64_t size) {
  return quick.load(std::memory_order_relaxed) && originOf(block) != Origin::kNone &&
         fits(size, headerOf(block)->capacity());
}

void resizeInPlace(void* block, uint64_t size) { setSize(headerOf(block), size); }

void freeBlock(void* block) {
  const Origin origin = markOf(block);
  if (origin == Origin::kRoot || origin == Origin::kText) [[likely]] {
    release(headerOf(block));
  } else if (block != nullptr) {
    freeOther(block);
  }
}

void* duplicateText(const void* text, uint64_t size) {
  void* block = allocateKept(Origin::kText, size, size, Content::kAny);
  if (block == nullptr) {
    block = allocateSlowly(Origin::kText, size);
  }
  if (block != nullptr) {
    copy(static_cast<uint8_t*>(block), static_cast<const uint8_t*>(text), size);
  }
  return block;
}

void freeText(void* text) {
  if (text == nullptr) {
    return;
  }
  const Origin origin = originOf(text);
  if (origin != Origin::kText) {
    report("TextRelease of the string component for a block that it did not make");
  }
  if (origin != Origin::kNone) {
    release(headerOf(text));
  }
}

char* duplicateComponentText(const char* text) {
  if (text == nullptr) {
    return nullptr;
  }
  const size_t size = std::strlen(text) + 1;
  void* const copy = allocateFor(Origin::kComponentText, size);
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

void freeComponentText(char* text) {
  if (text == nullptr) {
    return;
  }
  const Origin origin = originOf(text);
  if (origin != Origin::kComponentText) {
    report("TextRelease of the common types for a block that TextDuplicate did not make");
  }
  if (origin != Origin::kNone) {
    release(headerOf(text));
  }
}

uint64_t liveBlocks() { return static_cast<uint64_t>(ThreadCache::allLive()); }

uint64_t heapErrors() { return errors.load(); }

void setWatchful(bool watchful) {
  askedToWatch = watchful;
  updateQuick();
}

void observeHeap(HeapObserver* watcher) {
  observer = watcher;
  updateQuick();
}

void closeHeap() { ThreadCache::closeAll(); }

}  // namespace vexa::velmora
