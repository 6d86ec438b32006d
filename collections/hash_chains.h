#pragma once

#include <cstdint>

#include "base/heap.h"
#include "collections/hash_helpers.h"
#include "collections/hash_index.h"
#include "vexa/hash_table.h"
#include "vexa/results.h"

namespace vexa::collections {

// Entries in a fixed number of chains, by the bucket that a key's record falls into: what stands
// behind every hash table. Two things show nowhere, since keys are matched by their whole records
// and handed out in the order of the buckets all the same: the first few entries share one chain,
// so that a table that stays nearly empty needs no array of chains; and many are found by an index,
// so that a table with more entries than buckets, or with keys that somebody chose for one bucket,
// is as quick as any. Without memory for an index the chains answer alone. Not thread-safe.
class HashChains {
 public:
  using Node = HashNode;
  // Where the first entries lie that need no block of their own; as long as the chains live.
  struct Room {
    Node* nodes = nullptr;
    uint32_t count = 0;
  };

  // 0 buckets means 31. The helpers are borrowed.
  HashChains(IHashTableHelperKey& key, IHashTableHelper& value, uint64_t buckets, Room room);
  HashChains(IHashTableHelperKey& key, IHashTableHelper& value, uint64_t buckets)
      : HashChains(key, value, buckets, Room()) {}
  HashChains(const HashChains&) = delete;
  HashChains& operator=(const HashChains&) = delete;
  ~HashChains() { removeAll(); }

  // Makes the array of chains now, not when there are entries enough. kOutOfMemory.
  [[nodiscard]] int32_t spread();

  // Results as those of HashTable_void's slots.
  int32_t put(void* key, void* value);
  int32_t remove(void* key);
  int32_t contains(void* key) const {
    void* stored = nullptr;
    return find(key, stored);
  }
  int32_t get(void* key, void** value) const;
  // The stored value itself, where get hands out a copy. The probe's bytes stay with the helper:
  // unlike put, looking up and removing do not free them.
  int32_t find(void* key, void*& value) const {
    HashTableKeyRecord probe{};
    if (const int32_t result = makeProbe(key, probe); failed(result)) {
      return result;
    }
    const Node* const node = nodeOf(probe, key);
    if (node == nullptr) {
      return kFalse;
    }
    value = node->value;
    return kOk;
  }
  int32_t keyAt(uint64_t index, void** key) const;
  void removeAll();

 private:
  friend struct HashLookups;  // tests count what a look-up passes

  // What most tables hold needs no call to find its way.
  int32_t makeProbe(void* key, HashTableKeyRecord& probe) const {
    if (hasTextKeys_) {
      probe = {foldHash(static_cast<const char*>(key)), nullptr};
      return kOk;
    }
    HashTableKeyRecord made{};
    const int32_t result = key_.MakeKeyRecord(key, &made);
    probe = made;
    return result;
  }
  int32_t copyValue(void* value, void** copy) const {
    return &value_ == &textHelper ? textHelper.HashTableHelper_String::CopyItem(value, copy)
                                  : value_.CopyItem(value, copy);
  }

  uint64_t bucketOf(HashTableKeyRecord record) const {
    return (record.bytes == nullptr ? record.number : sumOfBytes(record)) % bucketCount_;
  }
  uint64_t sumOfBytes(HashTableKeyRecord record) const;
  Node*& chainOf(HashTableKeyRecord record) {
    return heads_ ? heads_[bucketOf(record)] : unspread_;
  }
  Node* chainOf(HashTableKeyRecord record) const {
    return heads_ ? heads_[bucketOf(record)] : unspread_;
  }
  uint64_t usedFrom(uint64_t bucket) const;

  // Without bytes the numbers decide alone, so two texts of one hash are one key.
  bool matches(const Node& node, HashTableKeyRecord probe, void* key) const {
    return node.record.number == probe.number &&
           (node.record.bytes == nullptr) == (probe.bytes == nullptr) &&
           (probe.bytes == nullptr || matchBytes(node, probe, key));
  }
  bool matchBytes(const Node& node, HashTableKeyRecord probe, void* key) const;

  // The first one in a chain or a list that matches.
  template <Node* Node::*kNext>
  Node* firstOf(Node* node, HashTableKeyRecord probe, void* key) const {
    while (node != nullptr && !matches(*node, probe, key)) {
      node = node->*kNext;
    }
    return node;
  }
  Node* nodeOf(HashTableKeyRecord probe, void* key) const {
    return index_ ? firstOf<&Node::nextInList>(index_.listOf(probe), probe, key)
                  : firstOf<&Node::next>(chainOf(probe), probe, key);
  }

  const Node* nodeAt(uint64_t index) const;
  const Node* unspreadNodeAt(uint64_t index) const;
  uint64_t placeOf(const Node& node) const;
  int32_t insert(HashTableKeyRecord record, void* key, void* value);
  void growIndex();
  bool isInRoom(const Node* node) const {
    return node >= room_.nodes && node < room_.nodes + room_.count;
  }
  int32_t replace(Node& node, void* value);
  void freeChain(Node*& chain);
  void unhang(Node& node);
  void freeNode(Node* node);

  IHashTableHelperKey& key_;
  IHashTableHelper& value_;
  const bool hasTextKeys_;
  uint64_t bucketCount_;
  uint32_t keyByteWidth_ = 1;
  uint64_t count_ = 0;
  Node* unspread_ = nullptr;  // the one chain while there is no array
  base::RootBlock<Node*> heads_;
  HashIndex index_;
  // Where the last key was handed out, so that going through all keys is one walk. A change of the
  // table forgets it.
  struct Place {
    const Node* node = nullptr;  // null: nowhere
    uint64_t bucket = 0;
    uint64_t index = 0;
  };
  mutable Place lastPlace_;
  const Room room_;
  uint32_t roomTaken_ = 0;  // until everything is removed
};

}  // namespace vexa::collections
