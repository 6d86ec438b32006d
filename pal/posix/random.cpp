#include "pal/posix/random.h"

#include <sys/random.h>

#include <cerrno>
#include <cstddef>

BOOLEAN WINAPI RtlGenRandom(PVOID bytes, ULONG length) {
  auto* out = static_cast<char*>(bytes);
  for (std::size_t rest = length; rest != 0;) {
    const ssize_t drawn = getrandom(out, rest, 0);
    if (drawn < 0 && errno != EINTR) {
      return FALSE;
    }
    if (drawn > 0) {
      out += drawn;
      rest -= static_cast<std::size_t>(drawn);
    }
  }
  return TRUE;
}
