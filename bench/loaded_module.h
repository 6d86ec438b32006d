#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#if defined(_WIN32)
#define NOGDI  // has a macro GetObject
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include "vexa/class_factory.h"
#include "vexa/component.h"
#include "vexa/module.h"

// The module as a host meets it: the built library, loaded from its file, which in turn loads the
// runtime beside it. A benchmark that links the objects together would hide what the border costs.
namespace vexa::bench {

// The libraries of this build; benchmarks lie in its folder "bench", libraries in "bin".
inline std::filesystem::path builtFile(const char* name) {
#if defined(_WIN32)
  char program[MAX_PATH] = {};
  GetModuleFileNameA(nullptr, program, MAX_PATH);
  const std::filesystem::path self = program;
#else
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
#endif
  return self.parent_path().parent_path() / "bin" / name;
}

// Loads the library for as long as the program runs, or ends the program.
template <class Function>
Function exported(const char* library, const char* name) {
  const std::string file = builtFile(library).string();
#if defined(_WIN32)
  HMODULE const handle = LoadLibraryA(file.c_str());
  auto* const function = handle == nullptr ? nullptr : GetProcAddress(handle, name);
#else
  void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* const function = handle == nullptr ? nullptr : dlsym(handle, name);
#endif
  if (function == nullptr) {
    std::fprintf(stderr, "bench: no %s in %s\n", name, file.c_str());
    std::exit(1);
  }
  return reinterpret_cast<Function>(reinterpret_cast<void*>(function));
}

#if defined(_WIN32)
inline constexpr char kModuleLibrary[] = "vexabase.dll";
inline constexpr char kRuntimeLibrary[] = "velmora.dll";
#else
inline constexpr char kModuleLibrary[] = "libvexabase.so";
inline constexpr char kRuntimeLibrary[] = "velmora.so";
#endif

// Starts the module over the reference runtime, with the trace levels off as in a client that runs
// normally: every scope and message still makes its call. Ended when the program ends, so that
// benchmarks may share one start.
class LoadedModule {
 public:
  static const LoadedModule& get() {
    static const LoadedModule module;
    return module;
  }
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  const runtime::RootList& root() const { return *root_; }

  // An offered list: list<TimeList>(kTimeListName).
  template <class List>
  const List& list(const char* name) const {
    const void* found = nullptr;
    if (lookup_(nullptr, name, &found) != kOk) {
      std::abort();
    }
    return *static_cast<const List*>(found);
  }
  // A new object with one reference.
  template <class Interface>
  Interface* create(const char* className, const Guid& id) const {
    void* object = nullptr;
    if (factory_->CreateInstance(className, &id, &object) != kOk) {
      std::abort();
    }
    return static_cast<Interface*>(object);
  }

 private:
  LoadedModule() {
    const auto start = exported<ModuleInitFunction>(kModuleLibrary, kModuleInitExport);
    const auto runtime =
        exported<runtime::GetRootListFunction>(kRuntimeLibrary, runtime::kGetRootListExport);
    if (runtime(0, 0, &root_, 0, "", 0) != kOk || start(root_, &lookup_) != kOk) {
      std::abort();
    }
    factory_ = &list<ClassFactoryList>(kClassFactoryListName);
  }
  ~LoadedModule() { exported<ModuleFinalFunction>(kModuleLibrary, kModuleFinalExport)(); }

  const runtime::RootList* root_ = nullptr;
  GetModuleInterfaceFunction lookup_ = nullptr;
  const ClassFactoryList* factory_ = nullptr;
};

// Owns one reference to an object of the module.
template <class Interface>
class Created {
 public:
  Created(const char* className, const Guid& id)
      : object_(LoadedModule::get().create<Interface>(className, id)) {}
  Created(const Created&) = delete;
  Created& operator=(const Created&) = delete;
  ~Created() { object_->Release(); }

  Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }

 private:
  Interface* object_;
};

}  // namespace vexa::bench
