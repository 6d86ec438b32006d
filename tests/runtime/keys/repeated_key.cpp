#include "runtime/keys/repeated_key.h"

#include <dlfcn.h>
#include <gcrypt.h>

#include <utility>

namespace vexa::test::repeated_key {
namespace {

gcry_sexp_t kept = nullptr;

// libgcrypt's own function.
gcry_error_t generate(gcry_sexp_t* out, gcry_sexp_t parameters) {
  static const auto own =
      reinterpret_cast<decltype(&gcry_pk_genkey)>(dlsym(RTLD_NEXT, "gcry_pk_genkey"));
  return own(out, parameters);
}

}  // namespace

void forget() { gcry_sexp_release(std::exchange(kept, nullptr)); }

}  // namespace vexa::test::repeated_key

extern "C" gcry_error_t gcry_pk_genkey(gcry_sexp_t* r_key, gcry_sexp_t s_parms) {
  using vexa::test::repeated_key::generate;
  using vexa::test::repeated_key::kept;
  if (kept == nullptr) {
    if (const gcry_error_t error = generate(&kept, s_parms)) {
      return error;
    }
  }
  return gcry_sexp_build(r_key, nullptr, "%S", kept);
}
