#pragma once

#include <string_view>

#include "runtime/bytes.h"
#include "support/exact_bytes.h"

// Bytes that a test holds, as the runtime takes them.
namespace vexa::test {

inline velmora::ByteView viewOf(std::string_view bytes) {
  return {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
}
inline velmora::ByteView viewOf(const ExactBytes& bytes) { return {bytes.data(), bytes.size()}; }

}  // namespace vexa::test
