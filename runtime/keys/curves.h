#pragma once

#include "runtime/der/object_id.h"

// The curves of RFC 5480 that are known here.
namespace vexa::velmora {

inline constexpr KnownId kEcPublicKey = "1.2.840.10045.2.1";

struct Curve {
  KnownId objectId;
  const char* name;         // NIST's
  const char* libraryName;  // libgcrypt's
  size_t orderBytes;        // also those of a coordinate
};
inline constexpr Curve kCurves[] = {
    {"1.2.840.10045.3.1.7", "P-256", "NIST P-256", 32},
    {"1.3.132.0.34", "P-384", "NIST P-384", 48},
    {"1.3.132.0.35", "P-521", "NIST P-521", 66},
};

// Null: not known.
inline const Curve* findCurve(ByteView objectId) { return findByObjectId(kCurves, objectId); }
inline const Curve* findCurve(std::string_view name) {
  for (const Curve& curve : kCurves) {
    if (name == curve.name) {
      return &curve;
    }
  }
  return nullptr;
}

}  // namespace vexa::velmora
