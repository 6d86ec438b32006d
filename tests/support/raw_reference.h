#pragma once

#include <cstdint>
#include <utility>

#include "support/slot.h"
#include "vexa/guid.h"

namespace vexa::test {

// Owns one reference to an object of the module.
class RawReference {
 public:
  RawReference() = default;
  explicit RawReference(void* object) : object_(object) {}
  RawReference(RawReference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  RawReference& operator=(RawReference&& other) noexcept {
    reset();
    object_ = std::exchange(other.object_, nullptr);
    return *this;
  }
  ~RawReference() { reset(); }

  explicit operator bool() const { return object_ != nullptr; }
  void* get() const { return object_; }
  void** put() {
    reset();
    return &object_;
  }
  void reset() {
    if (object_ != nullptr) {
      release();
    }
  }

  // --- IComponent ---
  int32_t queryInterface(const Guid& id, void** out) const {
    return call<int32_t, const Guid*, void**>(object_, 0, &id, out);
  }
  uint32_t addRef() const { return call<uint32_t>(object_, 1); }
  // Gives the reference back: what is left of the count.
  uint32_t release() { return call<uint32_t>(std::exchange(object_, nullptr), 2); }
  // The references there are.
  uint32_t references() const {
    addRef();
    return call<uint32_t>(object_, 2);
  }

 private:
  void* object_ = nullptr;
};

}  // namespace vexa::test
