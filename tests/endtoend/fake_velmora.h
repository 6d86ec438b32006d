#pragma once

#include <cstdint>

#include "vexa/runtime/root_list.h"

// A library that passes for the runtime: it binds every name, and notes what the module does to it.
struct FakeVelmora {
  int32_t asked = 0;  // calls of the export, and the arguments of the last one
  uint64_t first = 1;
  uint64_t second = 1;
  bool hasOut = false;
  uint64_t fourth = 1;
  char options[8] = "none";
  uint64_t sixth = 1;

  bool givesRoot = true;  // false: the export leaves null
  int32_t bound = 0;      // tables handed out and not given back
  int32_t released = 0;   // calls of ReleaseRoot, and the argument of the last one
  const vexa::runtime::RootList* releasedRoot = nullptr;
  const vexa::runtime::RootList* root = nullptr;
};
using FakeVelmoraFunction = FakeVelmora* (*)();
