#include "base/module_entry.h"

#include <array>
#include <bit>
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
  const runtime::RootList* givenRoot = nullptr;
  runtime::RootList completedRoot = {};  // stands in for one that lacks functions
  uint32_t initCount = 0;
  bool isBusy = false;  // in a start or an end
};
constinit ModuleState state;

// What a start or an end asks of the runtime may call the module's exports again. Half bound, the
// module starts and ends nothing more.
class Busy {
 public:
  Busy() { state.isBusy = true; }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;
  ~Busy() { state.isBusy = false; }
};

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

// The list itself, or a copy in which the functions that it lacks are there and fail.
const runtime::RootList* completed(const runtime::RootList* root) {
  using Slots = std::array<void*, sizeof(runtime::RootList) / sizeof(void*)>;
  const auto failing = std::bit_cast<Slots>(Unbound<runtime::RootList>::table);
  auto slots = std::bit_cast<Slots>(*root);
  bool isWhole = true;
  for (size_t i = 0; i < slots.size(); ++i) {
    if (slots[i] == nullptr && failing[i] != nullptr) {
      slots[i] = failing[i];
      isWhole = false;
    }
  }
  if (isWhole) {
    return root;
  }
  state.completedRoot = std::bit_cast<runtime::RootList>(slots);
  return &state.completedRoot;
}

// Null unbinds it.
void setRoot(const runtime::RootList* root) {
  if (root == nullptr && isBound()) {
    ++bound.era;
  }
  state.givenRoot = root;
  bound.root = root != nullptr ? completed(root) : &Unbound<runtime::RootList>::table;
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
  const runtime::RootList* const givenRoot = state.givenRoot;
  setRoot(nullptr);
  if (state.library != nullptr) {
    root->ReleaseRoot(givenRoot);
    unloadRuntime();
  }
}

}  // namespace

int32_t moduleInit(const runtime::RootList* root, GetModuleInterfaceFunction* lookup) {
  if (lookup != nullptr) {
    *lookup = GetModuleInterface;
  }
  if (state.isBusy) {
    return kFail;
  }
  const Busy busy;
  if (!isBound()) {
    setRoot(root);
  }
  return bindTables();
}

int32_t moduleFinal() {
  if (!state.isBusy && state.initCount != 0 && --state.initCount == 0) {
    const Busy busy;
    unbindTables();
  }
  return kOk;
}

}  // namespace vexa::base
