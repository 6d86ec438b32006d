#pragma once

#include <cstdint>

#include "support/slot.h"
#include "vexa/guid.h"
#include "vexa/holders.h"

namespace vexa::test {

// One reference to an object of the module, given back by its slot.
struct RawReferencePolicy : PointerPolicy<void> {
  static void release(void* object) { call<uint32_t>(object, 2); }
};

// Owns one reference.
class RawReference {
 public:
  RawReference() = default;
  explicit RawReference(void* object) : object_(object) {}

  explicit operator bool() const { return static_cast<bool>(object_); }
  void* get() const { return object_.get(); }
  void** put() { return object_.put(); }
  void reset() { object_.reset(); }

  // --- IComponent ---
  int32_t queryInterface(const Guid& id, void** out) const {
    return call<int32_t, const Guid*, void**>(get(), 0, &id, out);
  }
  uint32_t addRef() const { return call<uint32_t>(get(), 1); }
  // Gives the reference back: what is left of the count.
  uint32_t release() { return call<uint32_t>(object_.release(), 2); }
  // The references there are.
  uint32_t references() const {
    addRef();
    return call<uint32_t>(get(), 2);
  }

 private:
  Holder<RawReferencePolicy> object_;
};

}  // namespace vexa::test
