#include "collections/hash_table.h"

#include <cstring>
#include <new>

#include "base/heap.h"
#include "base/list_registry.h"
#include "collections/hash_helpers.h"

namespace vexa::collections {
namespace {

constexpr uint64_t kDefaultBuckets = 31;
constexpr uintptr_t kFirstHelperAddress = 0x10000;  // below: item types

// Slots 0 to 6 of a counted function list. The count is not interlocked.
template <class List>
class COMMON_FL_TEMPLATE : public List {
 public:
  int32_t Header0(void*, void*, void*) override { return kOk; }
  uint32_t AddRef() override { return static_cast<uint32_t>(++referenceCount_); }
  uint32_t Release() override {
    const auto count = static_cast<uint32_t>(--referenceCount_);
    if (referenceCount_ == 0) {
      Destroy();
    }
    return count;
  }
  int32_t Duplicate(List** out) override {
    *out = this;
    AddRef();
    return kOk;
  }
  int32_t Header5(void*) override { return kOk; }
  int32_t Header6(void*, void*, void*) override { return kOk; }

 protected:
  ~COMMON_FL_TEMPLATE() = default;
  virtual void Destroy() = 0;  // behind the list's own slots

 private:
  uint64_t referenceCount_ = 1;
};

class HashTable_Impl final : public COMMON_FL_TEMPLATE<HashTable_void> {
 public:
  static HashTable_Impl* Create(IHashTableHelperKey* key, IHashTableHelper* value,
                                uint64_t buckets) {
    buckets = buckets != 0 ? buckets : kDefaultBuckets;
    if (buckets > UINT64_MAX / sizeof(Node*)) {
      return nullptr;
    }
    // Chains start empty because the root list's blocks are zero-filled.
    auto heads = base::RootBlock<Node*>::ofBytes(buckets * sizeof(Node*));
    void* const block = heads ? base::processAllocate(sizeof(HashTable_Impl)) : nullptr;
    if (block == nullptr) {
      return nullptr;
    }
    return new (block) HashTable_Impl(key, value, heads.release(), buckets);
  }

  const char* GetTypeName() override { return "HashTable"; }

  int32_t Put(void* key, void* value) override {
    HashTableKeyRecord probe{};
    if (const int32_t result = key_->MakeKeyRecord(key, &probe); failed(result)) {
      return result;
    }
    Node** const head = bucketOf(probe);
    for (Node* node = *head; node != nullptr; node = node->next) {
      if (matches(*node, probe, key)) {
        base::freeBlock(probe.bytes);
        return replace(*node, value);
      }
    }
    return insert(head, probe, key, value);
  }

  int32_t Remove(void* key) override {
    Node** link = nullptr;
    const int32_t result = find(key, link);
    if (result == kOk) {
      Node* const node = *link;
      *link = node->next;
      freeNode(node);
    }
    return result;
  }

  int32_t Contains(void* key) override {
    Node** link = nullptr;
    return find(key, link);
  }

  int32_t Get(void* key, void** value) override {
    if (value == nullptr) {
      return kNullPointer;
    }
    *value = nullptr;
    Node** link = nullptr;
    const int32_t result = find(key, link);
    return result == kOk ? value_->CopyItem((*link)->value, value) : result;
  }

  int32_t GetKeyAt(uint64_t index, void** key) override {
    if (key == nullptr) {
      return kNullPointer;
    }
    *key = nullptr;
    for (uint64_t bucket = usedFrom(0); bucket < bucketCount_; bucket = usedFrom(bucket + 1)) {
      for (Node* node = heads_[bucket]; node != nullptr; node = node->next) {
        if (index-- == 0) {
          *key = node->key;
          return kOk;
        }
      }
    }
    return kFalse;
  }

  int32_t RemoveAll() override {
    for (uint64_t bucket = usedFrom(0); bucket < bucketCount_; bucket = usedFrom(bucket + 1)) {
      while (Node* const node = heads_[bucket]) {
        heads_[bucket] = node->next;
        freeNode(node);
      }
    }
    return kOk;
  }

 private:
  struct Node {
    Node* next;
    void* key;
    void* value;
    HashTableKeyRecord record;
  };

  HashTable_Impl(IHashTableHelperKey* key, IHashTableHelper* value, Node** heads, uint64_t buckets)
      : key_(key), value_(value), heads_(heads), bucketCount_(buckets) {
    for (const uint64_t limit : {uint64_t{0xFF}, uint64_t{0xFFFF}, uint64_t{0xFFFFFF}}) {
      keyByteWidth_ += buckets > limit ? 1 : 0;
    }
  }
  ~HashTable_Impl() = default;

  void Destroy() override {
    RemoveAll();
    base::freeBlock(heads_);
    bucketCount_ = 0;
    void* const self = this;
    this->~HashTable_Impl();
    base::processFree(self);
  }

  // The first bucket from this one on that has a chain, or the count. Most tables live for a moment
  // and are nearly empty, so empty buckets are passed over several at a time.
  uint64_t usedFrom(uint64_t bucket) const {
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

  Node** bucketOf(const HashTableKeyRecord& record) const {
    uint64_t sum = record.number;
    if (record.bytes != nullptr) {
      sum = 0;
      for (uint64_t i = 0; i < record.number; ++i) {
        const uint32_t term = uint32_t{record.bytes[i]} << (8 * (i % keyByteWidth_) % 32);
        sum += static_cast<uint64_t>(int64_t{static_cast<int32_t>(term)});
      }
    }
    return &heads_[sum % bucketCount_];
  }

  // Without bytes the numbers decide alone, so two texts of one hash are one key.
  bool matches(const Node& node, const HashTableKeyRecord& probe, void* key) const {
    if (node.record.number != probe.number ||
        (node.record.bytes == nullptr) != (probe.bytes == nullptr)) {
      return false;
    }
    return probe.bytes == nullptr ||
           (std::memcmp(node.record.bytes, probe.bytes, probe.number) == 0 &&
            key_->CompareItems(key, node.key) == 0);
  }

  // kOk: *link is the node. kFalse: absent. The probe's bytes are the helper's to keep: unlike Put,
  // looking up does not free them.
  int32_t find(void* key, Node**& link) const {
    HashTableKeyRecord probe{};
    if (const int32_t result = key_->MakeKeyRecord(key, &probe); failed(result)) {
      return result;
    }
    for (link = bucketOf(probe); *link != nullptr; link = &(*link)->next) {
      if (matches(**link, probe, key)) {
        return kOk;
      }
    }
    return kFalse;
  }

  int32_t insert(Node** head, const HashTableKeyRecord& probe, void* key, void* value) {
    auto* const node = static_cast<Node*>(base::allocate(sizeof(Node)));
    if (node == nullptr) {
      base::freeBlock(probe.bytes);
      return kOutOfMemory;
    }
    *node = {*head, nullptr, nullptr, probe};
    int32_t result = key_->CopyItem(key, &node->key);
    if (succeeded(result)) {
      result = value_->CopyItem(value, &node->value);
      if (failed(result)) {
        key_->FreeItem(node->key);
      }
    }
    if (failed(result)) {
      base::freeBlock(probe.bytes);
      base::freeBlock(node);
      return result;
    }
    *head = node;
    return kOk;
  }

  int32_t replace(Node& node, void* value) {
    if (node.value == value) {
      return kFalse;
    }
    value_->FreeItem(node.value);
    node.value = nullptr;
    const int32_t result = value_->CopyItem(value, &node.value);
    return failed(result) ? result : kOk;
  }

  void freeNode(Node* node) {
    key_->FreeItem(node->key);
    value_->FreeItem(node->value);
    base::freeBlock(node->record.bytes);
    base::freeBlock(node);
  }

  IHashTableHelperKey* key_;
  IHashTableHelper* value_;
  Node** heads_;
  uint64_t bucketCount_;
  uint32_t keyByteWidth_ = 1;
};

int32_t CreateHashTable(HashTable_void** table, uint32_t types, uint64_t buckets) {
  if (table == nullptr) {
    return kNullPointer;
  }
  *table = nullptr;
  IHashTableHelperKey* const key = types <= 0xFFFF ? helperOf(types & 0xFF) : nullptr;
  IHashTableHelperKey* const value = types <= 0xFFFF ? helperOf(types >> 8) : nullptr;
  if (key == nullptr || value == nullptr) {
    return kInvalidArgument;
  }
  *table = createTable(key, value, buckets);
  return kOk;
}

template <class Helper>
Helper* helperFrom(uintptr_t typeOrHelper) {
  return typeOrHelper < kFirstHelperAddress
             ? helperOf(static_cast<uint32_t>(typeOrHelper))
             : reinterpret_cast<Helper*>(typeOrHelper);  // NOLINT(performance-no-int-to-ptr)
}

int32_t CreateHashTableEx(HashTable_void** table, uint64_t buckets, uintptr_t key,
                          uintptr_t value) {
  if (table == nullptr) {
    return kNullPointer;
  }
  *table = nullptr;
  auto* const keyHelper = helperFrom<IHashTableHelperKey>(key);
  auto* const valueHelper = helperFrom<IHashTableHelper>(value);
  if (keyHelper == nullptr || valueHelper == nullptr) {
    return kInvalidArgument;
  }
  *table = createTable(keyHelper, valueHelper, buckets);
  return kOk;
}

}  // namespace

HashTable_void* createTable(IHashTableHelperKey* key, IHashTableHelper* value, uint64_t buckets) {
  return HashTable_Impl::Create(key, value, buckets);
}

int32_t TextTable::create(uint64_t buckets) {
  IHashTableHelperKey* const helper = helperOf(kHashTableText);
  table_ = createTable(helper, helper, buckets);
  return table_ != nullptr ? kOk : kOutOfMemory;
}

constinit const HashTableList kHashTableList = {
    .GetModuleInfo = base::GetModuleInfo<kHashTableListName>,
    .CreateHashTable = CreateHashTable,
    .CreateHashTableEx = CreateHashTableEx,
};

}  // namespace vexa::collections
