#pragma once

#include "runtime/keys/key.h"
#include "runtime/keys/libgcrypt.h"

// Signatures of certificates: RSA (RFC 8017, PKCS#1 v1.5) and ECDSA on the NIST curves, with SHA-1
// or SHA-2.
namespace vexa::velmora {

enum class Verdict { kValid, kInvalid, kUnsupported };

// Whether `signature` over `data` was made with the private half of `key`. kUnsupported: an
// algorithm, a curve or a key size that is not known here.
Verdict verifySignature(const AlgorithmView& algorithm, ByteView data, ByteView signature,
                        const runtime::PublicKey& key);

inline constexpr KnownId kSha256WithRsa = "1.2.840.113549.1.1.11";

// Appends the RSA signature with SHA-256 over `data`. kInvalidArgument: not an RSA key.
int32_t signSha256WithRsa(const runtime::PrivateKeyMaterial& key, ByteView data, Bytes& signature);

// A new RSA key with its public half, exponent 65537. `bits`: 1024 to 16384.
int32_t generateRsaKey(uint32_t bits, runtime::KeyObject** out);

}  // namespace vexa::velmora
