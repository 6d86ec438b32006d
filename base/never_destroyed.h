#pragma once

namespace vexa::base {

// A static variable that stays when the module goes. What is left in it then belongs to a runtime
// that may have gone before, in a process that was not ended in order.
template <class T>
union NeverDestroyed {
  constexpr NeverDestroyed() : value() {}
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;
  // NOLINTNEXTLINE(modernize-use-equals-default): a union's own would be deleted
  constexpr ~NeverDestroyed() {}

  T value;
};

}  // namespace vexa::base
