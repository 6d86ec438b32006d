#pragma once

#include <array>
#include <optional>
#include <span>

#include "runtime/bytes.h"
#include "runtime/der/der_tags.h"

// Reading DER (X.690): every view stays inside the bytes that it was taken from.
namespace vexa::velmora {

struct DerElement {
  uint8_t tag;
  ByteView content;
  ByteView whole;  // tag and length included
};

// Walks the elements of one level. Definite, shortest lengths and tag numbers below 31 only.
class DerReader {
 public:
  explicit DerReader(ByteView bytes) : rest_(bytes) {}

  bool atEnd() const { return rest_.empty(); }
  bool nextIs(uint8_t tag) const { return !rest_.empty() && rest_[0] == tag; }
  // The next element, whatever its tag; nothing when there is none or it is malformed.
  std::optional<DerElement> takeAny();
  // The same, when the tag is the one asked for.
  std::optional<DerElement> take(uint8_t tag);

 private:
  ByteView rest_;
};

// The content of the one element with `tag` that `bytes` consist of.
std::optional<ByteView> derContent(ByteView bytes, uint8_t tag);

// Elements with these tags, one behind the other, when `bytes` consist of them and nothing else.
bool takeDerFields(ByteView bytes, std::span<const uint8_t> tags, std::span<DerElement> fields);
template <size_t kCount>
std::optional<std::array<DerElement, kCount>> derFields(ByteView bytes,
                                                        const uint8_t (&tags)[kCount]) {
  std::array<DerElement, kCount> fields;
  return takeDerFields(bytes, tags, fields) ? std::optional(fields) : std::nullopt;
}
// The same for the content of the one SEQUENCE that `bytes` consist of.
template <size_t kCount>
std::optional<std::array<DerElement, kCount>> derSequence(ByteView bytes,
                                                          const uint8_t (&tags)[kCount]) {
  const auto content = derContent(bytes, kSequence);
  return content ? derFields(*content, tags) : std::nullopt;
}

// An INTEGER of 0 to 2^31 - 1.
std::optional<uint32_t> derSmallInteger(ByteView content);
// An INTEGER as unsigned bytes without leading zeros (empty for 0); nothing when negative or empty.
std::optional<ByteView> derUnsigned(ByteView content);
// The bytes of a BIT STRING whose bits fill them.
std::optional<ByteView> derBitStringBytes(ByteView content);

}  // namespace vexa::velmora
