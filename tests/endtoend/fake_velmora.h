#pragma once

#include <cstdint>

#include "vexa/runtime/pkcs12.h"
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

  // What it hands out; a test may change entries.
  vexa::runtime::RootList* root = nullptr;
  vexa::runtime::Pkcs12Table* pkcs12 = nullptr;

  // Called from within its functions, when set.
  void (*inExport)() = nullptr;
  void (*inBinding)() = nullptr;  // GetInterface, before it answers
  void (*inRelease)() = nullptr;  // ReleaseInterface
  void (*inReleaseRoot)() = nullptr;
};
using FakeVelmoraFunction = FakeVelmora* (*)();
