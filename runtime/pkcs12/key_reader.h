#pragma once

#include "runtime/pkcs12/password_derivation.h"

namespace vexa::velmora {

// Reads the DER of a private key: RSAPrivateKey (RFC 8017), ECPrivateKey (RFC 5915), PrivateKeyInfo
// (RFC 5958) or, with `password`, EncryptedPrivateKeyInfo. Both halves are set. kAccessDenied: the
// password is wrong or missing. kNotImplemented: an encryption or a kind of key that is not known.
// kInvalidArgument: not a private key. `reason` becomes a text that says why.
int32_t readPrivateKey(ByteView der, const Password& password, runtime::KeyObject** out,
                       const char*& reason);

}  // namespace vexa::velmora
