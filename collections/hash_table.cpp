#include "collections/hash_table.h"

#include <new>

#include "collections/hash_chains.h"
#include "vexa/results.h"

namespace vexa::collections {
namespace {

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
  HashTable_Impl(IHashTableHelperKey& key, IHashTableHelper& value, uint64_t buckets)
      : chains_(key, value, buckets) {}

  // Whoever asks for a table learns at once when there is no room for its buckets.
  int32_t prepare() { return chains_.spread(); }
  void Destroy() override {
    void* const self = this;
    // Entries of an earlier start of the module are gone with its runtime.
    if (!base::isBound() || era_ == base::bound.era) {
      this->~HashTable_Impl();
    }
    base::processFree(self);
  }

  const char* GetTypeName() override { return "HashTable"; }
  int32_t Put(void* key, void* value) override { return chains_.put(key, value); }
  int32_t Remove(void* key) override { return chains_.remove(key); }
  int32_t Contains(void* key) override { return chains_.contains(key); }
  int32_t Get(void* key, void** value) override { return chains_.get(key, value); }
  int32_t GetKeyAt(uint64_t index, void** key) override { return chains_.keyAt(index, key); }
  int32_t RemoveAll() override {
    chains_.removeAll();
    return kOk;
  }

 private:
  ~HashTable_Impl() = default;

  HashChains chains_;
  uint32_t era_ = base::bound.era;
};

}  // namespace

HashTable_void* createTable(IHashTableHelperKey& key, IHashTableHelper& value, uint64_t buckets) {
  void* const block = base::processAllocate(sizeof(HashTable_Impl));
  if (block == nullptr) {
    return nullptr;
  }
  auto* const table = new (block) HashTable_Impl(key, value, buckets);
  if (failed(table->prepare())) {
    table->Destroy();
    return nullptr;
  }
  return table;
}

}  // namespace vexa::collections
