#pragma once

#include <gcrypt.h>

#include "runtime/bytes.h"
#include "runtime/holders.h"

// libgcrypt: started once, its handles held by owners.
namespace vexa::velmora {

// Starts libgcrypt on first use, from any thread; false when it cannot be used. Its memory is ours:
// every block is wiped before it is given back, so that no number of a private key outlives its
// use. Blocks are not locked: nothing else in the process is. Where the system has no memory left
// for it, libgcrypt ends the process in most places, as in its arithmetic: the root heap tells of a
// shortage, the library rarely does.
bool libraryReady();

using Sexp = FunctionHolder<gcry_sexp, gcry_sexp_release>;
using CipherHandle = FunctionHolder<gcry_cipher_handle, gcry_cipher_close>;
using DigestHandle = FunctionHolder<gcry_md_handle, gcry_md_close>;

// Empty when libgcrypt refuses. A key of the wrong length is refused.
CipherHandle openCipher(int algorithm, int mode, ByteView key);

// `digest` has the length of the algorithm's digest. The key may be empty.
bool hmac(int algorithm, ByteView key, ByteView data, uint8_t* digest);

}  // namespace vexa::velmora
