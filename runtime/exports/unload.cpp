#include "runtime/heap.h"
#include "runtime/trace.h"

// A part of the library alone: a program that has the runtime inside ends as a whole.
namespace {

// When the library goes. Blocks that somebody still holds stay where they are.
[[gnu::destructor]] void unload() {
  vexa::velmora::closeTrace();
  vexa::velmora::closeHeap();
}

}  // namespace
