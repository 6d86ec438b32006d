#pragma once

#include <gcrypt.h>

#include <memory>

#include "runtime/bytes.h"

// libgcrypt: started once, its handles held by owners.
namespace vexa::velmora {

// Starts libgcrypt on first use, from any thread; false when it cannot be used. Its memory
// is ours: every block is wiped before it is given back, so that no number of a private key
// outlives its use. Blocks are not locked: nothing else in the process is.
bool libraryReady();

template <auto Close>
struct Closer {
  template <class T>
  void operator()(T* handle) const {
    Close(handle);
  }
};
using Sexp = std::unique_ptr<gcry_sexp, Closer<gcry_sexp_release>>;
using CipherHandle = std::unique_ptr<gcry_cipher_handle, Closer<gcry_cipher_close>>;
using DigestHandle = std::unique_ptr<gcry_md_handle, Closer<gcry_md_close>>;

// Null when libgcrypt refuses. A key of the wrong length is refused.
CipherHandle openCipher(int algorithm, int mode, ByteView key);

// `digest` has the length of the algorithm's digest. The key may be empty.
bool hmac(int algorithm, ByteView key, ByteView data, uint8_t* digest);

}  // namespace vexa::velmora
