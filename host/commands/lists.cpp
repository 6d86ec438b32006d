#include <cstdio>

#include "catalog.h"
#include "options.h"

namespace vexahost {
namespace {

void printLists(const Options& options) {
  const Module module(options.module);
  for (const ListEntry& entry : knownLists()) {
    std::printf("%s (%zu slots)\n", listOwnName(module, entry).c_str(), entry.slots.size());
    const auto* const slots = &module.list<void* const>(entry.name);
    for (const vexa::ListSlot& slot : entry.slots) {
      const bool missing = slots[slot.number] == nullptr;
      std::printf("  %2u  %s%s\n", slot.number, slot.name, missing ? " (missing)" : "");
    }
  }
  std::printf("classes\n");
  for (const ClassEntry& entry : knownClasses()) {
    const auto object = module.create<vexa::IComponent>(entry.name, vexa::IID_IComponent);
    std::printf("  %s (%s)\n", entry.name, entry.isSingleton ? "one instance" : "new objects");
  }
}

}  // namespace

void addListsCommand(CLI::App& app, Options& options) {
  app.add_subcommand("lists", "Every offered list with its slots, every class")
      ->callback([&options] { printLists(options); });
}

}  // namespace vexahost
