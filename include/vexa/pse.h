#pragma once

#include "vexa/component.h"
#include "vexa/runtime/object.h"

namespace vexa {

// {8D2F9F87-C79D-4569-B8FF-835E3C6058BB}
inline constexpr Guid IID_IPse{
    0x8D2F9F87, 0xC79D, 0x4569, {0xB8, 0xFF, 0x83, 0x5E, 0x3C, 0x60, 0x58, 0xBB}};

inline constexpr char kPseClassName[] = "PSE";

// The user's personal security environment; singleton class "PSE". It holds the runtime's security
// context and PSE open from first use until the last module_final. Getters may be called from any
// thread.
class IPse : public IComponent {
 public:
  // Slot 3. Destroys the object; bit 0 of `flags` frees its memory too. Only Release calls it.
  virtual void* DeletingDestructor(uint32_t flags) = 0;
  // Slot 4. No reference added; null when the context could not be created.
  virtual runtime::SecurityContext* GetContext() = 0;
  // Slot 5. No reference added; null when there is none.
  virtual runtime::Pse* GetPSE() = 0;
  // Slots 6 to 12. kNotImplemented.
  virtual int32_t Reserved6(void*, void*, void*) = 0;
  virtual int32_t Reserved7(void*, void*, void*) = 0;
  virtual int32_t Reserved8(void*, void*, void*) = 0;
  virtual int32_t Reserved9(void*, void*, void*) = 0;
  virtual int32_t Reserved10(void*, void*, void*) = 0;
  virtual int32_t Reserved11(void*, void*, void*) = 0;
  virtual int32_t Reserved12(void*, void*, void*) = 0;

 protected:
  ~IPse() = default;
};
template <>
struct InterfaceTraits<IPse> {
  static constexpr Guid kId = IID_IPse;
};
template <>
struct ClassTraits<IPse> {
  static constexpr const char* kName = kPseClassName;
  static constexpr bool kIsSingleton = true;
};

}  // namespace vexa
