#pragma once

#include "runtime/pkcs12/password_derivation.h"
#include "vexa/runtime/pkcs12.h"

namespace vexa::velmora {

// Reads a PKCS#12 file (RFC 7292). Appends the bags in the order of the file; shrouded keys come
// decrypted. Bags other than keys and X.509 certificates are left out. `verified`: a MAC is there
// and fits; without one, nothing is decrypted and the file is refused. The list is only made on
// success. All derivations of the file together may take kMaxRounds.
int32_t decodePfx(ByteView pfx, const Password& password, runtime::BagNode** bags, bool& verified);

}  // namespace vexa::velmora
