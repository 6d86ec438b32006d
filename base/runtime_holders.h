#pragma once

#include <utility>

#include "base/heap.h"
#include "vexa/runtime/bound_tables.h"

// Holders for what the runtime owns and counts.
namespace vexa::base {

// Adds a reference to an object of the runtime; null stays null.
template <class T>
T* addReference(T* object) {
  if (object != nullptr) {
    auto* const counted = reinterpret_cast<runtime::Object*>(object);
    counted->table->AddRef(counted);
  }
  return object;
}

// Owns one reference to an object of the runtime. After the last module_final the runtime may be
// gone, so that the reference is then left alone.
template <class T>
class RuntimeRef {
 public:
  RuntimeRef() = default;
  explicit RuntimeRef(T* object) : object_(object) {}
  RuntimeRef(const RuntimeRef&) = delete;
  RuntimeRef& operator=(const RuntimeRef&) = delete;
  ~RuntimeRef() { reset(); }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T** put() {
    reset();
    return &object_;
  }
  T* release() { return std::exchange(object_, nullptr); }
  void reset(T* object = nullptr) {
    T* const old = std::exchange(object_, object);
    if (old != nullptr && bound.root != nullptr) {
      auto* const counted = reinterpret_cast<runtime::Object*>(old);
      counted->table->Release(counted);
    }
  }

 private:
  T* object_ = nullptr;
};

// Owns a record that one function of a table releases:
//   static void release(Record*).
template <class Record, class Releaser>
class Held {
 public:
  Held() = default;
  explicit Held(Record* record) : record_(record) {}
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() { reset(); }

  Record* get() const { return record_; }
  Record* operator->() const { return record_; }
  Record** put() {
    reset();
    return &record_;
  }
  Record* release() { return std::exchange(record_, nullptr); }
  void reset(Record* record = nullptr) {
    if (Record* const old = std::exchange(record_, record); old != nullptr) {
      Releaser::release(old);
    }
  }

 private:
  Record* record_ = nullptr;
};

struct ReleaseParameters {
  static void release(runtime::PfxParameters* parameters) {
    bound.pkcs12Types->ParametersRelease(parameters);
  }
};
struct ReleaseBag {
  static void release(runtime::SafeBag* bag) { bound.pkcs12Types->BagRelease(bag); }
};
struct ReleaseBagList {
  static void release(runtime::BagNode* head) { bound.pkcs12Types->BagListRelease(head); }
};
struct ReleaseKey {
  static void release(runtime::KeyObject* key) { bound.commonTypes->KeyRelease(key); }
};
struct ReleaseOwnList {
  static void release(runtime::OwnCertificateList* head) { bound.pse->OwnListRelease(head); }
};

using PfxParametersHolder = Held<runtime::PfxParameters, ReleaseParameters>;
using SafeBagHolder = Held<runtime::SafeBag, ReleaseBag>;
using BagListHolder = Held<runtime::BagNode, ReleaseBagList>;
using KeyHolder = Held<runtime::KeyObject, ReleaseKey>;
using OwnListHolder = Held<runtime::OwnCertificateList, ReleaseOwnList>;

}  // namespace vexa::base
