#pragma once

#include <atomic>
#include <cstdint>

#include "vexa/results.h"

namespace vexa::base {

// Something that is set up by module_init and torn down by module_final. No IComponent slots.
class ISingleton {
 public:
  // Slot 0. A negative result stops the load pass.
  virtual int32_t Load() = 0;
  // Slot 1. `pass` is 1 in the release-first pass, else 0. The result is not examined.
  virtual int32_t Unload(uint32_t pass) = 0;

 protected:
  ~ISingleton() = default;
};

// Whose turn it is at the last module_final.
enum ReleaseFirst : uint32_t {
  kReleaseLast = 0,   // binding records and the class registry: stay for the next start
  kReleaseFirst = 1,  // singletons made at run time: their nodes go with them
};

// The chain of everything that is set up and torn down, newest first. Nodes come from the process
// heap, because static initialisers register before there is a root list. Registering is for any
// thread, since singletons of different classes may be made at the same time; the rest is init's
// and final's, which the host serialises.
class UnloadRegistry {
 public:
  struct Node {
    ISingleton* object;
    uint32_t releaseFirst;
    Node* next;
    Node* child;  // set by nobody; walks treat it as an empty subtree
  };

  constexpr UnloadRegistry() = default;
  UnloadRegistry(const UnloadRegistry&) = delete;
  UnloadRegistry& operator=(const UnloadRegistry&) = delete;
  ~UnloadRegistry();

  // kOk; kOutOfMemory when there is no memory for the node.
  int32_t Register(ISingleton* object, ReleaseFirst releaseFirst);
  // For a static record that could not be registered: every load pass answers kOutOfMemory from now
  // on, since static initialisers have nobody to tell.
  void SetIncomplete() { incomplete_ = true; }
  // Loads oldest first; stops at the first negative result and returns it.
  int32_t Load();
  // Unloads newest first: release-first objects, then the others; then drops the nodes of the
  // former. The others stay and are loaded again by the next start.
  void Final();

 private:
  static int32_t loadOldestFirst(const Node* node);
  static void unload(Node* node, ReleaseFirst pass);
  void prune();

  alignas(std::atomic_ref<Node*>::required_alignment) Node* head_ = nullptr;
  bool incomplete_ = false;
};

UnloadRegistry& unloadRegistry();

// Registers with the module's registry.
int32_t RegisterSingleton(ISingleton* object, ReleaseFirst releaseFirst);

}  // namespace vexa::base
