#pragma once

#include <cstdint>
#include <string_view>

#include "base/heap.h"
#include "base/secret_mix.h"
#include "vexa/hash_table.h"

namespace vexa::collections {

// An entry of a table. It hangs in the chain of its bucket and, when there is an index, in a list
// of the index.
struct HashNode {
  HashNode* next;   // in the chain
  HashNode** link;  // what points to this node in the chain
  HashNode* nextInList;
  void* value;
  HashTableKeyRecord record;
  void* key;
};

// Finds entries by their records where chains have grown long: lists that grow in number with the
// entries, so that each of them stays short. Which list a record belongs to depends on the
// process's seed, so nobody can choose keys that meet in one. Entries whose records are equal stay
// in the order of their chain, newest first.
class HashIndex {
 public:
  // So many lists or more, with the entries that are there. False when memory is short: unchanged.
  [[nodiscard]] bool grow(uint64_t lists);
  uint64_t lists() const { return lists_ ? mask_ + 1 : 0; }
  void drop() { lists_.reset(); }
  explicit operator bool() const { return static_cast<bool>(lists_); }

  // The list where a record's entry is, if there is one.
  HashNode* listOf(HashTableKeyRecord record) const { return lists_[placeOf(record)]; }

  // As the newest entry, and as one that is older than all with its record.
  void add(HashNode& node);
  void addOlder(HashNode& node);
  void remove(const HashNode& node);

 private:
  uint64_t placeOf(HashTableKeyRecord record) const {
    return (record.bytes == nullptr ? mix_(record.number) : mix_(bytesOf(record))) & mask_;
  }
  static std::string_view bytesOf(HashTableKeyRecord record) {
    return {reinterpret_cast<const char*>(record.bytes), record.number};
  }

  base::RootBlock<HashNode*> lists_;
  uint64_t mask_ = 0;  // the number of lists, a power of two, less 1
  base::SecretMix mix_;
};

}  // namespace vexa::collections
