#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
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

// The items of a RootVector: the first ones within the object, more of them in a block.
template <class Item, uint64_t kInPlace>
class VectorRoom {
 public:
  VectorRoom() = default;
  VectorRoom(const VectorRoom&) = delete;
  VectorRoom& operator=(const VectorRoom&) = delete;

  Item* get() const { return items_; }
  [[nodiscard]] bool resize(uint64_t size) {
    const bool wasInPlace = !block_;
    if (!block_.resize(size)) {
      return false;
    }
    if (wasInPlace) {
      std::memcpy(static_cast<void*>(block_.get()), inPlace_, sizeof(inPlace_));
    }
    items_ = block_.get();
    return true;
  }
  void reset() {
    block_.reset();
    items_ = reinterpret_cast<Item*>(inPlace_);
  }

 private:
  Item* items_ = reinterpret_cast<Item*>(inPlace_);
  RootBlock<Item> block_;
  alignas(Item) std::byte inPlace_[kInPlace * sizeof(Item)];
};
template <class Item>
class VectorRoom<Item, 0> : public RootBlock<Item> {};

// An array in one block of the root list, which is asked for when there are more than `kInPlace`
// items. Growing moves the items as bytes, so that an item must not hold its own address. One
// thread at a time.
template <class Item, class Growth = GrowExactly,
          OnGrowthFailure kOnFailure = OnGrowthFailure::kKeep, uint64_t kInPlace = 0>
class RootVector {
 public:
  RootVector() = default;
  RootVector(RootVector&& other) noexcept requires(kInPlace == 0) { swap(other); }
  RootVector& operator=(RootVector&& other) noexcept requires(kInPlace == 0) {
    swap(other);
    return *this;
  }
  ~RootVector() { clear(); }

  void swap(RootVector& other) noexcept requires(kInPlace == 0) {
    std::swap(room_, other.room_);
    std::swap(count_, other.count_);
    std::swap(capacity_, other.capacity_);
  }

  bool empty() const { return count_ == 0; }
  uint64_t size() const { return count_; }
  Item* data() const { return room_.get(); }
  Item& operator[](uint64_t index) const { return data()[index]; }
  Item& back() const { return data()[count_ - 1]; }
  Item* begin() const { return data(); }
  Item* end() const { return data() + count_; }

  // Room for so many items. kOutOfMemory.
  [[nodiscard]] int32_t reserve(uint64_t count) { return count <= capacity_ ? kOk : grow(count); }
  // kOutOfMemory: the item is not taken over.
  [[nodiscard]] int32_t append(Item&& item) { return emplace(std::move(item)); }
  [[nodiscard]] int32_t append(const Item& item) { return emplace(item); }
  // For plain items: so many of them; those that are new are not set. kOutOfMemory.
  [[nodiscard]] int32_t resize(uint64_t count) {
    static_assert(std::is_trivially_copyable_v<Item>);
    const int32_t result = reserve(count);
    if (succeeded(result)) {
      count_ = count;
    }
    return result;
  }

  // Destroys the last item.
  void pop() { data()[--count_].~Item(); }
  // Destroys the items from the one at `count` on, that one first, and keeps the room.
  void shrink(uint64_t count) {
    for (uint64_t index = count; index < count_; ++index) {
      data()[index].~Item();
    }
    count_ = count;
  }
  // Destroys the items, the first one first, and gives the block back.
  void clear() {
    shrink(0);
    room_.reset();
    capacity_ = kInPlace;
  }

 private:
  template <class From>
  int32_t emplace(From&& item) {
    const int32_t result = reserve(count_ + 1);
    if (succeeded(result)) {
      new (data() + count_++) Item(std::forward<From>(item));
    }
    return result;
  }
  // Out of the way of what needs no more room.
  [[gnu::noinline]] int32_t grow(uint64_t count) {
    const uint64_t capacity = Growth::capacity(capacity_, count);
    if (capacity > UINT64_MAX / sizeof(Item) || !room_.resize(capacity * sizeof(Item))) {
      if constexpr (kOnFailure == OnGrowthFailure::kDrop) {
        clear();
      }
      return kOutOfMemory;
    }
    capacity_ = capacity;
    return kOk;
  }

  VectorRoom<Item, kInPlace> room_;
  uint64_t count_ = 0;
  uint64_t capacity_ = kInPlace;
};

// A stack that most users never fill: the first items need no block.
template <class Item, uint64_t kInPlace>
using RootStack = RootVector<Item, GrowByDoubling<>, OnGrowthFailure::kKeep, kInPlace>;

}  // namespace vexa::base
