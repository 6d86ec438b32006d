#include "vexa/runtime/reference.h"

#include <gcrypt.h>

#include "runtime/exports/registry.h"
#include "runtime/heap.h"
#include "vexa/results.h"

int32_t quorix_get_f_list(uint64_t, uint64_t, const vexa::runtime::RootList** out, uint64_t,
                          const char* /*options*/, uint64_t) {
  if (out == nullptr) {
    return vexa::kNullPointer;
  }
  *out = &vexa::velmora::rootList;
  return vexa::kOk;
}

const char* velmora_version() { return "velmora " VEXA_VERSION ", libgcrypt " GCRYPT_VERSION; }

uint64_t velmora_live_blocks() { return vexa::velmora::liveBlocks(); }

void velmora_watch_heap(uint32_t watch) { vexa::velmora::setWatchful(watch != 0); }

uint64_t velmora_heap_errors() { return vexa::velmora::heapErrors(); }

int64_t velmora_bound_interfaces() { return vexa::velmora::boundInterfaces(); }
