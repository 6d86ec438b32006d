#pragma once

#include <atomic>
#include <new>
#include <utility>

#include "runtime/heap.h"
#include "runtime/holders.h"
#include "vexa/results.h"
#include "vexa/runtime/object.h"

// Reference-counted runtime objects on the root heap.
namespace vexa::velmora {

// Null when the heap is exhausted. The constructor must not allocate.
template <class T, class... Arguments>
T* makeOnHeap(Arguments&&... arguments) {
  void* const block = allocateBlock(sizeof(T));
  return block == nullptr ? nullptr : new (block) T(std::forward<Arguments>(arguments)...);
}

template <class T>
void destroyOnHeap(T* object) {
  if (object == nullptr) {
    return;
  }
  object->~T();
  freeBlock(object);
}

// An object of the interface `Base` (Name, Certificate, ...), which holds nothing but its table.
// Starts with one reference.
template <class Base>
struct Counted : Base {
  explicit Counted(decltype(Base::table) operations) : Base{operations} {}
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  std::atomic<uint32_t> references{1};
};

// The header of the table of `T`, which derives from Counted and has kTypeName. `duplicate` is slot
// 4; without it the object never changes, and a duplicate is one more reference.
template <class T>
struct CountedHeader {
  static T* self(runtime::Object* object) { return static_cast<T*>(static_cast<void*>(object)); }

  static int32_t nothing3(runtime::Object*, void*, void*, void*) { return kOk; }
  static int32_t nothing1(runtime::Object*, void*) { return kOk; }
  static uint32_t addRef(runtime::Object* object) {
    return self(object)->references.fetch_add(1, std::memory_order_relaxed) + 1;
  }
  static uint32_t release(runtime::Object* object) {
    T* const target = self(object);
    const uint32_t left = target->references.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) {
      destroyOnHeap(target);
    }
    return left;
  }
  static const char* typeName(runtime::Object*) { return T::kTypeName; }
  static int32_t share(runtime::Object* object, void** copy) {
    if (copy == nullptr) {
      return kNullPointer;
    }
    addRef(object);
    *copy = object;
    return kOk;
  }

  static constexpr runtime::ObjectHeader table(int32_t (*duplicate)(runtime::Object*,
                                                                    void**) = share) {
    return {nothing3, addRef, release, typeName, duplicate, nothing1, nothing3};
  }
};

// Every object starts with a pointer to a table that starts with the header.
inline runtime::Object* asObject(void* object) { return static_cast<runtime::Object*>(object); }

}  // namespace vexa::velmora
