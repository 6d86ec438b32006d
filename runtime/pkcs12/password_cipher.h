#pragma once

#include <string_view>

#include "runtime/der/der_writer.h"
#include "runtime/pkcs12/password_derivation.h"

// Password-based encryption and authentication of PKCS#12: the six schemes of RFC 7292, appendix C,
// and PBES2 with PBKDF2 (RFC 8018, 6.2). Results are those of the derivation, and kNotImplemented
// for an algorithm that is not known.
namespace vexa::velmora {

struct PasswordScheme;
// By its name in a parameter record ("pbeWithSHA1And128BitRC4"); null when not known.
const PasswordScheme* findPasswordScheme(std::string_view name);

// Writes the AlgorithmIdentifier, with a fresh salt, and appends the ciphertext to `out`.
int32_t passwordEncrypt(const PasswordScheme& scheme, const Password& password, uint32_t iterations,
                        ByteView plain, DerivationBudget& budget, DerWriter& algorithm, Bytes& out);

// `algorithm` is the content of the AlgorithmIdentifier. Appends the plaintext to `out`.
int32_t passwordDecrypt(ByteView algorithm, const Password& password, ByteView cipher,
                        DerivationBudget& budget, Bytes& out);

struct MacDigest {
  const char* name;  // in a parameter record
  KnownId objectId;
  int digest;
};
const MacDigest* findMacDigest(std::string_view name);
// `algorithm` is the content of the AlgorithmIdentifier.
const MacDigest* findMacDigestByAlgorithm(ByteView algorithm);

// HMAC (RFC 7292, 4 and appendix B.4). Appends the code to `out`.
int32_t passwordMac(const MacDigest& digest, const DerivationInput& input, ByteView data,
                    DerivationBudget& budget, Bytes& out);

}  // namespace vexa::velmora
