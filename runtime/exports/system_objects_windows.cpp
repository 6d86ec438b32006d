#include <atomic>

#include "runtime/exports/system_objects.h"
#include "runtime/keys/library_heap.h"
#include "runtime/lock.h"

// The linker leads the calls of these functions in this image here (--wrap, see
// cmake/Crypto.cmake). libgpg-error takes a place for values of threads and two critical sections
// when it is loaded, and as a static library never gives them back; the thread library under the
// C++ library would do the same.
using TlsAllocFunction = decltype(&TlsAlloc);
using TlsFreeFunction = decltype(&TlsFree);
using SectionFunction = decltype(&InitializeCriticalSection);
extern "C" const TlsAllocFunction __real___imp_TlsAlloc;
extern "C" const TlsFreeFunction __real___imp_TlsFree;
extern "C" const SectionFunction __real___imp_InitializeCriticalSection;
extern "C" const SectionFunction __real___imp_DeleteCriticalSection;

namespace vexa::velmora {
namespace {

// What is taken and not yet given back. Beyond kMost something is not noted, and stays with the
// process.
template <class T>
class Taken {
 public:
  void note(T object) { replace(T{}, object); }
  void forget(T object) { replace(object, T{}); }

  template <class Function>
  void giveBack(Function function) {
    for (std::atomic<T>& entry : entries_) {
      if (const T object = entry.exchange(T{})) {
        function(object);
      }
    }
  }

 private:
  static constexpr size_t kMost = 16;

  void replace(T from, T to) {
    for (std::atomic<T>& entry : entries_) {
      T expected = from;
      if (entry.compare_exchange_strong(expected, to)) {
        return;
      }
    }
  }

  std::atomic<T> entries_[kMost]{};
};

constinit Taken<DWORD> places;  // one more than the place
constinit Taken<CRITICAL_SECTION*> sections;

DWORD WINAPI takePlace() {
  const DWORD place = __real___imp_TlsAlloc();
  if (place != TLS_OUT_OF_INDEXES) {
    places.note(place + 1);
  }
  return place;
}

BOOL WINAPI givePlaceBack(DWORD place) {
  places.forget(place + 1);
  return __real___imp_TlsFree(place);
}

void WINAPI startSection(CRITICAL_SECTION* section) {
  __real___imp_InitializeCriticalSection(section);
  sections.note(section);
}

void WINAPI endSection(CRITICAL_SECTION* section) {
  sections.forget(section);
  __real___imp_DeleteCriticalSection(section);
}

}  // namespace

void giveBackSystemObjects() {
  sections.giveBack([](CRITICAL_SECTION* section) { __real___imp_DeleteCriticalSection(section); });
  places.giveBack([](DWORD number) { __real___imp_TlsFree(number - 1); });
  library_heap::close();
}

}  // namespace vexa::velmora

extern "C" const TlsAllocFunction __wrap___imp_TlsAlloc = vexa::velmora::takePlace;
extern "C" const TlsFreeFunction __wrap___imp_TlsFree = vexa::velmora::givePlaceBack;
extern "C" const SectionFunction __wrap___imp_InitializeCriticalSection =
    vexa::velmora::startSection;
extern "C" const SectionFunction __wrap___imp_DeleteCriticalSection = vexa::velmora::endSection;

// When it is loaded, libgpg-error would also look for translated messages in a folder beside the
// program's, and keep what it found out. Nobody here asks for its messages.
extern "C" char* __wrap__gpg_w32_bindtextdomain(const char* /*domain*/, const char* /*folder*/) {
  return nullptr;
}
