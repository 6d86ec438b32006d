#pragma once

#include <cstdint>

#include "base/root_vector.h"
#include "base/unload_registry.h"
#include "vexa/class_factory.h"

// The creatable classes, each described by one static record; and the way to the classes of other
// components.
namespace vexa::base {

// One creatable class, or (without a class name) a creator asked for every name.
class FactoryRecord {
 public:
  using Creator = int32_t (*)(const Guid* id, void** object);
  using CatchAllCreator = int32_t (*)(const char* className, const Guid* id, void** object);

  FactoryRecord(const char* component, const char* className, Creator create);
  FactoryRecord(const char* component, CatchAllCreator create);
  FactoryRecord(const FactoryRecord&) = delete;
  FactoryRecord& operator=(const FactoryRecord&) = delete;

  // Searches the chain from the record constructed last; see ClassFactoryList::CreateInstance. A
  // catch-all creator, of which the module has none yet, ends the search with kOk or kNoInterface
  // only. `component` null: any.
  static int32_t Create(const char* component, const char* className, const Guid* id,
                        void** object);

 private:
  const char* component_;
  const char* className_;  // null: catch-all
  union {
    Creator create_;
    CatchAllCreator createAny_;
  };
  const FactoryRecord* next_;
};

// Owns the "ClassFactory.1" list of another component.
struct FactoryListPolicy : PointerPolicy<const ClassFactoryList> {
  static void release(const ClassFactoryList* list) {
    const void* table = list;
    bound.root->ReleaseInterface(&table);
  }
};
using FactoryList = Holder<FactoryListPolicy>;

// The "ClassFactory.1" lists of other components, by component name, kept until the last
// module_final. One lock guards all of it.
class ClassFactories : public ISingleton {
 public:
  int32_t Load() override { return kOk; }
  // Releases every kept list, last one first.
  int32_t Unload(uint32_t pass) override;
  // The component's list, or null. With `keep` it is kept, and creations that the component routes
  // back are served; without, the caller releases it through ReleaseInterface.
  virtual const ClassFactoryList* GetFactory(const char* component, bool keep);

  // True when the list is one of those kept.
  bool isKept(const ClassFactoryList* list);
  uint64_t count() const { return lists_.size(); }

 private:
  const ClassFactoryList* findKept(const char* component) const;
  const ClassFactoryList* keepFactory(const char* component, FactoryList list);

  RootVector<CommonText> names_;
  RootVector<FactoryList> lists_;  // parallel to names_
};

ClassFactories& classFactories();

// Slots 1 and 2 of "ClassFactory.1", and the search with a component named.
int32_t CreateInstance(const char* className, const Guid* id, void** object);
int32_t SetCreateHook(CreateHookFunction hook);
int32_t CreateComponentInstance(const char* component, const char* className, const Guid* id,
                                void** object);
// Routes a creation that names a component: to this module's own classes first, unless it names
// the host under which this module is registered, then to the component's list.
int32_t RouteCreateInstance(const char* component, const char* className, const Guid* id,
                            void** object);

}  // namespace vexa::base
