#pragma once

#include <optional>

#include "runtime/keys/curves.h"
#include "runtime/keys/key.h"

// Private keys on curves: ECPrivateKey (RFC 5915).
namespace vexa::velmora {

struct EcPrivateNumbers {
  ByteView secret;  // big endian, as long as the order of the curve
  ByteView curve;   // object identifier; empty when the encoding leaves it to the algorithm
  ByteView point;   // uncompressed; empty when the encoding leaves it out
};
std::optional<EcPrivateNumbers> readEcPrivateKey(ByteView der);

// The curve that the parameters of an algorithm name; null: none or unknown.
const Curve* curveOf(const runtime::AlgorithmId& algorithm);

// Appends the ECPrivateKey of a secret and its point.
void writeEcPrivateKey(const Curve& curve, ByteView secret, ByteView point, Bytes& out);

// Appends the uncompressed point of a secret. kInvalidArgument: the secret is out of range.
int32_t appendPoint(const Curve& curve, ByteView secret, Bytes& out);

}  // namespace vexa::velmora
