#pragma once

#include "vexa/runtime/slots.h"

namespace vexa::runtime {

// The root function list: heap and access to every other table. Owned by whoever supplied it.
// Allocate, Reallocate and Free may be called from any thread at any time.
//
// No function of a runtime, of whatever table, may throw or unload the library that holds it: the
// module catches nothing, and returns into that library. None that is declared here or in another
// table may be null. Module starts and ends that such a function calls for are refused while the
// module starts or ends.
struct RootList {
  // Gives the whole list back. Called only by whoever obtained it through GetRootListFunction.
  void (*ReleaseRoot)(const RootList* self);
  Reserved reserved1;
  // Fills *table and returns 0; every other value, positive ones too, means that *table stayed
  // null. `component`: null for the crypto runtime, else a component name such as "vexastring".
  int32_t (*GetInterface)(const char* component, const char* interfaceName, const void** table);
  // Gives a table back and sets *table to null.
  void (*ReleaseInterface)(const void** table);
  Reserved reserved4;
  Reserved reserved5;
  // A zero-filled block, or null. Size 0 gives a block too.
  void* (*Allocate)(uint64_t size);
  Reserved reserved7;
  // Content kept, growth not cleared. A null block is allocated. On failure null, and the old
  // block stays valid.
  void* (*Reallocate)(void* block, uint64_t size);
  // Null is ignored. Releases every block that the runtime handed out, but for texts that
  // TextDuplicate of SEC_COMMONTYPES_1 made.
  void (*Free)(void* block);
};
VEXA_FIXED_SLOT(RootList, ReleaseRoot, 0);
VEXA_FIXED_SLOT(RootList, GetInterface, 2);
VEXA_FIXED_SLOT(RootList, ReleaseInterface, 3);
VEXA_FIXED_SLOT(RootList, Allocate, 6);
VEXA_FIXED_SLOT(RootList, Reallocate, 8);
VEXA_FIXED_SLOT(RootList, Free, 9);

// Export "quorix_get_f_list" of velmora. The module calls it with (0, 0, out, 0, "", 0) and looks
// only at *out.
using GetRootListFunction = int32_t (*)(uint64_t, uint64_t, const RootList** out, uint64_t,
                                        const char* options, uint64_t);
inline constexpr char kGetRootListExport[] = "quorix_get_f_list";

}  // namespace vexa::runtime
