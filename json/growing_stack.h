#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

#include "base/heap.h"

namespace vexa::json {

// A stack of plain items: the first ones within the object, more of them in a block of the root
// list, which doubles.
template <class Item, uint64_t kInline>
class GrowingStack {
  static_assert(std::is_trivially_copyable_v<Item>);

 public:
  GrowingStack() = default;
  GrowingStack(const GrowingStack&) = delete;
  GrowingStack& operator=(const GrowingStack&) = delete;

  bool empty() const { return count_ == 0; }
  uint64_t size() const { return count_; }
  Item& back() { return items_[count_ - 1]; }
  // The items from `first` on, valid until the next push.
  std::span<Item> from(uint64_t first) { return {items_ + first, count_ - first}; }

  // False when memory is short; nothing changed then.
  [[nodiscard]] bool push(const Item& item) {
    if (count_ == capacity_ && !grow()) {
      return false;
    }
    items_[count_++] = item;
    return true;
  }
  void pop() { --count_; }
  void shrink(uint64_t size) { count_ = size; }

 private:
  bool grow() {
    const uint64_t capacity = capacity_ * 2;
    void* const grown = base::reallocate(grown_.get(), capacity * sizeof(Item));
    if (grown == nullptr) {
      return false;
    }
    if (!grown_) {
      std::memcpy(grown, inline_, sizeof(inline_));
    }
    grown_.release();
    grown_.reset(static_cast<Item*>(grown));
    items_ = grown_.get();
    capacity_ = capacity;
    return true;
  }

  Item* items_ = inline_;
  uint64_t count_ = 0;
  uint64_t capacity_ = kInline;
  base::RootBlock<Item> grown_;
  Item inline_[kInline];
};

}  // namespace vexa::json
