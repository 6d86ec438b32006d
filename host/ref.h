#pragma once

#include <utility>

#include "vexa/component.h"

namespace vexahost {

// Owns one reference to an object of the module.
template <class T>
class Ref {
 public:
  Ref() = default;
  explicit Ref(T* object) : object_(object) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_ != nullptr) {
      object_->Release();
    }
  }

  explicit operator bool() const { return object_ != nullptr; }
  T* get() const { return object_; }
  T* operator->() const { return object_; }
  // For outs; the holder must be empty.
  T** put() { return &object_; }
  void** putVoid() { return reinterpret_cast<void**>(&object_); }

 private:
  T* object_ = nullptr;
};

}  // namespace vexahost
