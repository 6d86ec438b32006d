#pragma once

#include <new>
#include <span>

#include "runtime/der/der_reader.h"

namespace vexa::velmora {

// The elements of one level, which are known to be well-formed, in their order. They point into the
// bytes that they were taken from.
class ElementList {
 public:
  explicit ElementList(ByteView content) {
    size_t count = 0;
    for (DerReader reader(content); reader.takeAny();) {
      ++count;
    }
    block_.resize(count * sizeof(DerElement));
    if (block_.failed()) {
      return;
    }
    elements_ = {reinterpret_cast<DerElement*>(block_.data()), count};
    DerReader reader(content);
    for (DerElement& element : elements_) {
      new (&element) DerElement(*reader.takeAny());
    }
  }

  // Memory was short; there are none then.
  bool failed() const { return block_.failed(); }
  std::span<const DerElement> elements() const { return elements_; }
  std::span<DerElement> elements() { return elements_; }

 private:
  Bytes block_;
  std::span<DerElement> elements_;
};

}  // namespace vexa::velmora
