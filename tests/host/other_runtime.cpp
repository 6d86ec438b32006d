#include <dlfcn.h>

#include <cstdlib>

#include "vexa/results.h"
#include "vexa/runtime/reference.h"
#include "vexa/runtime/reference_crypto.h"

// A runtime as another maker has it: every table, by the one export that all have, and of the
// functions that the reference runtime adds but one, which is of no use alone. VEXA_REFERENCE names
// the library behind it.
extern "C" __attribute__((visibility("default"))) int32_t quorix_get_f_list(
    uint64_t first, uint64_t second, const vexa::runtime::RootList** out, uint64_t fourth,
    const char* options, uint64_t sixth) {
  const char* const file = std::getenv("VEXA_REFERENCE");
  void* const library = file == nullptr ? nullptr : dlopen(file, RTLD_NOW | RTLD_LOCAL);
  void* const symbol = library == nullptr ? nullptr : dlsym(library, "quorix_get_f_list");
  return symbol == nullptr ? vexa::kFail
                           : reinterpret_cast<decltype(&quorix_get_f_list)>(symbol)(
                                 first, second, out, fourth, options, sixth);
}

extern "C" __attribute__((visibility("default"))) int32_t velmora_pse_configure(
    const char* /*file*/, const char* /*password*/) {
  return vexa::kOk;
}
