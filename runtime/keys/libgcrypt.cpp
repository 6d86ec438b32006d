#include "runtime/keys/libgcrypt.h"

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "runtime/keys/library_heap.h"
#include "runtime/lock.h"

namespace vexa::velmora {
namespace {

// Warnings and worse go where libgcrypt's own handler writes them. Its notes, such as the one on
// disk statistics that each start on Windows brings, are for nobody here.
void logFromLibrary(void*, int level, const char* format, va_list arguments) {
  if (level >= GCRY_LOG_WARN && level != GCRY_LOG_DEBUG) {
    std::vfprintf(stderr, format, arguments);
    std::fflush(stderr);  // after the worst it aborts
  }
}

// A block of libgcrypt's, with its size in front so that it can be wiped.
struct alignas(std::max_align_t) BlockHeader {
  size_t size;
};

BlockHeader* headerOf(void* block) { return static_cast<BlockHeader*>(block) - 1; }

void* allocateForLibrary(size_t size) {
  if (size > SIZE_MAX - sizeof(BlockHeader)) {
    return nullptr;
  }
  auto* const header =
      static_cast<BlockHeader*>(library_heap::allocate(sizeof(BlockHeader) + size));
  if (header == nullptr) {
    return nullptr;
  }
  header->size = size;
  return header + 1;
}

void freeForLibrary(void* block) {
  if (block != nullptr) {
    wipe(block, headerOf(block)->size);
    library_heap::free(headerOf(block));
  }
}

void* reallocateForLibrary(void* block, size_t size) {
  void* const moved = allocateForLibrary(size);
  if (moved != nullptr && block != nullptr) {
    std::memcpy(moved, block, std::min(size, headerOf(block)->size));
    freeForLibrary(block);
  }
  return moved;
}

// All blocks are treated alike, so none is "secure" in libgcrypt's sense.
int isSecureForLibrary(const void*) { return 0; }

Lock startLock;
bool isTried = false;
bool isReady = false;

bool start() {
  if (gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P)) {
    return true;
  }
  // Random bytes come from the system alone: no pool is kept, in which what became a key would
  // stay, and nothing is gathered. Heard only before everything else.
  gcry_control(GCRYCTL_SET_PREFERRED_RNG_TYPE, GCRY_RNG_TYPE_SYSTEM);
  // Next: a block that came from elsewhere could not be given back.
  gcry_set_allocation_handler(allocateForLibrary, allocateForLibrary, isSecureForLibrary,
                              reallocateForLibrary, freeForLibrary);
  if (gcry_check_version("1.8.0") == nullptr) {
    return false;
  }
  gcry_set_log_handler(logFromLibrary, nullptr);
  gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
  gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
  return true;
}

}  // namespace

bool libraryReady() {
  const std::lock_guard guard(startLock);
  if (!isTried) {
    isTried = true;
    isReady = start();
  }
  return isReady;
}

CipherHandle openCipher(int algorithm, int mode, ByteView key) {
  if (!libraryReady()) {
    return {};
  }
  CipherHandle handle;
  if (gcry_cipher_open(handle.put(), algorithm, mode, 0) != 0) {
    return {};
  }
  // The keys of old PKCS#12 files are derived, not chosen: a weak one must open its file too.
  static_cast<void>(gcry_cipher_ctl(handle.get(), GCRYCTL_SET_ALLOW_WEAK_KEY, nullptr, 1));
  const gcry_error_t set = gcry_cipher_setkey(handle.get(), key.data(), key.size());
  if (set != 0 && gcry_err_code(set) != GPG_ERR_WEAK_KEY) {
    return {};
  }
  return handle;
}

bool hmac(int algorithm, ByteView key, ByteView data, uint8_t* digest) {
  if (!libraryReady()) {
    return false;
  }
  DigestHandle handle;
  if (gcry_md_open(handle.put(), algorithm, GCRY_MD_FLAG_HMAC) != 0) {
    return false;
  }
  if (gcry_md_setkey(handle.get(), key.data(), key.size()) != 0) {
    return false;
  }
  gcry_md_write(handle.get(), data.data(), data.size());
  const uint8_t* result = gcry_md_read(handle.get(), algorithm);
  if (result == nullptr) {
    return false;
  }
  std::memcpy(digest, result, gcry_md_get_algo_dlen(algorithm));
  return true;
}

}  // namespace vexa::velmora

#if defined(_WIN32)
// What libgcrypt takes before it hears of these functions, its constant numbers: the linker leads
// that call here (--wrap, see cmake/Crypto.cmake).
extern "C" void* __wrap__gcry_private_malloc(size_t size) {
  return vexa::velmora::allocateForLibrary(size);
}
#endif
