#pragma once

#include <optional>

#include "runtime/crypto/bytes.h"

// Reading DER (X.690): every view stays inside the bytes that it was taken from.
namespace vexa::velmora {

enum DerTag : uint8_t {
  kBoolean = 0x01,
  kInteger = 0x02,
  kBitString = 0x03,
  kOctetString = 0x04,
  kNull = 0x05,
  kObjectId = 0x06,
  kUtf8String = 0x0C,
  kNumericString = 0x12,
  kPrintableString = 0x13,
  kTeletexString = 0x14,
  kIa5String = 0x16,
  kUtcTime = 0x17,
  kGeneralizedTime = 0x18,
  kVisibleString = 0x1A,
  kUniversalString = 0x1C,
  kBmpString = 0x1E,
  kSequence = 0x30,
  kSet = 0x31,
};
constexpr uint8_t contextTag(uint8_t number, bool constructed) {
  return static_cast<uint8_t>(0x80 | (constructed ? 0x20 : 0) | number);
}

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

// An INTEGER of 0 to 2^31 - 1.
std::optional<uint32_t> derSmallInteger(ByteView content);
// An INTEGER as unsigned bytes without leading zeros (empty for 0); nothing when negative or empty.
std::optional<ByteView> derUnsigned(ByteView content);
// The bytes of a BIT STRING whose bits fill them.
std::optional<ByteView> derBitStringBytes(ByteView content);

// Rewrites BER with indefinite lengths and strings in pieces, as streaming writers of PKCS#12 files
// leave it, into DER lengths. Appends to `out`; false when malformed or nested too deeply.
bool derFromBer(ByteView ber, Bytes& out);

}  // namespace vexa::velmora
