#include "collections/hash_index.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "base/process_seed.h"

namespace vexa::collections {
namespace {

constexpr uint64_t kMultiplier = 0x9E3779B97F4A7C15;  // 2^64 / golden ratio: spreads the bits

}  // namespace

bool HashIndex::grow(uint64_t lists) {
  lists = std::bit_ceil(lists);
  auto grown = base::RootBlock<HashNode*>::ofBytes(lists * sizeof(HashNode*));  // zero-filled
  if (!grown) {
    return false;
  }
  const auto old = std::exchange(lists_, std::move(grown));
  const uint64_t oldLists = old ? mask_ + 1 : 0;
  mask_ = lists - 1;
  seed_ = base::processSeed();
  factor_ = (seed_ ^ seed_ >> 32) * kMultiplier | 1;
  for (uint64_t i = 0; i < oldLists; ++i) {
    for (HashNode* node = old[i]; node != nullptr;) {
      HashNode* const next = node->nextInList;
      addOlder(*node);
      node = next;
    }
  }
  return true;
}

void HashIndex::add(HashNode& node) {
  HashNode*& list = lists_[placeOf(node.record)];
  node.nextInList = std::exchange(list, &node);
}

void HashIndex::addOlder(HashNode& node) {
  HashNode** link = &lists_[placeOf(node.record)];
  while (*link != nullptr) {
    link = &(*link)->nextInList;
  }
  node.nextInList = nullptr;
  *link = &node;
}

void HashIndex::remove(const HashNode& node) {
  HashNode** link = &lists_[placeOf(node.record)];
  while (*link != &node) {
    link = &(*link)->nextInList;
  }
  *link = node.nextInList;
}

uint64_t HashIndex::mixedBytes(HashTableKeyRecord record) const {
  uint64_t digest = mixed(record.number);
  for (uint64_t at = 0; at < record.number; at += sizeof(uint64_t)) {
    uint64_t word = 0;
    std::memcpy(&word, record.bytes + at, std::min(sizeof(word), record.number - at));
    digest = mixed(digest ^ word);
  }
  return digest;
}

}  // namespace vexa::collections
