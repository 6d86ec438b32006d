#pragma once

#include "runtime/der/der_writer.h"
#include "runtime/pkcs12/password_key.h"

// Encryption of PKCS#12 by a password. Results are those of the derivation of the key.
namespace vexa::velmora {

// Writes the AlgorithmIdentifier, with a fresh salt, and appends the ciphertext to `out`.
int32_t passwordEncrypt(const PasswordScheme& scheme, const Password& password, uint32_t iterations,
                        ByteView plain, DerivationBudget& budget, DerWriter& algorithm, Bytes& out);

// `algorithm` is the content of the AlgorithmIdentifier. Appends the plaintext to `out`.
int32_t passwordDecrypt(ByteView algorithm, const Password& password, ByteView cipher,
                        DerivationBudget& budget, Bytes& out);

}  // namespace vexa::velmora
