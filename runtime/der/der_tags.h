#pragma once

#include <cstdint>

// Identifier octets of DER (X.690, 8.1.2).
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

}  // namespace vexa::velmora
