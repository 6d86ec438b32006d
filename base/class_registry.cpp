#include "base/class_registry.h"

#include <cstring>
#include <utility>

#include "base/heap.h"
#include "base/list_registry.h"
#include "base/lock.h"

namespace vexa::base {
namespace {

constinit const FactoryRecord* factoryChain = nullptr;
constinit CreateHookFunction createHook = nullptr;

StaticCriticalSection factoriesLock;
constinit ClassFactories factories;

void releaseList(const ClassFactoryList*& list) {
  const void* table = std::exchange(list, nullptr);
  if (table != nullptr && bound.root != nullptr) {
    bound.root->ReleaseInterface(&table);
  }
}

// One entry more; the old array stays valid on failure.
template <class Item>
bool growByOne(Item*& items, uint64_t count) {
  auto* grown = static_cast<Item*>(reallocate(items, (count + 1) * sizeof(Item)));
  if (grown == nullptr) {
    return false;
  }
  items = grown;
  return true;
}

bool isOwnName(const char* component) {
  const char* const name = registeredHostName();
  return *name != '\0' && std::strcmp(component, name) == 0;
}

}  // namespace

FactoryRecord::FactoryRecord(const char* component, const char* className, Creator create)
    : component_(component),
      className_(className),
      create_(create),
      next_(std::exchange(factoryChain, this)) {}

FactoryRecord::FactoryRecord(const char* component, CatchAllCreator create)
    : component_(component),
      className_(nullptr),
      createAny_(create),
      next_(std::exchange(factoryChain, this)) {}

int32_t FactoryRecord::Create(const char* component, const char* className, const Guid* id,
                              void** object) {
  for (const FactoryRecord* record = factoryChain; record != nullptr; record = record->next_) {
    if (component != nullptr && std::strcmp(component, record->component_) != 0) {
      continue;
    }
    if (record->className_ == nullptr) {
      const int32_t result = record->createAny_(className, id, object);
      if (result == kOk || result == kNoInterface) {
        return result;
      }
    } else if (std::strcmp(className, record->className_) == 0) {
      return record->create_(id, object);
    }
  }
  return kFail;
}

int32_t ClassFactories::Unload(uint32_t /*pass*/) {
  ScopedLock lock(factoriesLock);
  for (uint64_t i = count_; i-- > 0;) {
    if (bound.commonTypes) {
      bound.commonTypes->TextRelease(names_[i]);
    }
    names_[i] = nullptr;
    releaseList(factories_[i]);
  }
  freeBlock(std::exchange(names_, nullptr));
  freeBlock(std::exchange(factories_, nullptr));
  count_ = 0;
  return kOk;
}

const ClassFactoryList* ClassFactories::GetFactory(const char* component, bool keep) {
  ScopedLock lock(factoriesLock);
  if (const ClassFactoryList* kept = findKept(component); kept != nullptr) {
    return kept;
  }
  const void* table = nullptr;
  if (bound.root == nullptr ||
      bound.root->GetInterface(component, kClassFactoryListName, &table) != kOk) {
    return nullptr;
  }
  const auto* list = static_cast<const ClassFactoryList*>(table);
  if (keep && list != nullptr && !keepFactory(component, list)) {
    releaseList(list);
  }
  return list;
}

const ClassFactoryList* ClassFactories::findKept(const char* component) const {
  for (uint64_t i = 0; i < count_; ++i) {
    if (std::strcmp(names_[i], component) == 0) {
      return factories_[i];
    }
  }
  return nullptr;
}

bool ClassFactories::keepFactory(const char* component, const ClassFactoryList* list) {
  if (count_ == 0 && failed(RegisterSingleton(this, kReleaseLast))) {
    return false;
  }
  // Its result is a constant failure code.
  (void)list->SetCreateHook(RouteCreateInstance);
  if (!growByOne(names_, count_) || !growByOne(factories_, count_)) {
    return false;
  }
  char* const name = bound.commonTypes->TextDuplicate(component);
  if (name == nullptr) {
    return false;
  }
  names_[count_] = name;
  factories_[count_] = list;
  ++count_;
  return true;
}

bool ClassFactories::isKept(const ClassFactoryList* list) {
  ScopedLock lock(factoriesLock);
  for (uint64_t i = 0; i < count_; ++i) {
    if (factories_[i] == list) {
      return true;
    }
  }
  return false;
}

ClassFactories& classFactories() { return factories; }

int32_t CreateComponentInstance(const char* component, const char* className, const Guid* id,
                                void** object) {
  if (component != nullptr && createHook != nullptr) {
    return createHook(component, className, id, object);
  }
  if (object == nullptr) {
    return kNullPointer;
  }
  *object = nullptr;
  return className != nullptr ? FactoryRecord::Create(component, className, id, object)
                              : kInvalidArgument;
}

int32_t CreateInstance(const char* className, const Guid* id, void** object) {
  return CreateComponentInstance(nullptr, className, id, object);
}

int32_t SetCreateHook(CreateHookFunction hook) {
  createHook = hook;
  return kFail;
}

int32_t RouteCreateInstance(const char* component, const char* className, const Guid* id,
                            void** object) {
  if (component != nullptr && !isOwnName(component)) {
    const int32_t result = CreateComponentInstance(component, className, id, object);
    if (succeeded(result)) {
      return result;
    }
  }
  if (component == nullptr || className == nullptr) {
    return kInvalidArgument;
  }
  const bool keep = !isOwnName(component);
  const ClassFactoryList* list = factories.GetFactory(component, keep);
  if (list == nullptr) {
    return kFail;
  }
  const int32_t result = list->CreateInstance(className, id, object);
  // A list kept from before the component became the host is not ours to give back twice.
  if (!keep && !factories.isKept(list)) {
    releaseList(list);
  }
  return result;
}

}  // namespace vexa::base
