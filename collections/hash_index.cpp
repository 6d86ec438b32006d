#include "collections/hash_index.h"

#include <bit>
#include <utility>

#include "base/process_seed.h"

namespace vexa::collections {

bool HashIndex::grow(uint64_t lists) {
  lists = std::bit_ceil(lists);
  auto grown = base::RootBlock<HashNode*>::ofBytes(lists * sizeof(HashNode*));  // zero-filled
  if (!grown) {
    return false;
  }
  const auto old = std::exchange(lists_, std::move(grown));
  const uint64_t oldLists = old ? mask_ + 1 : 0;
  mask_ = lists - 1;
  mix_ = base::SecretMix(base::processSeed());
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

}  // namespace vexa::collections
