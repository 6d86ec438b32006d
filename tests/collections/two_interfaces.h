#pragma once

#include <cstdint>

#include "vexa/component.h"
#include "vexa/results.h"

namespace vexa::test {

// An object with two interfaces, as a compiler lays them out: two tables, two addresses, one
// identity.
class TwoInterfaces {
 public:
  void* first() { return &first_; }
  void* second() { return &second_; }
  uint32_t references() const { return references_; }

 private:
  struct Interface {
    void* const* table;
    TwoInterfaces* object;
  };

  static int32_t queryInterface(Interface* self, const Guid* id, void** out) {
    *out = *id == IID_IComponent ? &self->object->first_ : nullptr;
    if (*out == nullptr) {
      return kNoInterface;
    }
    addRef(self);
    return kOk;
  }
  static uint32_t addRef(Interface* self) { return ++self->object->references_; }
  static uint32_t release(Interface* self) { return --self->object->references_; }

  static inline void* const kTable[] = {reinterpret_cast<void*>(queryInterface),
                                        reinterpret_cast<void*>(addRef),
                                        reinterpret_cast<void*>(release)};

  Interface first_{kTable, this};
  Interface second_{kTable, this};
  uint32_t references_ = 0;
};

}  // namespace vexa::test
