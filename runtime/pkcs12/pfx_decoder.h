#pragma once

#include "runtime/pkcs12/password_derivation.h"
#include "vexa/runtime/pkcs12.h"

namespace vexa::velmora {

// Reads a PKCS#12 file (RFC 7292). Appends the bags in the order of the file; shrouded keys come
// decrypted. Bags other than keys and X.509 certificates are left out. `verified`: a MAC is there
// and fits; without one, nothing is decrypted and the file is refused. The list is only made on
// success. All derivations of the file together may take kMaxRounds, and all that is read of it at
// most 24 bytes of memory for each byte of the file, and 4 KiB.
int32_t decodePfx(ByteView pfx, const Password& password, runtime::BagNode** bags, bool& verified);

// What stands in the way of reading a file, found by reading it.
enum class PfxProblem {
  kNone,
  kNotPfx,       // no PKCS#12 file of version 3
  kDamaged,      // it begins as one, and does not go on as one
  kNoMac,        // nothing vouches for its content
  kUnsupported,  // an algorithm or a count of iterations that is not worked with here
  kPassword,     // the MAC does not fit: another password, or other bytes
  kNoKey,        // it can be read, and there is no key in it
};
// kOutOfMemory: it cannot be told.
int32_t findPfxProblem(ByteView pfx, const Password& password, PfxProblem& problem);

}  // namespace vexa::velmora
