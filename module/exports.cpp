#include "base/module_entry.h"

// The two exports. On Windows the definition file names them, elsewhere the linker's version
// script.
extern "C" int32_t module_init(const vexa::runtime::RootList* root,
                               vexa::GetModuleInterfaceFunction* lookup) {
  return vexa::base::moduleInit(root, lookup);
}

extern "C" int32_t module_final() { return vexa::base::moduleFinal(); }
