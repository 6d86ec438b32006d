#pragma once

#include <cstddef>
#include <cstdint>

// What lists, interfaces and classes are called, attached to their types. Every header specialises
// these beside what it declares, so that a template needs the type alone.
namespace vexa {

// One slot of a function list, for tools and messages.
struct ListSlot {
  const char* name;
  uint32_t number;
  size_t offset;
};
#define VEXA_LIST_SLOT(list, member, number) \
  ::vexa::ListSlot { #member, number, offsetof(list, member) }

// Of a function list: kName, and kSlots in their order.
template <class List>
struct ListTraits;

// Of an interface that QueryInterface knows: kId.
template <class Interface>
struct InterfaceTraits;

// Of the main interface of a class that the class factory knows: kName, kIsSingleton.
template <class Interface>
struct ClassTraits;

template <class List>
constexpr uint32_t slotCount() {
  return sizeof(ListTraits<List>::kSlots) / sizeof(ListSlot);
}

// True when kSlots names every slot of the list, each with its number. Asserted beside each list.
template <class List>
constexpr bool namesEverySlot() {
  for (uint32_t i = 0; i < slotCount<List>(); ++i) {
    const ListSlot& slot = ListTraits<List>::kSlots[i];
    if (slot.number != i || slot.offset != i * sizeof(void*)) {
      return false;
    }
  }
  return sizeof(List) == slotCount<List>() * sizeof(void*);
}

}  // namespace vexa
