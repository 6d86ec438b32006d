#pragma once

#include <cstdint>

// The root heap: one heap under everything that the runtime hands out. Each block remembers its
// size and who may release it, so that a wrong release is told instead of done. Any thread.
//
// Blocks come in sizes with some slack, in which they grow where they are, and each thread keeps a
// few that it released for its next requests (thread_cache.h). A watchful heap does neither: it
// serves those who look for mistakes.
namespace vexa::velmora {

// A zero-filled block, or null when memory is short. Size 0 gives one byte.
void* allocateBlock(uint64_t size);
// Content kept, growth not cleared. Null is allocated. On failure null; the old block stays.
void* reallocateBlock(void* block, uint64_t size);
// Whether a live block may take on this size where it is; never in a watchful heap.
bool fitsInPlace(void* block, uint64_t size);
void resizeInPlace(void* block, uint64_t size);  // to one that fits
// Null is ignored. Releases every block but component texts.
void freeBlock(void* block);

// Texts of String.1 and StringW.1 (slot 3): `size` bytes, the terminator with them.
// Released by freeBlock or by freeText. Null when memory is short.
void* duplicateText(const void* text, uint64_t size);
void freeText(void* text);

// Texts of SEC_COMMONTYPES_1 TextDuplicate: released by freeComponentText and by nothing else.
// Null gives null.
char* duplicateComponentText(const char* text);
void freeComponentText(char* text);

uint64_t liveBlocks();
uint64_t heapErrors();

// Watchful: every block is one of the system's own, of exactly the size asked for; a reallocation
// always moves, what it adds is filled with kGrownByte, and a released block with kFreedByte. May
// be switched at any time. Under AddressSanitizer the heap begins so, else not.
void setWatchful(bool watchful);
inline constexpr uint8_t kFreedByte = 0xDD;
inline constexpr uint8_t kGrownByte = 0xCC;

// Sees what the heap does and may refuse allocations. Called from whatever thread uses the heap;
// must not use the heap itself.
class HeapObserver {
 public:
  // False: the allocation (or reallocation) fails.
  virtual bool mayAllocate(uint64_t size) = 0;
  // Before the block is filled.
  virtual void onFree(const uint8_t* block, uint64_t size) = 0;
  virtual void onError(const char* message) = 0;

 protected:
  ~HeapObserver() = default;
};
// The heap is watchful while it has an observer. Null: nobody observes. The observer must outlive
// its use.
void observeHeap(HeapObserver* watcher);

// Before the library goes: gives the system everything back but the blocks that are alive.
void closeHeap();

}  // namespace vexa::velmora
