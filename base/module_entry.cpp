#include "base/module_entry.h"

#include <cstring>
#include <utility>

#include "base/class_registry.h"
#include "base/heap.h"
#include "base/holders.h"
#include "base/library.h"
#include "base/list_registry.h"
#include "base/unload_registry.h"
#include "base/windows_holders.h"

namespace vexa::base {
namespace {

constexpr char kRuntimeLibrary[] = "velmora";

// What the exports keep between calls; the host serialises them. No holders: what a host that never
// ended the module left behind is the process's to clear away.
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
  if (*directory == '\0') {
    return kFail;
  }
  const size_t size = std::strlen(directory) + 1;
  state.ownDirectory = static_cast<char*>(processAllocate(size));
  if (state.ownDirectory == nullptr) {
    return kOutOfMemory;
  }
  std::memcpy(state.ownDirectory, directory, size);
  return kOk;
}

void forgetOwnDirectory() {
  const ProcessBlock<char> forgotten(std::exchange(state.ownDirectory, nullptr));
}

void unloadRuntime() { const Library unloaded(std::exchange(state.library, nullptr)); }

// Null unbinds it.
void setRoot(const runtime::RootList* root) {
  if (root == nullptr && isBound()) {
    ++bound.era;
  }
  bound.root = root != nullptr ? root : &Unbound<runtime::RootList>::table;
}

// Loads velmora and asks it for the root list. A library without the export is let go again: kept,
// it would be the one that every later start finds, also when the right one stands in its place.
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
  const runtime::RootList* root = nullptr;
  (void)getRootList(0, 0, &root, 0, "", 0);
  setRoot(root);
  return kOk;
}

int32_t bindTables() {
  if (!isBound()) {
    if (const int32_t result = obtainRootList(); failed(result)) {
      forgetOwnDirectory();  // this start has no end that would do it
      return result;
    }
  }
  // Counts even when the load pass fails: that start needs its end.
  ++state.initCount;
  return isBound() ? unloadRegistry().Load() : kFail;
}

void unbindTables() {
  forgetOwnDirectory();
  unloadRegistry().Final();
  const runtime::RootList* const root = bound.root;
  setRoot(nullptr);
  if (state.library != nullptr) {
    root->ReleaseRoot(root);
    unloadRuntime();
  }
}

}  // namespace

int32_t moduleInit(const runtime::RootList* root, GetModuleInterfaceFunction* lookup) {
  if (!isBound()) {
    setRoot(root);
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
