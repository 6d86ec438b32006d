#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "base/heap.h"
#include "base/secret_mix.h"
#include "json/item.h"

namespace vexa::json {

inline uint64_t digestKey(std::string_view key, const base::SecretMix& mix) { return mix(key); }

// Finds the members of an object whose keys stand before them already. A few are compared with each
// other; more are looked up in a hash table, in which nobody who writes a text can tell the places
// of its keys. Should many of them meet there all the same, the steps are counted: when they get
// more than a few for each member, the keys are sorted instead.
class RepeatedKeys {
 public:
  using Digest = uint64_t (*)(std::string_view key, const base::SecretMix& mix);

  explicit RepeatedKeys(Digest digest = digestKey) : digest_(digest) {}

  // `items`: keys and values by turns. Moves the members that stay to the front, in their order;
  // `kept` tells how many members they are. False when memory is short.
  [[nodiscard]] bool drop(std::span<Item> items, uint64_t& kept);

  // Slots looked at and keys compared so far.
  uint64_t steps() const { return steps_; }

 private:
  struct Slot {
    uint32_t position;  // of a member that stays, plus 1; 0 for a free slot
    uint32_t check;     // of the digest, what does not choose the slot
  };

  uint64_t dropFew(std::span<Item> items);
  bool makeTable(uint64_t members);
  bool isInTable(const Item* items, const Item& key, uint64_t position);
  uint64_t dropBySorting(std::span<Item> items);
  bool isEqual(const Item& left, const Item& right);
  bool isLess(const Item* items, uint32_t left, uint32_t right);

  static constexpr uint64_t kOwnSlots = 128;

  Digest digest_;
  base::SecretMix mix_;  // as soon as there is a table
  uint64_t steps_ = 0;
  std::span<Slot> table_;  // a power of two, twice the members or more
  base::RootBlock<Slot> block_;
  uint64_t blockSlots_ = 0;
  Slot ownSlots_[kOwnSlots];
};

}  // namespace vexa::json
