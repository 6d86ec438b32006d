// What the C++ runtime wants of its surroundings when the module throws its one exception. The
// compiler's own versions take a thread-local variable and a mutex, and with these two a thread
// library comes into the module: at each load of the module that would keep an index for
// thread-local values and two handles, and put an exception handler before the process's own.
// Linked before the compiler's library, the functions here take their place. Their contract is the
// Itanium C++ ABI's (exception handling, 2.2.2 and 2.4.2).
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>

#include "base/heap.h"

namespace {

// In front of the thrown object the runtime keeps a header of its own; 128 bytes today. Rounded up,
// so that the object is aligned for every type.
constexpr size_t kHeaderRoom = 256;
static_assert(kHeaderRoom % alignof(std::max_align_t) == 0);

// The exception tells of missing memory, too: some may be thrown when the heap has none. More than
// these at a time end the process.
struct Reserve {
  std::atomic<bool> taken;
  alignas(std::max_align_t) uint8_t block[2 * kHeaderRoom];
};
constinit Reserve reserves[4] = {};

uint8_t* takeReserve(size_t size) {
  for (Reserve& reserve : reserves) {
    if (size <= sizeof(reserve.block) && !reserve.taken.exchange(true)) {
      return reserve.block;
    }
  }
  return nullptr;
}

// False: the block is none of them.
bool giveBackReserve(const uint8_t* block) {
  for (Reserve& reserve : reserves) {
    if (block == reserve.block) {
      reserve.taken = false;
      return true;
    }
  }
  return false;
}

// Exceptions that are caught, and how many are on their way. The module catches none, and nobody
// reads what is counted here: the host's runtime counts for itself.
struct Globals {
  void* caught;
  unsigned int uncaught;
};
constinit Globals globals = {};

}  // namespace

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the ABI's.
void* __cxa_allocate_exception(size_t size) noexcept;
void __cxa_free_exception(void* object) noexcept;
Globals* __cxa_get_globals() noexcept;
Globals* __cxa_get_globals_fast() noexcept;

void* __cxa_allocate_exception(size_t size) noexcept {
  auto* block = static_cast<uint8_t*>(vexa::base::processAllocate(kHeaderRoom + size));
  if (block == nullptr) {
    block = takeReserve(kHeaderRoom + size);
  }
  if (block == nullptr) {
    std::terminate();
  }
  std::memset(block, 0, kHeaderRoom);
  return block + kHeaderRoom;
}

void __cxa_free_exception(void* object) noexcept {
  uint8_t* const block = static_cast<uint8_t*>(object) - kHeaderRoom;
  if (!giveBackReserve(block)) {
    vexa::base::processFree(block);
  }
}

Globals* __cxa_get_globals() noexcept { return &globals; }
Globals* __cxa_get_globals_fast() noexcept { return &globals; }
// NOLINTEND(bugprone-reserved-identifier)
}
