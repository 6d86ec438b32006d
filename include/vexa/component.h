#pragma once

#include <cstdint>

#include "vexa/guid.h"
#include "vexa/results.h"
#include "vexa/traits.h"

namespace vexa {

// The identifier that Windows gives IUnknown, {00000000-0000-0000-C000-000000000046}.
inline constexpr Guid IID_IComponent{
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

// The base of every object that crosses the border. Interfaces have no data, no virtual destructor
// and no overloaded virtual functions, so that every compiler lays out the same table. It is the
// IUnknown of Windows under a name of its own, so that a source with <objbase.h> and
// `using namespace vexa` has one of each.
//
// Reference counts are interlocked; everything else follows the thread rule of the class.
class IComponent {
 public:
  // Slot 0. Stores an interface of this object with one reference for the caller and returns kOk,
  // or stores null and returns kNoInterface. Neither argument may be null.
  virtual int32_t QueryInterface(const Guid* id, void** out) = 0;
  // Slot 1. One more reference; returns the new count.
  virtual uint32_t AddRef() = 0;
  // Slot 2. One reference less; returns the new count. At 0 the object is gone.
  virtual uint32_t Release() = 0;

 protected:
  ~IComponent() = default;  // not virtual: adds no slot, forbids `delete`
};
template <>
struct InterfaceTraits<IComponent> {
  static constexpr Guid kId = IID_IComponent;
};
static_assert(sizeof(IComponent) == sizeof(void*));

}  // namespace vexa
