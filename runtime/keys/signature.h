#pragma once

#include "runtime/keys/key.h"

// Signatures of certificates: RSA (RFC 8017, PKCS#1 v1.5) and ECDSA on the NIST curves, with SHA-1
// or SHA-2.
namespace vexa::velmora {

enum class Verdict { kValid, kInvalid, kUnsupported };

// Whether `signature` over `data` was made with the private half of `key`. kUnsupported: an
// algorithm, a curve or a key size that is not known here.
Verdict verifySignature(const AlgorithmView& algorithm, ByteView data, ByteView signature,
                        const runtime::PublicKey& key);

}  // namespace vexa::velmora
