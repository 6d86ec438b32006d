#include "collections/hash_chains.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "vexa/results.h"

namespace vexa::collections {
namespace {

constexpr uint64_t kDefaultBuckets = 31;
// As many entries as a walk along one chain passes faster than an array is made and looked through.
constexpr uint64_t kMaxUnspread = 8;
// As many entries as chains alone find well enough, even if all of them meet in one.
constexpr uint64_t kMaxUnindexed = 64;
// Up to so many lists an index has four for each entry, so that nearly all are of one; where there
// are more entries, one for each will do.
constexpr uint64_t kManyLists = 8192;

// A copy that a helper made, given back to it unless it is kept.
class CopiedItem {
 public:
  explicit CopiedItem(IHashTableHelper& helper) : helper_(helper) {}
  CopiedItem(const CopiedItem&) = delete;
  CopiedItem& operator=(const CopiedItem&) = delete;
  ~CopiedItem() {
    if (made_) {
      helper_.FreeItem(item_);
    }
  }

  int32_t copy(void* item) {
    const int32_t result = helper_.CopyItem(item, &item_);
    made_ = succeeded(result);
    return result;
  }
  void* keep() {
    made_ = false;
    return item_;
  }

 private:
  IHashTableHelper& helper_;
  void* item_ = nullptr;
  bool made_ = false;
};

// How many lists an index of so many entries has at least. It is made with twice as many.
uint64_t fewestLists(uint64_t entries) {
  return std::max(entries, std::min(4 * entries, kManyLists));
}

void hang(HashChains::Node& node, HashChains::Node*& chain) {
  node.next = chain;
  node.link = &chain;
  if (chain != nullptr) {
    chain->link = &node.next;
  }
  chain = &node;
}

}  // namespace

HashChains::HashChains(IHashTableHelperKey& key, IHashTableHelper& value, uint64_t buckets,
                       Room room)
    : key_(key),
      value_(value),
      hasTextKeys_(&key == &textHelper || &key == &borrowedTextHelper),
      bucketCount_(buckets != 0 ? buckets : kDefaultBuckets),
      room_(room) {
  for (const uint64_t limit : {uint64_t{0xFF}, uint64_t{0xFFFF}, uint64_t{0xFFFFFF}}) {
    keyByteWidth_ += bucketCount_ > limit ? 1 : 0;
  }
}

int32_t HashChains::spread() {
  if (bucketCount_ > UINT64_MAX / sizeof(Node*)) {
    return kOutOfMemory;
  }
  // Chains start empty because the root list's blocks are zero-filled.
  auto heads = base::RootBlock<Node*>::ofBytes(bucketCount_ * sizeof(Node*));
  if (!heads) {
    return kOutOfMemory;
  }
  Node* oldestFirst = nullptr;
  while (Node* const node = unspread_) {
    unspread_ = std::exchange(node->next, oldestFirst);
    oldestFirst = node;
  }
  heads_ = std::move(heads);
  while (Node* const node = oldestFirst) {
    oldestFirst = node->next;
    hang(*node, chainOf(node->record));
  }
  return kOk;
}

int32_t HashChains::put(void* key, void* value) {
  HashTableKeyRecord probe{};
  if (const int32_t result = makeProbe(key, probe); failed(result)) {
    return result;
  }
  base::RootBlock<uint8_t> bytes(probe.bytes);
  if (Node* const node = nodeOf(probe, key); node != nullptr) {
    bytes.reset();
    return replace(*node, value);
  }
  if (!heads_ && count_ == kMaxUnspread) {
    if (const int32_t result = spread(); failed(result)) {
      return result;
    }
  }
  const int32_t result = insert(probe, key, value);
  if (succeeded(result)) {
    bytes.release();  // they belong to the node now
  }
  return result;
}

int32_t HashChains::insert(HashTableKeyRecord record, void* key, void* value) {
  const bool hasRoom = roomTaken_ < room_.count;
  auto block =
      base::RootBlock<Node>(hasRoom ? nullptr : static_cast<Node*>(base::allocate(sizeof(Node))));
  Node* const node = hasRoom ? room_.nodes + roomTaken_ : block.get();
  if (node == nullptr) {
    return kOutOfMemory;
  }
  CopiedItem keyCopy(key_);
  CopiedItem valueCopy(value_);
  if (const int32_t result = keyCopy.copy(key); failed(result)) {
    return result;
  }
  if (const int32_t result = valueCopy.copy(value); failed(result)) {
    return result;
  }
  node->key = keyCopy.keep();
  node->value = valueCopy.keep();
  node->record = record;
  hang(*node, chainOf(record));
  lastPlace_.node = nullptr;
  block.release();
  roomTaken_ += hasRoom ? 1 : 0;
  ++count_;
  if (index_) {
    index_.add(*node);
  }
  if (count_ > kMaxUnindexed && fewestLists(count_) > index_.lists()) {
    growIndex();
  }
  return kOk;
}

// Without memory the one that there is stays, or none.
void HashChains::growIndex() {
  const bool isFirst = !index_;
  if (!index_.grow(2 * fewestLists(count_)) || !isFirst) {
    return;
  }
  for (uint64_t i = usedFrom(0); i < bucketCount_; i = usedFrom(i + 1)) {
    for (Node* node = heads_[i]; node != nullptr; node = node->next) {
      index_.addOlder(*node);
    }
  }
}

int32_t HashChains::replace(Node& node, void* value) {
  if (node.value == value) {
    return kFalse;
  }
  value_.FreeItem(node.value);
  node.value = nullptr;
  const int32_t result = value_.CopyItem(value, &node.value);
  return failed(result) ? result : kOk;
}

int32_t HashChains::remove(void* key) {
  HashTableKeyRecord probe{};
  if (const int32_t result = makeProbe(key, probe); failed(result)) {
    return result;
  }
  Node* const node = nodeOf(probe, key);
  if (node == nullptr) {
    return kFalse;
  }
  unhang(*node);
  freeNode(node);
  return kOk;
}

int32_t HashChains::get(void* key, void** value) const {
  if (value == nullptr) {
    return kNullPointer;
  }
  *value = nullptr;
  void* stored = nullptr;
  if (const int32_t result = find(key, stored); result != kOk) {
    return result;
  }
  const int32_t result = copyValue(stored, value);
  return failed(result) ? result : kOk;  // a positive one would say that the key is absent
}

int32_t HashChains::keyAt(uint64_t index, void** key) const {
  if (key == nullptr) {
    return kNullPointer;
  }
  const Node* const node = nodeAt(index);
  *key = node != nullptr ? node->key : nullptr;
  return node != nullptr ? kOk : kFalse;
}

void HashChains::removeAll() {
  index_.drop();
  freeChain(unspread_);
  roomTaken_ = 0;
  if (heads_) {
    for (uint64_t i = usedFrom(0); i < bucketCount_; i = usedFrom(i + 1)) {
      freeChain(heads_[i]);
    }
  }
}

uint64_t HashChains::sumOfBytes(HashTableKeyRecord record) const {
  uint64_t sum = 0;
  for (uint64_t i = 0; i < record.number; ++i) {
    const uint32_t term = uint32_t{record.bytes[i]} << (8 * (i % keyByteWidth_) % 32);
    sum += static_cast<uint64_t>(int64_t{static_cast<int32_t>(term)});
  }
  return sum;
}

bool HashChains::matchBytes(const Node& node, HashTableKeyRecord probe, void* key) const {
  return std::memcmp(node.record.bytes, probe.bytes, probe.number) == 0 &&
         key_.CompareItems(key, node.key) == 0;
}

// The first bucket from this one on that has a chain, or the count. Empty ones are passed over
// several at a time: most tables live for a moment and are nearly empty.
uint64_t HashChains::usedFrom(uint64_t bucket) const {
  constexpr uint64_t kStride = 8;
  for (; bucketCount_ - bucket >= kStride; bucket += kStride) {
    uintptr_t any = 0;
    for (uint64_t i = 0; i < kStride; ++i) {
      any |= reinterpret_cast<uintptr_t>(heads_[bucket + i]);
    }
    if (any != 0) {
      break;
    }
  }
  while (bucket < bucketCount_ && heads_[bucket] == nullptr) {
    ++bucket;
  }
  return bucket;
}

// Bucket by bucket, newest first. Null when out of range.
const HashChains::Node* HashChains::nodeAt(uint64_t index) const {
  if (!heads_) {
    return unspreadNodeAt(index);
  }
  Place place = lastPlace_;
  if (place.node == nullptr || index < place.index) {
    const uint64_t first = usedFrom(0);
    place = {first < bucketCount_ ? heads_[first] : nullptr, first, 0};
  }
  while (place.node != nullptr && place.index != index) {
    place.node = place.node->next;
    if (place.node == nullptr) {
      place.bucket = usedFrom(place.bucket + 1);
      place.node = place.bucket < bucketCount_ ? heads_[place.bucket] : nullptr;
    }
    ++place.index;
  }
  if (place.node != nullptr) {
    lastPlace_ = place;
  }
  return place.node;
}

const HashChains::Node* HashChains::unspreadNodeAt(uint64_t index) const {
  const Node* node = unspread_;
  while (node != nullptr && placeOf(*node) != index) {
    node = node->next;
  }
  return node;
}

// How many nodes of the one chain would stand in front of this one.
uint64_t HashChains::placeOf(const Node& node) const {
  const uint64_t bucket = bucketOf(node.record);
  uint64_t place = 0;
  bool isNewer = true;
  for (const Node* other = unspread_; other != nullptr; other = other->next) {
    isNewer = isNewer && other != &node;
    const uint64_t otherBucket = bucketOf(other->record);
    place += otherBucket < bucket || (otherBucket == bucket && isNewer) ? 1 : 0;
  }
  return place;
}

void HashChains::freeChain(Node*& chain) {
  while (Node* const node = chain) {
    unhang(*node);
    freeNode(node);
  }
}

// Also of the index, which may have come back since everything began to be removed: what a helper
// gives back may be an object that puts entries into this very table when it goes.
void HashChains::unhang(Node& node) {
  if (index_) {
    index_.remove(node);
  }
  *node.link = node.next;
  if (node.next != nullptr) {
    node.next->link = node.link;
  }
  lastPlace_.node = nullptr;
  --count_;
}

void HashChains::freeNode(Node* node) {
  const base::RootBlock<Node> block(isInRoom(node) ? nullptr : node);
  const base::RootBlock<uint8_t> bytes(node->record.bytes);
  key_.FreeItem(node->key);
  value_.FreeItem(node->value);
}

}  // namespace vexa::collections
