#pragma once

#include <span>
#include <string>

#include "module.h"
#include "vexa/traits.h"

// What a module of this SDK is expected to offer, and what the loaded one does offer.
namespace vexahost {

struct ListEntry {
  const char* name;
  std::span<const vexa::ListSlot> slots;  // by number; slot 0 is GetModuleInfo
};
struct ClassEntry {
  const char* name;
  vexa::Guid interfaceId;
  bool isSingleton;
};

std::span<const ListEntry> knownLists();
std::span<const ClassEntry> knownClasses();

// The list's own name, as its slot 0 tells it.
std::string listOwnName(const Module& module, const ListEntry& entry);

}  // namespace vexahost
