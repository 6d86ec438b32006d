#pragma once

#include "runtime/der/der_writer.h"
#include "runtime/keys/key.h"

// What private keys are for: RSA (RFC 8017, PKCS#1 v1.5) and ECDSA on the known curves, with
// SHA-256.
namespace vexa::velmora {

// Whether it is an RSA key or one on a known curve.
bool canSign(const runtime::PrivateKeyMaterial& key);

// Sets a public key to the other half of a private one. kInvalidArgument: not a key that can sign.
int32_t assignPublicHalf(const runtime::PrivateKeyMaterial& key, runtime::PublicKey* target);

// A key object with both halves, from the bytes of the private one. kInvalidArgument: see above.
int32_t makeKeyPair(const AlgorithmView& algorithm, const Bytes& privateBytes,
                    runtime::KeyObject** out);

// Whether the two belong together. kFail: no.
int32_t checkPair(const runtime::PrivateKeyMaterial& key, const runtime::PublicKey& publicKey);

// The AlgorithmIdentifier of what signSha256 makes with this key.
void writeSignatureAlgorithm(const runtime::PrivateKeyMaterial& key, DerWriter& writer);

// Appends the signature over `data`. kInvalidArgument: not a key that can sign.
int32_t signSha256(const runtime::PrivateKeyMaterial& key, ByteView data, Bytes& signature);

}  // namespace vexa::velmora
