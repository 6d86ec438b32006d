#pragma once

#include "vexa/component.h"

namespace vexa {

// {2C5B0A46-7D13-4E0B-9F1E-6A0D3C8E5B71}
inline constexpr Guid IID_IContainerRO{
    0x2C5B0A46, 0x7D13, 0x4E0B, {0x9F, 0x1E, 0x6A, 0x0D, 0x3C, 0x8E, 0x5B, 0x71}};

// A read-only list of objects. Indexes start at 0.
class IContainerRO : public IComponent {
 public:
  // Slot 3. kNullPointer: null out.
  virtual int32_t GetCount(uint32_t* count) = 0;
  // Slot 4. The item's QueryInterface result. kNullPointer: null out. kInvalidArgument: index not
  // below the count; out is null then.
  virtual int32_t QueryItem(uint32_t index, const Guid* id, void** out) = 0;
  // Slot 5. The item itself; the container says whether with a reference of its own. Failures as
  // in QueryItem.
  virtual int32_t GetItem(uint32_t index, void** out) = 0;

 protected:
  ~IContainerRO() = default;
};
template <>
struct InterfaceTraits<IContainerRO> {
  static constexpr Guid kId = IID_IContainerRO;
};

}  // namespace vexa
