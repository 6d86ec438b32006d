#include "json/value_pool.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "base/heap.h"

namespace vexa::json {
namespace {

// Items in each further block.
constexpr uint64_t kItemsOfBlock = 4096;
// More than so many get a block of their own, so that not much is left over in the shared ones.
constexpr uint64_t kMostShared = kItemsOfBlock / 4;

// Room for the items of a text in its first block: usually all of them.
uint64_t firstItems(uint64_t length) { return std::max<uint64_t>(length / 8, 16); }

// Memory that is only cleared when it is little: the root list clears what it allocates, not what a
// block grows by.
void* allocateBlock(uint64_t size) {
  constexpr uint64_t kLittle = 4096;
  auto block = base::RootBlock<char>::ofBytes(std::min(size, kLittle));
  if (block && size > kLittle && !block.resize(size)) {
    block.reset();
  }
  return block.release();
}

}  // namespace

ValuePool* ValuePool::create(const void* text, uint64_t length) {
  if (length > Item::kLongest) {
    return nullptr;
  }
  const uint64_t textSize = (length + kPadding + sizeof(Item) - 1) & ~(sizeof(Item) - 1);
  const uint64_t size = sizeof(ValuePool) + textSize + firstItems(length) * sizeof(Item);
  auto* const block = static_cast<char*>(allocateBlock(size));
  if (block == nullptr) {
    return nullptr;
  }
  char* const copy = block + sizeof(ValuePool);
  if (length != 0) {
    std::memcpy(copy, text, length);
  }
  std::memset(copy + length, 0, textSize - length);
  return new (block)
      ValuePool(reinterpret_cast<Item*>(copy + textSize), reinterpret_cast<Item*>(block + size));
}

Item* ValuePool::takeFromNewBlock(uint64_t count) {
  const bool isShared = count <= kMostShared;
  const uint64_t room = isShared ? kItemsOfBlock : count;
  void* const memory = allocateBlock(sizeof(Block) + room * sizeof(Item));
  if (memory == nullptr) {
    return nullptr;
  }
  blocks_ = new (memory) Block{blocks_, 0};
  auto* const items = reinterpret_cast<Item*>(blocks_ + 1);
  if (isShared) {
    next_ = items + count;
    end_ = items + room;
  }
  return items;
}

void ValuePool::destroy() {
  while (blocks_ != nullptr) {
    const base::RootBlock<Block> dropped(std::exchange(blocks_, blocks_->previous));
  }
  const base::RootBlock<ValuePool> self(this);
}

}  // namespace vexa::json
