#include "base/unload_registry.h"

#include <atomic>
#include <cstddef>
#include <utility>

#include "base/heap.h"
#include "base/holders.h"

namespace vexa::base {
namespace {

static_assert(offsetof(UnloadRegistry::Node, object) == 0);
static_assert(offsetof(UnloadRegistry::Node, releaseFirst) == 8);
static_assert(offsetof(UnloadRegistry::Node, next) == 16);
static_assert(offsetof(UnloadRegistry::Node, child) == 24);
static_assert(sizeof(UnloadRegistry::Node) == 32);

constinit UnloadRegistry registry;

}  // namespace

UnloadRegistry::~UnloadRegistry() {
  while (head_ != nullptr) {
    const ProcessBlock<Node> dropped(std::exchange(head_, head_->next));
  }
}

int32_t UnloadRegistry::Register(ISingleton* object, ReleaseFirst releaseFirst) {
  auto* node = static_cast<Node*>(processAllocate(sizeof(Node)));
  if (node == nullptr) {
    return kOutOfMemory;
  }
  // Singletons of different classes may be created at the same time.
  const std::atomic_ref head(head_);
  *node = {object, releaseFirst, head.load(), nullptr};
  while (!head.compare_exchange_weak(node->next, node)) {
  }
  return kOk;
}

int32_t UnloadRegistry::Load() { return incomplete_ ? kOutOfMemory : loadOldestFirst(head_); }

int32_t UnloadRegistry::loadOldestFirst(const Node* node) {
  if (node == nullptr) {
    return kOk;
  }
  for (const Node* older : {node->child, node->next}) {
    if (const int32_t result = loadOldestFirst(older); failed(result)) {
      return result;
    }
  }
  const int32_t result = node->object != nullptr ? node->object->Load() : kOk;
  return failed(result) ? result : kOk;
}

void UnloadRegistry::Final() {
  unload(head_, kReleaseFirst);
  unload(head_, kReleaseLast);
  prune();
}

void UnloadRegistry::unload(Node* node, ReleaseFirst pass) {
  for (; node != nullptr; node = node->next) {
    if (node->object != nullptr && (node->releaseFirst != 0) == (pass == kReleaseFirst)) {
      node->object->Unload(pass);
      if (pass == kReleaseFirst) {
        node->object = nullptr;
      }
    }
    unload(node->child, pass);
  }
}

void UnloadRegistry::prune() {
  for (Node** link = &head_; *link != nullptr;) {
    if ((*link)->releaseFirst != 0) {
      const ProcessBlock<Node> dropped(std::exchange(*link, (*link)->next));
    } else {
      link = &(*link)->next;
    }
  }
}

UnloadRegistry& unloadRegistry() { return registry; }

int32_t RegisterSingleton(ISingleton* object, ReleaseFirst releaseFirst) {
  return registry.Register(object, releaseFirst);
}

}  // namespace vexa::base
