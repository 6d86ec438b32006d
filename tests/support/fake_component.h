#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vexa/class_factory.h"

namespace vexa::test {

// Another framework module with its list "ClassFactory.1". One for the process, since the list's
// functions have no self; reset by SpyRuntime.
struct FakeComponent {
  static constexpr char kName[] = "spycomponent";

  struct Creation {
    std::string className;
    Guid interfaceId;
  };

  std::vector<Creation> creations;    // what CreateInstance was asked for
  int32_t createResult = kOk;         // what it answers
  void* object = nullptr;             // what it hands out
  CreateHookFunction hook = nullptr;  // what SetCreateHook was given last
  int hooksSet = 0;
  ClassFactoryList list;  // replaceable

  static FakeComponent& instance();
  void reset();
};

}  // namespace vexa::test
