#include "json/value_pool.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "base/heap.h"

namespace vexa::json {
namespace {

// Blocks behind the first one, each twice as large as the one before.
constexpr uint64_t kBlockSize = 32 * 1024;
constexpr uint64_t kLargestBlock = 1024 * 1024;

// Room for the values of a text: sixteen bytes of text to a value is usual. One large block is
// better than many: what is not used is never touched.
uint64_t firstValuesSize(uint64_t length) {
  return std::clamp<uint64_t>(length * 4, 512, 4 * kLargestBlock);
}

// Room for the arrays beside the text: sixteen bytes of text to a pointer.
uint64_t firstArraysSize(uint64_t length) {
  return std::clamp<uint64_t>(length / 16 * sizeof(void*), 64, kBlockSize);
}

}  // namespace

Arena::~Arena() {
  while (blocks_ != nullptr) {
    Block* const block = blocks_;
    blocks_ = block->previous;
    free_(block);
  }
}

void* Arena::takeFromNewBlock(uint64_t size) {
  const uint64_t blockSize = std::max(blockSize_, sizeof(Block) + size);
  blockSize_ = std::min(blockSize_ * 2, kLargestBlock);
  void* const memory = allocate_(blockSize);
  if (memory == nullptr) {
    return nullptr;
  }
  blocks_ = new (memory) Block{blocks_};
  next_ = static_cast<char*>(memory) + sizeof(Block);
  end_ = static_cast<char*>(memory) + blockSize;
  return take(size);
}

ValuePool* ValuePool::create(const void* text, uint64_t length) {
  constexpr uint64_t kMostText = uint64_t{1} << 60;  // so that no sum below overflows
  if (length > kMostText) {
    return nullptr;
  }
  const uint64_t textSize = (length + kPadding + 7) & ~uint64_t{7};
  const uint64_t arraysSize = firstArraysSize(length);
  auto copy = base::RootBlock<char>::ofBytes(textSize + arraysSize);
  if (!copy) {
    return nullptr;
  }
  const uint64_t valuesSize = firstValuesSize(length);
  void* const block = base::processAllocate(sizeof(ValuePool) + valuesSize);
  if (block == nullptr) {
    return nullptr;
  }
  if (length != 0) {
    std::memcpy(copy.get(), text, length);
  }
  std::memset(copy.get() + length, 0, textSize - length);
  auto* const pool = new (block) ValuePool(copy.release());
  pool->values_.lend(static_cast<char*>(block) + sizeof(ValuePool), valuesSize);
  pool->arrays_.lend(pool->text_ + textSize, arraysSize);
  return pool;
}

ValuePool::ValuePool(char* text)
    : text_(text),
      values_(base::processAllocate, base::processFree, kBlockSize),
      arrays_(base::allocate, base::freeBlock, kBlockSize) {}

ValuePool::~ValuePool() { base::freeBlock(text_); }

void ValuePool::destroy() {
  this->~ValuePool();
  base::processFree(this);
}

void ValueMemory::change(ValuePool* pool) {
  flush();
  pool_ = pool;
}

}  // namespace vexa::json
