#include "base/class_registry.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/list_registry.h"
#include "base/lock.h"
#include "base/never_destroyed.h"

namespace vexa::base {
namespace {

constinit const FactoryRecord* factoryChain = nullptr;
constinit CreateHookFunction createHook = nullptr;

StaticCriticalSection factoriesLock;
constinit NeverDestroyed<ClassFactories> factories;

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
  while (!lists_.empty()) {
    names_.pop();
    lists_.pop();
  }
  names_.clear();
  lists_.clear();
  return kOk;
}

const ClassFactoryList* ClassFactories::GetFactory(const char* component, bool keep) {
  ScopedLock lock(factoriesLock);
  if (const ClassFactoryList* kept = findKept(component); kept != nullptr) {
    return kept;
  }
  const void* table = nullptr;
  if (bound.root->GetInterface(component, kClassFactoryListName, &table) != kOk) {
    return nullptr;
  }
  FactoryList list(static_cast<const ClassFactoryList*>(table));
  return keep && list ? keepFactory(component, std::move(list)) : list.release();
}

const ClassFactoryList* ClassFactories::findKept(const char* component) const {
  for (uint64_t i = 0; i < lists_.size(); ++i) {
    if (std::strcmp(names_[i].get(), component) == 0) {
      return lists_[i].get();
    }
  }
  return nullptr;
}

const ClassFactoryList* ClassFactories::keepFactory(const char* component, FactoryList list) {
  if (lists_.empty() && failed(RegisterSingleton(this, kReleaseLast))) {
    return nullptr;
  }
  // Its result is a constant failure code.
  (void)list->SetCreateHook(RouteCreateInstance);
  if (failed(names_.reserve(lists_.size() + 1)) || failed(lists_.reserve(lists_.size() + 1))) {
    return nullptr;
  }
  CommonText name(bound.commonTypes->TextDuplicate(component));
  if (!name) {
    return nullptr;
  }
  // There is room for both.
  (void)names_.append(std::move(name));
  (void)lists_.append(std::move(list));
  return lists_.back().get();
}

bool ClassFactories::isKept(const ClassFactoryList* list) {
  ScopedLock lock(factoriesLock);
  return std::any_of(lists_.begin(), lists_.end(),
                     [list](const FactoryList& kept) { return kept.get() == list; });
}

ClassFactories& classFactories() { return factories.value; }

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
  FactoryList list(classFactories().GetFactory(component, keep));
  if (!list) {
    return kFail;
  }
  const int32_t result = list->CreateInstance(className, id, object);
  // A list kept from before the component became the host is not ours to give back twice.
  if (keep || classFactories().isKept(list.get())) {
    (void)list.release();
  }
  return result;
}

}  // namespace vexa::base
