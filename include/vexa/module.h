#pragma once

#include <cstddef>
#include <cstdint>

#include "vexa/results.h"
#include "vexa/runtime/root_list.h"
#include "vexa/traits.h"

// How a host meets the module: two exports, and the lookup function that the first one hands out.
namespace vexa {

// Slot 0 of every offered function list. Each out pointer may be null. Stores the list's own name,
// the registered host name (null while none is registered) and an empty text; the texts belong to
// the module. Returns kOk.
using GetModuleInfoFunction = int32_t (*)(const char** listName, const char** hostName,
                                          const char** extra);

// Finds an offered function list by its exact name. Lists live as long as the module is loaded.
//   kOk                *list is the list.
//   kNullListArgument  listName or list is null.
//   kUnknownList       no such list, or hostName differs from the name registered by the first call
//                      that named a host. Only the first 32 characters of a host name count; a
//                      null or empty host name always passes.
using GetModuleInterfaceFunction = int32_t (*)(const char* hostName, const char* listName,
                                               const void** list);

// Export "module_init". `root`: the host's root function list, or null to let the module load
// velmora from its own directory (or from the sibling "lib" of a "bin"). `lookup` may be null; it
// is filled even when the call fails. Calls nest and must be serialised by the host; each call
// that got as far as binding needs its module_final, a call that failed to find velmora does not.
//   kOk           bound (again).
//   kFail         velmora, its export or one of the tables could not be had; or the call came out
//                 of the runtime in the middle of a start or an end, and needs no module_final.
//   kOutOfMemory  the module found none while it was loaded; no start of it succeeds then.
//   other         what SEC_PKCS12_1 answers that has no companion table.
using ModuleInitFunction = int32_t (*)(const runtime::RootList* root,
                                       GetModuleInterfaceFunction* lookup);

// Export "module_final". Always kOk; a call without its module_init, or in the middle of a start or
// an end, changes nothing. The last one releases the singletons and every bound table. What
// objects still held by the host hold then leaks; they can be released at any time, after another
// start too.
using ModuleFinalFunction = int32_t (*)();

inline constexpr char kModuleInitExport[] = "module_init";
inline constexpr char kModuleFinalExport[] = "module_final";

}  // namespace vexa
