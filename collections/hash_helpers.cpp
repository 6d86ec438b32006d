#include "collections/hash_helpers.h"

#include "base/com_object.h"
#include "base/heap.h"
#include "vexa/component.h"
#include "vexa/results.h"

namespace vexa::collections {

constinit HashTableHelper_String textHelper;
constinit BorrowedTextHelper borrowedTextHelper;

namespace {

constinit HashTableHelper_DWORD_PTR numberHelper;
constinit HashTableHelper_IUnknown objectHelper;

uintptr_t numberOf(void* item) { return reinterpret_cast<uintptr_t>(item); }

int32_t order(uintptr_t a, uintptr_t b) { return a == b ? 0 : (a < b ? -1 : 1); }

// The object's identity, or null.
void* identityOf(void* item) {
  if (item == nullptr) {
    return nullptr;
  }
  base::ComPtr<IComponent> identity;
  return succeeded(
             static_cast<IComponent*>(item)->QueryInterface(&IID_IComponent, identity.putVoid()))
             ? identity.get()
             : nullptr;
}

}  // namespace

int32_t HashTableHelper_String::FreeItem(void* item) {
  base::freeBlock(item);
  return kOk;
}

int32_t HashTableHelper_String::CompareItems(void* a, void* b) {
  return base::bound.strings->TextCompare(static_cast<const char*>(a), static_cast<const char*>(b));
}

int32_t HashTableHelper_String::MakeKeyRecord(void* item, HashTableKeyRecord* record) {
  *record = {foldHash(static_cast<const char*>(item)), nullptr};
  return kOk;
}

int32_t BorrowedTextHelper::CopyItem(void* item, void** copy) {
  *copy = item;
  return kOk;
}

int32_t BorrowedTextHelper::FreeItem(void* /*item*/) { return kOk; }

int32_t HashTableHelper_DWORD_PTR::CopyItem(void* item, void** copy) {
  *copy = item;
  return kOk;
}

int32_t HashTableHelper_DWORD_PTR::FreeItem(void* /*item*/) { return kOk; }

int32_t HashTableHelper_DWORD_PTR::CompareItems(void* a, void* b) {
  return order(numberOf(a), numberOf(b));
}

int32_t HashTableHelper_DWORD_PTR::MakeKeyRecord(void* item, HashTableKeyRecord* record) {
  *record = {numberOf(item), nullptr};
  return kOk;
}

int32_t HashTableHelper_IUnknown::CopyItem(void* item, void** copy) {
  *copy = item;
  if (item != nullptr) {
    static_cast<IComponent*>(item)->AddRef();
  }
  return kOk;
}

int32_t HashTableHelper_IUnknown::FreeItem(void* item) {
  if (item != nullptr) {
    static_cast<IComponent*>(item)->Release();
  }
  return kOk;
}

int32_t HashTableHelper_IUnknown::CompareItems(void* a, void* b) {
  if (a == nullptr || b == nullptr) {
    return a == b ? 0 : (a == nullptr ? -1 : 1);
  }
  return order(numberOf(identityOf(a)), numberOf(identityOf(b)));
}

int32_t HashTableHelper_IUnknown::MakeKeyRecord(void* item, HashTableKeyRecord* record) {
  *record = {numberOf(identityOf(item)), nullptr};
  return kOk;
}

IHashTableHelperKey* helperOf(uint32_t itemType) {
  switch (itemType) {
    case kHashTableText:
      return &textHelper;
    case kHashTableNumber:
      return &numberHelper;
    case kHashTableObject:
      return &objectHelper;
    default:
      return nullptr;
  }
}

}  // namespace vexa::collections
