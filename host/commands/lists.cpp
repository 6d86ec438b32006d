#include "catalog.h"
#include "options.h"

namespace vexahost {
namespace {

Json describeList(const Module& module, const ListEntry& entry) {
  Json list = {{"name", listOwnName(module, entry)}, {"slots", Json::array()}};
  const auto* const slots = &module.list<void* const>(entry.name);
  for (const vexa::ListSlot& slot : entry.slots) {
    list["slots"].push_back(
        {{"number", slot.number}, {"name", slot.name}, {"offered", slots[slot.number] != nullptr}});
  }
  return list;
}

void print(Output& output, const Json& data) {
  for (const Json& list : data["lists"]) {
    const Json& slots = list["slots"];
    output.line(list["name"].get<std::string>() + " (" + std::to_string(slots.size()) + " slots)");
    for (const Json& slot : slots) {
      const auto number = slot["number"].get<uint32_t>();
      output.line((number < 10 ? "   " : "  ") + std::to_string(number) + "  " +
                  slot["name"].get<std::string>() +
                  (slot["offered"].get<bool>() ? "" : " (missing)"));
    }
  }
  output.line("classes");
  for (const Json& entry : data["classes"]) {
    output.line("  " + entry["name"].get<std::string>() +
                (entry["singleton"].get<bool>() ? " (one instance)" : " (new objects)"));
  }
}

void printLists(Options& options) {
  const Module module(options.module);
  Json data = {{"lists", Json::array()}, {"classes", Json::array()}};
  for (const ListEntry& entry : knownLists()) {
    data["lists"].push_back(describeList(module, entry));
  }
  for (const ClassEntry& entry : knownClasses()) {
    // That it can be made is part of the answer.
    const auto object = module.make<vexa::IComponent>(entry.name);
    data["classes"].push_back({{"name", entry.name}, {"singleton", entry.isSingleton}});
  }
  options.output.answer(data, [&] { print(options.output, data); });
}

}  // namespace

void addListsCommand(Command app, Options& options) {
  app.command("lists", "Every offered list with its slots, every class").onRun([&options] {
    printLists(options);
  });
}

}  // namespace vexahost
