#pragma once

#include <filesystem>

#include "vexa/host.h"

// The module as a host meets it: the built library, loaded from its file, which in turn loads the
// runtime beside it. A benchmark that links the objects together would hide what the border costs.
namespace vexa::bench {

// The libraries of this build; benchmarks lie in its folder "bench", libraries in "bin".
inline std::filesystem::path builtLibraries() {
#if defined(_WIN32)
  char program[MAX_PATH] = {};
  GetModuleFileNameA(nullptr, program, MAX_PATH);
  const std::filesystem::path self = program;
#else
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
#endif
  return self.parent_path().parent_path() / "bin";
}

// Started over the reference runtime, with the trace levels off as in a client that runs normally:
// every scope and message still makes its call. Ended when the program ends, so that benchmarks may
// share one start.
inline const Module& loadedModule() {
  static const Module module = Module::load(builtLibraries());
  return module;
}

// A byte buffer that the module hands out.
inline BufferHolder buffer() { return BufferHolder(loadedModule().tables()); }
// A block that it hands out.
template <class T>
BlockHolder<T> block() {
  return BlockHolder<T>(loadedModule().tables());
}

// A new object with one reference.
template <class Interface>
InterfaceHolder<Interface> create() {
  return loadedModule().make<Interface>();
}

}  // namespace vexa::bench
