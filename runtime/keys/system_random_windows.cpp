#include <windows.h>
// After windows.h.
#include <ntsecapi.h>

#include <algorithm>
#include <cstdlib>

#include "runtime/keys/system_random.h"

namespace vexa::velmora {
namespace {

// A system may keep the bytes that it gave last, as Wine does in a buffer of advapi32: those that
// became a key make room for some that nobody uses.
void forgetLastBytes() {
  uint8_t unused[256];
  static_cast<void>(RtlGenRandom(unused, sizeof(unused)));
}

}  // namespace

bool systemRandom(uint8_t* out, size_t length) {
  constexpr size_t kMost = size_t{1} << 30;
  while (length != 0) {
    const size_t part = std::min(length, kMost);
    if (!RtlGenRandom(out, static_cast<ULONG>(part))) {
      return false;
    }
    out += part;
    length -= part;
  }
  forgetLastBytes();
  return true;
}

}  // namespace vexa::velmora

// What libgcrypt's own gatherer would do (walk processes, heaps and windows, 40 ms in each process)
// the linker replaces by these two (--wrap, see cmake/Crypto.cmake), so that its keys and primes
// come from the system's generator, too.
using AddBytes = void (*)(const void* bytes, size_t length, int origin);

extern "C" int __wrap__gcry_rndw32_gather_random(AddBytes add, int origin, size_t length,
                                                 int /*level*/) {
  uint8_t bytes[256];
  while (length != 0) {
    const size_t part = std::min(length, sizeof(bytes));
    if (!vexa::velmora::systemRandom(bytes, part)) {
      std::abort();  // libgcrypt knows no failure here, and nothing may go on without
    }
    add(bytes, part, origin);
    length -= part;
  }
  SecureZeroMemory(bytes, sizeof(bytes));
  return 0;
}

// Quick additions to a pool, which a pool of the system's bytes does not need.
extern "C" void __wrap__gcry_rndw32_gather_random_fast(AddBytes /*add*/, int /*origin*/) {}
