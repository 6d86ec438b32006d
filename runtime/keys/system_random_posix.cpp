#include <sys/random.h>

#include <cerrno>

#include "runtime/keys/system_random.h"

namespace vexa::velmora {

bool systemRandom(uint8_t* out, size_t length) {
  while (length != 0) {
    const ssize_t drawn = getrandom(out, length, 0);
    if (drawn < 0 && errno != EINTR) {
      return false;
    }
    if (drawn > 0) {
      out += drawn;
      length -= static_cast<size_t>(drawn);
    }
  }
  return true;
}

}  // namespace vexa::velmora
