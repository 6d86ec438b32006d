#pragma once

#include <cstdint>

#include "vexa/runtime/root_list.h"

// What the reference runtime exports beside the tables. A host finds these functions by name in the
// loaded velmora, with the type of the declaration:
//   auto* setTrace = reinterpret_cast<decltype(&velmora_set_trace)>(
//       GetProcAddress(velmora, "velmora_set_trace"));
// Another runtime has none of them, so a host must do without. Any thread may call any of them.

#if defined(_WIN32)
#define VELMORA_EXPORT __declspec(dllexport)
#else
#define VELMORA_EXPORT __attribute__((visibility("default")))
#endif

extern "C" {

// Takes one message of the trace.
using velmora_trace_collector = void (*)(void* context, uint32_t level, const char* source,
                                         const char* text);

// The root list (vexa/runtime/root_list.h). Returns 0 and fills *out; kNullPointer for a null out.
VELMORA_EXPORT int32_t quorix_get_f_list(uint64_t, uint64_t, const vexa::runtime::RootList** out,
                                         uint64_t, const char* options, uint64_t);

// "velmora 1.0.0, libgcrypt 1.10.1": the runtime and the library it stands on. Lives as long as the
// runtime.
VELMORA_EXPORT const char* velmora_version();

// What SEC_NOTIFY_1 writes, and where to. `level`: 0 nothing (as it begins), 1 errors to 5 details,
// for every source without a level of its own. `path`: a file, created or appended to; null for the
// standard error. A message is one line there: control characters, marks that turn the direction of
// writing and what is no UTF-8 are written as "\x1B" or "\u202E". Returns 0, or kFail when the file
// cannot be opened; nothing changes then.
VELMORA_EXPORT int32_t velmora_set_trace(uint32_t level, const char* path);
// A level of its own for one source. Returns 0, kNullPointer or kOutOfMemory.
VELMORA_EXPORT int32_t velmora_set_source_level(const char* source, uint32_t level);
// Forgets the levels of single sources.
VELMORA_EXPORT void velmora_clear_source_levels();
// From now on messages of the calling thread up to `level` are given to `collect`, too, which must
// not trace itself; null ends it. One thread at a time. Returns 0, or kFail while another collects.
VELMORA_EXPORT int32_t velmora_collect_trace(uint32_t level, velmora_trace_collector collect,
                                             void* context);

// Blocks of the root heap that are alive: what the runtime handed out or holds for its objects.
VELMORA_EXPORT uint64_t velmora_live_blocks();
// Wrong releases so far: a foreign block, a block released twice, a text given to the wrong release
// function. Each is also written to the standard error.
VELMORA_EXPORT uint64_t velmora_heap_errors();
// Not 0: the heap watches out from now on. It then makes mistakes show: a reallocation always moves
// the block and fills what it adds with 0xCC, a released block is filled with 0xDD and goes back to
// the system, where a memory checker sees it. Slower; 0, as it begins, ends it.
VELMORA_EXPORT void velmora_watch_heap(uint32_t watch);
// Tables handed out by GetInterface and not given back by ReleaseInterface.
VELMORA_EXPORT int64_t velmora_bound_interfaces();

}  // extern "C"
