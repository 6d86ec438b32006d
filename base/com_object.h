#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "base/heap.h"
#include "base/holders.h"
#include "base/lock.h"
#include "base/root_vector.h"
#include "base/unload_registry.h"
#include "vexa/component.h"
#include "vexa/container.h"

// The object model: reference counting and interface lookup (CComObject), creators for factories
// and singletons, read-only containers. A class T derives from its interfaces first and from
// CComObjectRoot, names its interface map, and is only ever instantiated as CComObject<T>.
namespace vexa::base {

// One row of a class's static interface map. A row of kind 0 ends the map; the first row is the
// primary interface.
struct InterfaceMapRow {
  const Guid* id;
  uint64_t offset;  // of the interface within the object
  uint32_t kind;
};
enum InterfaceMapKind : uint32_t { kMapEnd = 0, kMapOffset = 1 };
static_assert(offsetof(InterfaceMapRow, offset) == 8 && offsetof(InterfaceMapRow, kind) == 16);
static_assert(sizeof(InterfaceMapRow) == 24);

template <class T, class Interface>
InterfaceMapRow mapRow(const Guid& id) {
  // A base's offset, by the address that the cast yields for an object that is not looked at.
  constexpr uintptr_t kProbe = 0x1000;
  const auto at = reinterpret_cast<uintptr_t>(
      static_cast<Interface*>(reinterpret_cast<T*>(kProbe)));  // NOLINT(performance-no-int-to-ptr)
  return {&id, at - kProbe, kMapOffset};
}
inline InterfaceMapRow mapEnd() { return {nullptr, 0, kMapEnd}; }

// The interface of `object` that `id` names, or null. IID_IComponent names the primary interface.
void* findInterface(void* object, const InterfaceMapRow* map, const Guid& id);

// The reference count, interlocked, which starts at 0; and the era that the object belongs to.
class CComObjectRoot {
 protected:
  uint32_t incrementCount() { return std::atomic_ref(referenceCount_).fetch_add(1) + 1; }
  uint32_t decrementCount() { return std::atomic_ref(referenceCount_).fetch_sub(1) - 1; }
  // Whoever holds the only reference shares the object with nobody, so that giving it back needs no
  // interlocked operation.
  bool isLastReference() {
    return std::atomic_ref(referenceCount_).load(std::memory_order_acquire) == 1;
  }
  // Drops a reference; true when it was the last one.
  bool dropCount() { return isLastReference() || decrementCount() == 0; }
  // For a creator that has shown the object to nobody yet.
  void startCount(uint32_t count) { referenceCount_ = count; }
  // True when the object was made before an end of the module after which there was a new start.
  // What it holds of the runtime's is gone then, or somebody else's by now.
  bool isLeftOver() const { return isBound() && era_ != static_cast<uint16_t>(bound.era); }
  ~CComObjectRoot() = default;

 private:
  alignas(std::atomic_ref<uint32_t>::required_alignment) uint32_t referenceCount_ = 0;
  // In the word of the reference count. Eras 65536 apart are taken for the same.
  uint16_t era_ = static_cast<uint16_t>(bound.era);
};

// The most derived class of every object. T supplies
//   static const InterfaceMapRow* InterfaceMap();
//   int32_t FinalConstruct();   (optional) what of the construction can fail
// and declares, or inherits from an interface, `virtual void* DeletingDestructor(uint32_t) = 0`.
// A left-over object gives only its own memory back, without being destroyed; a T that holds
// nothing of the runtime's says kOutlivesRuntime and is destroyed all the same.
template <class T>
class CComObject final : public T {
 public:
  // A new object with count 0, or null and the reason.
  static CComObject* Create(int32_t* result) {
    void* block = processAllocate(sizeof(CComObject));
    if (block == nullptr) {
      *result = kOutOfMemory;
      return nullptr;
    }
    auto* object = new (block) CComObject;
    *result = kOk;
    if constexpr (requires { object->FinalConstruct(); }) {
      *result = object->FinalConstruct();
      if (failed(*result)) {
        object->DeletingDestructor(1);
        return nullptr;
      }
    }
    return object;
  }

  // The reference of the creator, who has shown the object to nobody yet.
  void startWithOne() { this->startCount(1); }
  // An interface without a reference, or null.
  void* find(const Guid& id) { return findInterface(static_cast<T*>(this), T::InterfaceMap(), id); }

  // A new object with count 0 in memory of the caller's; DeletingDestructor(0) ends it.
  static CComObject* Construct(void* block) { return new (block) CComObject; }

  int32_t QueryInterface(const Guid* id, void** out) override {
    *out = find(*id);
    if (*out == nullptr) {
      return kNoInterface;
    }
    AddRef();
    return kOk;
  }
  uint32_t AddRef() override { return this->incrementCount(); }
  uint32_t Release() override {
    const uint32_t count = this->isLastReference() ? 0 : this->decrementCount();
    if (count == 0) {
      DeletingDestructor(1);
    }
    return count;
  }
  void* DeletingDestructor(uint32_t flags) override {
    void* const self = this;
    if (mayBeDestroyed()) {
      this->~CComObject();
    }
    if ((flags & 1) != 0) {
      processFree(self);
    }
    return self;  // NOLINT(clang-analyzer-unix.Malloc): only the address, as the slot promises
  }

 private:
  CComObject() = default;
  ~CComObject() = default;

  bool mayBeDestroyed() const {
    if constexpr (requires { T::kOutlivesRuntime; }) {
      return true;
    } else {
      return !this->isLeftOver();
    }
  }
};

// A new object with one reference.
template <class T>
int32_t createObject(ComPtr<CComObject<T>>& out) {
  int32_t result = kOk;
  CComObject<T>* object = CComObject<T>::Create(&result);
  if (object != nullptr) {
    object->startWithOne();
  }
  out.reset(object);
  return result;
}

// Creator of a new object per request.
template <class T>
class CFactoryImpl {
 public:
  // An object without the asked interface is destroyed again; else its first reference is the
  // caller's.
  static int32_t CreateInstance(const Guid* id, void** out) {
    *out = nullptr;
    ComPtr<CComObject<T>> object;
    if (const int32_t result = createObject(object); failed(result)) {
      return result;
    }
    *out = object->find(*id);
    if (*out == nullptr) {
      return kNoInterface;
    }
    (void)object.release();
    return kOk;
  }

 protected:
  ~CFactoryImpl() = default;
};

// Creator of one shared instance, made on first use and released at the last module_final. Callers
// that still hold references keep it alive; a later creation makes a new one.
template <class T>
class CSingletonFactoryImpl : public ISingleton {
 public:
  static int32_t CreateInstance(const Guid* id, void** out) {
    *out = nullptr;
    ScopedLock lock(lock_);
    const int32_t result = ensureInstance();
    return failed(result) ? result : instance_->QueryInterface(id, out);
  }

  int32_t Load() override { return kOk; }
  int32_t Unload(uint32_t /*pass*/) override {
    ScopedLock lock(lock_);
    const ComPtr<CComObject<T>> released(std::exchange(instance_, nullptr));
    return kOk;
  }

 protected:
  ~CSingletonFactoryImpl() = default;

 private:
  static int32_t ensureInstance() {
    if (instance_ != nullptr) {
      return kOk;
    }
    ComPtr<CComObject<T>> object;
    int32_t result = createObject(object);
    if (failed(result)) {
      return result;
    }
    ISingleton* const singleton = static_cast<CSingletonFactoryImpl*>(object.get());
    if (result = singleton->Load(); failed(result)) {
      return result;
    }
    if (result = RegisterSingleton(singleton, kReleaseFirst); failed(result)) {
      return result;
    }
    instance_ = object.release();
    return kOk;
  }

  inline static StaticCriticalSection lock_;
  inline static constinit CComObject<T>* instance_ = nullptr;
};

// A read-only container. Hands items out without a reference of their own. `Entry` is what the
// array holds of an item: its address, or an owner of it.
template <class T, class Interface = IContainerRO, class Entry = T*>
class CContainerImpl : public Interface {
 public:
  int32_t GetCount(uint32_t* count) override {
    if (count == nullptr) {
      return kNullPointer;
    }
    *count = static_cast<uint32_t>(items_.size());
    return kOk;
  }
  int32_t GetItem(uint32_t index, void** out) override {
    if (out == nullptr) {
      return kNullPointer;
    }
    *out = nullptr;
    if (index >= items_.size()) {
      return kInvalidArgument;
    }
    *out = addressOf(items_[index]);
    return kOk;
  }

 protected:
  ~CContainerImpl() = default;

  RootVector<Entry> items_;

 private:
  static T* addressOf(T* item) { return item; }
  static T* addressOf(const ComPtr<T>& item) { return item.get(); }
};

// The same over objects: owns one reference to each item and hands out one more.
template <class T, class Interface = IContainerRO>
class CContainerUnkImpl : public CContainerImpl<T, Interface, ComPtr<T>> {
 public:
  int32_t QueryItem(uint32_t index, const Guid* id, void** out) override {
    if (out == nullptr) {
      return kNullPointer;
    }
    *out = nullptr;
    return index < this->items_.size() ? this->items_[index]->QueryInterface(id, out)
                                       : kInvalidArgument;
  }
  int32_t GetItem(uint32_t index, void** out) override {
    const int32_t result = CContainerImpl<T, Interface, ComPtr<T>>::GetItem(index, out);
    if (succeeded(result)) {
      this->items_[index]->AddRef();
    }
    return result;
  }

 protected:
  ~CContainerUnkImpl() = default;

  // Adds a reference of its own. On kOutOfMemory nothing changed.
  [[nodiscard]] int32_t append(T* item) { return this->items_.append(ComPtr<T>::share(item)); }
};

}  // namespace vexa::base
