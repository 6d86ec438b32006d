#pragma once

#include <optional>

#include "runtime/bytes.h"

// The identifier and length octets at the front of an element (X.690, 8.1.2 and 8.1.3).
namespace vexa::velmora {

inline constexpr uint8_t kConstructedBit = 0x20;

struct ElementHeader {
  uint8_t tag;
  size_t headerLength;
  size_t contentLength;  // 0 when indefinite
  bool indefinite;
};

// DER: definite and shortest lengths only. BER: any.
enum class LengthRules { kDer, kBer };

// Nothing when malformed, with a tag number above 30, or when `bytes` end before the content.
std::optional<ElementHeader> readElementHeader(ByteView bytes, LengthRules rules);

}  // namespace vexa::velmora
