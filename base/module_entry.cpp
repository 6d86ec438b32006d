#include "base/module_entry.h"

#include <cstring>
#include <utility>

#include "base/class_registry.h"
#include "base/heap.h"
#include "base/library.h"
#include "base/list_registry.h"
#include "base/unload_registry.h"
#include "pal/windows_api.h"

namespace vexa::base {
namespace {

constexpr char kRuntimeLibrary[] = "velmora";

// What the exports keep between calls; the host serialises them.
struct ModuleState {
  HMODULE library = nullptr;     // set only while the module loaded velmora itself
  char* ownDirectory = nullptr;  // a copy on the process heap
  uint32_t initCount = 0;
};
constinit ModuleState state;

int32_t storeOwnDirectory() {
  if (state.ownDirectory != nullptr) {
    return kOk;
  }
  const char* const directory = ownDirectory();
  const size_t size = std::strlen(directory) + 1;
  state.ownDirectory = static_cast<char*>(processAllocate(size));
  if (state.ownDirectory == nullptr) {
    return kOutOfMemory;
  }
  std::memcpy(state.ownDirectory, directory, size);
  return kOk;
}

void forgetOwnDirectory() { processFree(std::exchange(state.ownDirectory, nullptr)); }

void unloadRuntime() { FreeLibrary(std::exchange(state.library, nullptr)); }

// Loads velmora and asks it for the root list. A library without the export is let go again, so
// that a later start looks afresh.
int32_t obtainRootList() {
  if (state.library == nullptr) {
    if (failed(storeOwnDirectory())) {
      return kFail;
    }
    state.library = LoadModuleLibrary(kRuntimeLibrary, state.ownDirectory,
                                      kSearchOwn | kSearchSiblingLib, nullptr, 0);
    if (state.library == nullptr) {
      return kFail;
    }
  }
  const auto getRootList = reinterpret_cast<runtime::GetRootListFunction>(
      reinterpret_cast<void*>(GetProcAddress(state.library, runtime::kGetRootListExport)));
  if (getRootList == nullptr) {
    unloadRuntime();
    return kFail;
  }
  // Only what it stored counts, not what it returned.
  (void)getRootList(0, 0, &bound.root, 0, "", 0);
  return kOk;
}

int32_t bindTables() {
  if (bound.root == nullptr) {
    if (const int32_t result = obtainRootList(); failed(result)) {
      forgetOwnDirectory();  // this start has no end that would do it
      return result;
    }
  }
  // Counts even when the load pass fails: that start needs its end.
  ++state.initCount;
  return bound.root != nullptr ? unloadRegistry().Load() : kFail;
}

void unbindTables() {
  forgetOwnDirectory();
  unloadRegistry().Final();
  if (state.library != nullptr) {
    if (bound.root != nullptr) {
      bound.root->ReleaseRoot(bound.root);
    }
    bound.root = nullptr;
    unloadRuntime();
  }
  bound.root = nullptr;
}

}  // namespace

int32_t moduleInit(const runtime::RootList* root, GetModuleInterfaceFunction* lookup) {
  if (bound.root == nullptr) {
    bound.root = root;
  }
  if (lookup != nullptr) {
    *lookup = GetModuleInterface;
  }
  return bindTables();
}

int32_t moduleFinal() {
  if (state.initCount != 0 && --state.initCount == 0) {
    unbindTables();
  }
  return kOk;
}

}  // namespace vexa::base
