#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "base/heap.h"
#include "json/values.h"

namespace vexa::json {

// A member that was parsed and waits for its object to be closed. Elements of arrays leave the key
// digest 0.
struct PendingValue {
  JsonValue* value;
  uint64_t keyDigest;
};

// Tells most different keys apart; equal keys have equal digests.
uint64_t digestKey(std::string_view key);

// Finds repeated keys among the members of one object while it is parsed: by looking at each digest
// while they are few, through a hash table afterwards. The table goes with the parse; objects
// themselves have none.
class KeyIndex {
 public:
  // True when no member can have a key with this digest; false says nothing. A look at one place in
  // memory: asked for before the value is read, it costs no waiting.
  bool lacks(uint64_t digest) const { return table_ && table_[digest & mask_].position == 0; }
  // True when a member has this key.
  bool contains(std::span<const PendingValue> members, std::string_view key, uint64_t digest) const;
  // Notes the last one of the members. False when memory is short.
  [[nodiscard]] bool add(std::span<const PendingValue> members);

 private:
  bool rebuild(std::span<const PendingValue> members, uint64_t slots);
  void insert(uint64_t digest, uint32_t position);

  struct Slot {
    uint32_t position;  // of a member, plus 1; 0 for a free slot
    uint32_t check;     // of the digest, what does not choose the slot
  };
  static uint32_t checkOf(uint64_t digest) { return static_cast<uint32_t>(digest >> 32); }

  base::RootBlock<Slot> table_;
  uint64_t mask_ = 0;  // slots - 1; the slots are a power of two
};

}  // namespace vexa::json
