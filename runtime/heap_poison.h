#pragma once

#include <cstdint>

#if defined(__SANITIZE_ADDRESS__)
#define VELMORA_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELMORA_ADDRESS_SANITIZER 1
#endif
#endif

#if defined(VELMORA_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#endif

// Tells AddressSanitizer which bytes of a block that the heap keeps or rounds up may be touched.
namespace vexa::velmora {

#if defined(VELMORA_ADDRESS_SANITIZER)

inline constexpr bool kUnderAddressSanitizer = true;
inline void forbidBytes(const void* bytes, uint64_t count) {
  __asan_poison_memory_region(bytes, count);
}
inline void allowBytes(const void* bytes, uint64_t count) {
  __asan_unpoison_memory_region(bytes, count);
}

#else

inline constexpr bool kUnderAddressSanitizer = false;
inline void forbidBytes(const void*, uint64_t) {}
inline void allowBytes(const void*, uint64_t) {}

#endif

}  // namespace vexa::velmora
