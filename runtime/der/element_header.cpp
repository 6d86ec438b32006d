#include "runtime/der/element_header.h"

namespace vexa::velmora {
namespace {

constexpr uint8_t kHighTagNumber = 0x1F;
constexpr uint8_t kLongForm = 0x80;

}  // namespace

// identifier octet, then one length octet or a count and so many of them.
std::optional<ElementHeader> readElementHeader(ByteView bytes, LengthRules rules) {
  if (bytes.size() < 2 || (bytes[0] & kHighTagNumber) == kHighTagNumber) {
    return std::nullopt;
  }
  ElementHeader header{bytes[0], 2, bytes[1], false};
  if (bytes[1] == kLongForm) {
    if (rules == LengthRules::kDer || (header.tag & kConstructedBit) == 0) {
      return std::nullopt;
    }
    header.indefinite = true;
    header.contentLength = 0;
    return header;
  }
  if (bytes[1] > kLongForm) {
    const size_t count = bytes[1] & 0x7Fu;
    if (count > sizeof(uint32_t) || bytes.size() - 2 < count) {
      return std::nullopt;
    }
    size_t length = 0;
    for (size_t i = 0; i < count; ++i) {
      length = length << 8 | bytes[2 + i];
    }
    const bool shortest = length >= kLongForm && bytes[2] != 0;
    if (rules == LengthRules::kDer && !shortest) {
      return std::nullopt;
    }
    header.headerLength = 2 + count;
    header.contentLength = length;
  }
  if (bytes.size() - header.headerLength < header.contentLength) {
    return std::nullopt;
  }
  return header;
}

}  // namespace vexa::velmora
