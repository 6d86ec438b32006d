#pragma once

#include "vexa/guid.h"
#include "vexa/module.h"
#include "vexa/runtime/slots.h"

namespace vexa {

inline constexpr char kClassFactoryListName[] = "ClassFactory.1";

// Creates an object of a class of another component. Same results as CreateInstance.
using CreateHookFunction = int32_t (*)(const char* component, const char* className,
                                       const Guid* interfaceId, void** object);

// The list "ClassFactory.1". Class names are compared exactly.
struct ClassFactoryList {
  GetModuleInfoFunction GetModuleInfo;
  // Creates an object, or finds the one instance of a singleton class, and hands out the asked
  // interface with one reference. interfaceId must not be null.
  //   kNullPointer      object is null.
  //   kInvalidArgument  className is null.
  //   kFail             no such class.
  //   other             the class's own result (kNoInterface, kOutOfMemory, ...).
  int32_t (*CreateInstance)(const char* className, const Guid* interfaceId, void** object);
  // Installs the function that serves creations which name a component. Always returns kFail,
  // also when it stored the hook: callers ignore the result.
  int32_t (*SetCreateHook)(CreateHookFunction hook);
};
template <>
struct ListTraits<ClassFactoryList> {
  static constexpr const char* kName = kClassFactoryListName;
  static constexpr ListSlot kSlots[] = {
      VEXA_LIST_SLOT(ClassFactoryList, GetModuleInfo, 0),
      VEXA_LIST_SLOT(ClassFactoryList, CreateInstance, 1),
      VEXA_LIST_SLOT(ClassFactoryList, SetCreateHook, 2),
  };
};
static_assert(namesEverySlot<ClassFactoryList>());

}  // namespace vexa
