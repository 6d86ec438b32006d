#include "catalog.h"

#include <array>

#include "vexa/all.h"

namespace vexahost {
namespace {

template <class... Lists>
constexpr std::array<ListEntry, sizeof...(Lists)> listEntries(vexa::TypeList<Lists...>) {
  return {{{vexa::ListTraits<Lists>::kName, vexa::ListTraits<Lists>::kSlots}...}};
}

template <class... Interfaces>
constexpr std::array<ClassEntry, sizeof...(Interfaces)> classEntries(
    vexa::TypeList<Interfaces...>) {
  return {{{vexa::ClassTraits<Interfaces>::kName, vexa::InterfaceTraits<Interfaces>::kId,
            vexa::ClassTraits<Interfaces>::kIsSingleton}...}};
}

constexpr auto kLists = listEntries(vexa::AllLists());
constexpr auto kClasses = classEntries(vexa::AllClasses());

}  // namespace

std::span<const ListEntry> knownLists() { return kLists; }
std::span<const ClassEntry> knownClasses() { return kClasses; }

std::string listOwnName(const Module& module, const ListEntry& entry) {
  // Every list begins with the same slot.
  const auto& list = module.list<vexa::ClassFactoryList>(entry.name);
  const char* name = nullptr;
  check(list.GetModuleInfo(&name, nullptr, nullptr), entry.name);
  return name;
}

}  // namespace vexahost
