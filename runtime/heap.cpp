#include "runtime/heap.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vexa::velmora {
namespace {

// Who may release a block. The values tell a live block from anything else.
enum class Origin : uint64_t {
  kRoot = 0x746F6F5261786556,
  kText = 0x7478655461786556,
  kComponentText = 0x706D6F4361786556,
  kFreed = 0x6565724661786556,
};

struct Header {
  Origin origin;
  uint64_t size;  // bytes asked for
};
static_assert(sizeof(Header) == 16);

// No block is larger. Beyond it lie only wrong calculations.
constexpr uint64_t kLargest = uint64_t{1} << 39;

std::atomic<uint64_t> live{0};
std::atomic<uint64_t> errors{0};
std::atomic<HeapObserver*> observer{nullptr};

Header* headerOf(void* block) { return static_cast<Header*>(block) - 1; }

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

bool isLive(Origin origin) {
  return origin == Origin::kRoot || origin == Origin::kText || origin == Origin::kComponentText;
}

// Room for a header and zero-filled bytes; null when memory is short. Small blocks are not taken
// from calloc, which passes over the C library's cache of free blocks.
Header* zeroed(uint64_t bytes) {
  constexpr uint64_t kSmall = 1024;
  if (bytes > kSmall) {
    return static_cast<Header*>(std::calloc(1, sizeof(Header) + bytes));
  }
  auto* const header = static_cast<Header*>(std::malloc(sizeof(Header) + bytes));
  if (header != nullptr) {
    std::memset(header + 1, 0, bytes);
  }
  return header;
}

// A zero-filled block. One byte at least, so that every block has an address of its own.
void* allocateFor(Origin origin, uint64_t size) {
  if (refused(size)) {
    return nullptr;
  }
  const uint64_t bytes = size == 0 ? 1 : size;
  auto* const header = zeroed(bytes);
  if (header == nullptr) {
    return nullptr;
  }
  *header = {origin, bytes};
  live.fetch_add(1, std::memory_order_relaxed);
  return header + 1;
}

void release(void* block) {
  Header* const header = headerOf(block);
  if (HeapObserver* const watcher = observer.load()) {
    watcher->onFree(static_cast<uint8_t*>(block), header->size);
  }
  header->origin = Origin::kFreed;
  std::free(header);
  live.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace

void* allocateBlock(uint64_t size) { return allocateFor(Origin::kRoot, size); }

void* reallocateBlock(void* block, uint64_t size) {
  if (block == nullptr) {
    return allocateBlock(size);
  }
  if (!isLive(headerOf(block)->origin)) {
    report("Reallocate of something that is not a live block");
    return nullptr;
  }
  if (refused(size)) {
    return nullptr;
  }
  // Always moved, so that a pointer into the old block shows itself as stale.
  const Header old = *headerOf(block);
  const uint64_t bytes = size == 0 ? 1 : size;
  auto* const header = static_cast<Header*>(std::malloc(sizeof(Header) + bytes));
  if (header == nullptr) {
    return nullptr;
  }
  *header = {old.origin, bytes};
  live.fetch_add(1, std::memory_order_relaxed);
  auto* const grown = reinterpret_cast<uint8_t*>(header + 1);
  std::memcpy(grown, block, old.size < bytes ? old.size : bytes);
  HeapObserver* const watcher = observer.load();
  if (watcher != nullptr && bytes > old.size) {
    watcher->onGrow(grown, old.size, bytes);
  }
  release(block);
  return grown;
}

void freeBlock(void* block) {
  if (block == nullptr) {
    return;
  }
  switch (headerOf(block)->origin) {
    case Origin::kComponentText:
      report("a text of TextDuplicate released by Free instead of TextRelease");
      [[fallthrough]];
    case Origin::kRoot:
    case Origin::kText:
      release(block);
      return;
    default:
      report("Free of something that is not a live block");
  }
}

void* duplicateText(const void* text, uint64_t units, uint64_t unitSize) {
  void* const copy = allocateFor(Origin::kText, (units + 1) * unitSize);
  if (copy != nullptr) {
    std::memcpy(copy, text, units * unitSize);
  }
  return copy;
}

void freeText(void* text) {
  if (text == nullptr) {
    return;
  }
  const Origin origin = headerOf(text)->origin;
  if (origin != Origin::kText) {
    report("TextRelease of the string component for a block that it did not make");
  }
  if (isLive(origin)) {
    release(text);
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
  const Origin origin = headerOf(text)->origin;
  if (origin != Origin::kComponentText) {
    report("TextRelease of the common types for a block that TextDuplicate did not make");
  }
  if (isLive(origin)) {
    release(text);
  }
}

uint64_t liveBlocks() { return live.load(); }

uint64_t heapErrors() { return errors.load(); }

void observeHeap(HeapObserver* watcher) { observer.store(watcher); }

}  // namespace vexa::velmora
