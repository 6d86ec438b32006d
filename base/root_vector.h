#pragma once

#include <cstdint>
#include <new>
#include <utility>

#include "base/holders.h"
#include "vexa/results.h"

namespace vexa::base {

// How a RootVector grows: the capacity that follows when `needed` items do not fit.
struct GrowExactly {
  static uint64_t capacity(uint64_t /*present*/, uint64_t needed) { return needed; }
};
template <uint64_t kFirst = 8>
struct GrowByDoubling {
  static uint64_t capacity(uint64_t present, uint64_t needed) {
    uint64_t capacity = present != 0 ? present : kFirst;
    while (capacity < needed) {
      capacity *= 2;
    }
    return capacity;
  }
};

// What a RootVector that could not grow does with the items it has.
enum class OnGrowthFailure { kKeep, kDrop };

// An array in one block of the root list. Growing moves the items as bytes, so that an item must
// not hold its own address. One thread at a time.
template <class Item, class Growth = GrowExactly,
          OnGrowthFailure kOnFailure = OnGrowthFailure::kKeep>
class RootVector {
 public:
  RootVector() = default;
  RootVector(RootVector&& other) noexcept { swap(other); }
  RootVector& operator=(RootVector&& other) noexcept {
    swap(other);
    return *this;
  }
  ~RootVector() { clear(); }

  void swap(RootVector& other) noexcept {
    std::swap(items_, other.items_);
    std::swap(count_, other.count_);
    std::swap(capacity_, other.capacity_);
  }

  bool empty() const { return count_ == 0; }
  uint64_t size() const { return count_; }
  Item* data() const { return items_.get(); }
  Item& operator[](uint64_t index) const { return items_[index]; }
  Item& back() const { return items_[count_ - 1]; }
  Item* begin() const { return data(); }
  Item* end() const { return data() + count_; }

  // Room for so many items. kOutOfMemory.
  [[nodiscard]] int32_t reserve(uint64_t count) {
    if (count <= capacity_) {
      return kOk;
    }
    const uint64_t capacity = Growth::capacity(capacity_, count);
    if (capacity > UINT64_MAX / sizeof(Item) || !items_.resize(capacity * sizeof(Item))) {
      if constexpr (kOnFailure == OnGrowthFailure::kDrop) {
        removeAll();
      }
      return kOutOfMemory;
    }
    capacity_ = capacity;
    return kOk;
  }
  // kOutOfMemory: the item is not taken over.
  [[nodiscard]] int32_t append(Item&& item) {
    if (const int32_t result = reserve(count_ + 1); failed(result)) {
      return result;
    }
    new (items_.get() + count_) Item(std::move(item));
    ++count_;
    return kOk;
  }
  [[nodiscard]] int32_t append(const Item& item) { return append(Item(item)); }

  // Destroys the last item.
  void pop() { items_[--count_].~Item(); }
  // Destroys the items, the first one first, and keeps the room.
  void removeAll() {
    for (Item& item : *this) {
      item.~Item();
    }
    count_ = 0;
  }
  // The same, and gives the block back.
  void clear() {
    removeAll();
    items_.reset();
    capacity_ = 0;
  }

 private:
  RootBlock<Item> items_;
  uint64_t count_ = 0;
  uint64_t capacity_ = 0;
};

}  // namespace vexa::base
