#include "runtime/heap.h"
#include "runtime/trace.h"

#if defined(_WIN32)
#include <cstdlib>

#include "runtime/exports/system_objects.h"

// Of the C++ library, which is a part of this one there: the block that is kept for exceptions
// thrown when memory is short.
namespace __gnu_cxx {
void __freeres();  // NOLINT(bugprone-reserved-identifier)
}
#endif

// A part of the library alone: a program that has the runtime inside ends as a whole.
namespace {

// When the library goes. Blocks that somebody still holds stay where they are.
[[gnu::destructor]] void unload() {
  vexa::velmora::closeTrace();
  vexa::velmora::closeHeap();
#if defined(_WIN32)
  __gnu_cxx::__freeres();
#endif
}

#if defined(_WIN32)
// Asked for before any library inside asks for its own end, and therefore called after all of them.
[[gnu::constructor(101)]] void load() { std::atexit(vexa::velmora::giveBackSystemObjects); }
#endif

}  // namespace
