#include "runtime/keys/failing_libgcrypt.h"

#include <dlfcn.h>

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "runtime/keys/system_random.h"

namespace vexa::test::failing_libgcrypt {
namespace {

constexpr uint64_t kNever = ~uint64_t{0};
uint64_t calls = 0;
uint64_t failing = kNever;
gpg_err_code_t failure = GPG_ERR_GENERAL;

bool fails() { return ++calls == failing; }

// The library's own function of this name.
template <class Function>
Function* own(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void failAt(uint64_t n, gpg_err_code_t code) {
  calls = 0;
  failing = n;
  failure = code;
}
void neverFail() { failAt(kNever); }
bool hasFailed() { return calls >= failing; }

}  // namespace vexa::test::failing_libgcrypt

using vexa::test::failing_libgcrypt::fails;
using vexa::test::failing_libgcrypt::failure;
using vexa::test::failing_libgcrypt::own;

// Each function that tells of a failure, either by a code or by null.
// NOLINTBEGIN(bugprone-macro-parentheses): lists have theirs already
#define VEXA_FAILING_CODE(name, parameters, arguments)                  \
  extern "C" gcry_error_t name parameters {                             \
    return fails() ? gcry_error(failure) : own(&name, #name) arguments; \
  }
#define VEXA_FAILING_NULL(type, name, parameters, arguments) \
  extern "C" type name parameters { return fails() ? nullptr : own(&name, #name) arguments; }

// NOLINTEND(bugprone-macro-parentheses)

VEXA_FAILING_CODE(gcry_cipher_open, (gcry_cipher_hd_t * handle, int algo, int mode, unsigned flags),
                  (handle, algo, mode, flags))
VEXA_FAILING_CODE(gcry_cipher_setkey, (gcry_cipher_hd_t hd, const void* key, size_t keylen),
                  (hd, key, keylen))
VEXA_FAILING_CODE(gcry_cipher_setiv, (gcry_cipher_hd_t hd, const void* iv, size_t ivlen),
                  (hd, iv, ivlen))
VEXA_FAILING_CODE(gcry_cipher_encrypt,
                  (gcry_cipher_hd_t h, void* out, size_t outsize, const void* in, size_t inlen),
                  (h, out, outsize, in, inlen))
VEXA_FAILING_CODE(gcry_cipher_decrypt,
                  (gcry_cipher_hd_t h, void* out, size_t outsize, const void* in, size_t inlen),
                  (h, out, outsize, in, inlen))
VEXA_FAILING_CODE(gcry_md_open, (gcry_md_hd_t * h, int algo, unsigned flags), (h, algo, flags))
VEXA_FAILING_CODE(gcry_md_setkey, (gcry_md_hd_t hd, const void* key, size_t keylen),
                  (hd, key, keylen))
VEXA_FAILING_NULL(unsigned char*, gcry_md_read, (gcry_md_hd_t hd, int algo), (hd, algo))
VEXA_FAILING_CODE(gcry_kdf_derive,
                  (const void* passphrase, size_t passphraselen, int algo, int subalgo,
                   const void* salt, size_t saltlen, unsigned long iterations, size_t keysize,
                   void* keybuffer),
                  (passphrase, passphraselen, algo, subalgo, salt, saltlen, iterations, keysize,
                   keybuffer))
VEXA_FAILING_CODE(gcry_pk_genkey, (gcry_sexp_t * r_key, gcry_sexp_t s_parms), (r_key, s_parms))
VEXA_FAILING_CODE(gcry_pk_sign, (gcry_sexp_t * result, gcry_sexp_t data, gcry_sexp_t skey),
                  (result, data, skey))
VEXA_FAILING_CODE(gcry_pk_verify, (gcry_sexp_t sigval, gcry_sexp_t data, gcry_sexp_t pkey),
                  (sigval, data, pkey))
VEXA_FAILING_NULL(gcry_sexp_t, gcry_sexp_find_token,
                  (gcry_sexp_t list, const char* tok, size_t toklen), (list, tok, toklen))
VEXA_FAILING_NULL(gcry_mpi_t, gcry_sexp_nth_mpi, (gcry_sexp_t list, int number, int mpifmt),
                  (list, number, mpifmt))
VEXA_FAILING_CODE(gcry_mpi_scan,
                  (gcry_mpi_t * ret_mpi, enum gcry_mpi_format format, const void* buffer,
                   size_t buflen, size_t* nscanned),
                  (ret_mpi, format, buffer, buflen, nscanned))
VEXA_FAILING_CODE(gcry_mpi_print,
                  (enum gcry_mpi_format format, unsigned char* buffer, size_t buflen,
                   size_t* nwritten, const gcry_mpi_t a),
                  (format, buffer, buflen, nwritten, a))
VEXA_FAILING_CODE(gcry_mpi_ec_new,
                  (gcry_ctx_t * r_ctx, gcry_sexp_t keyparam, const char* curvename),
                  (r_ctx, keyparam, curvename))
VEXA_FAILING_NULL(gcry_mpi_t, gcry_mpi_ec_get_mpi, (const char* name, gcry_ctx_t ctx, int copy),
                  (name, ctx, copy))
VEXA_FAILING_NULL(gcry_mpi_point_t, gcry_mpi_ec_get_point,
                  (const char* name, gcry_ctx_t ctx, int copy), (name, ctx, copy))

// Not 0: a point that is none.
extern "C" int gcry_mpi_ec_get_affine(gcry_mpi_t x, gcry_mpi_t y, gcry_mpi_point_t point,
                                      gcry_ctx_t ctx) {
  return fails() ? -1 : own(&gcry_mpi_ec_get_affine, "gcry_mpi_ec_get_affine")(x, y, point, ctx);
}

// Takes its arguments as the other function of this purpose does: by pointers to each.
extern "C" gcry_error_t gcry_sexp_build(gcry_sexp_t* retsexp, size_t* erroff, const char* format,
                                        ...) {
  if (fails()) {
    return gcry_error(failure);
  }
  constexpr size_t kMost = 8;
  std::array<int, kMost> numbers{};
  std::array<const void*, kMost> pointers{};
  std::array<void*, kMost> arguments{};
  size_t count = 0;
  const auto take = [&](void* argument) { arguments.at(count++) = argument; };
  va_list given;
  va_start(given, format);
  for (const char* at = std::strchr(format, '%'); at != nullptr; at = std::strchr(at + 1, '%')) {
    if (at[1] == 'd' || at[1] == 'b') {
      int& number = numbers.at(count);
      number = va_arg(given, int);
      take(&number);
    }
    if (at[1] == 's' || at[1] == 'b') {
      const void*& pointer = pointers.at(count);
      pointer = va_arg(given, const void*);
      take(&pointer);
    }
  }
  va_end(given);
  return gcry_sexp_build_array(retsexp, erroff, format, arguments.data());
}

// The system's generator is no function of the library, yet fails like one. The linker leads our
// calls of it here.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier)
bool __real__ZN4vexa7velmora12systemRandomEPhm(uint8_t* out, size_t length);
bool __wrap__ZN4vexa7velmora12systemRandomEPhm(uint8_t* out, size_t length) {
  return !fails() && __real__ZN4vexa7velmora12systemRandomEPhm(out, length);
}
// NOLINTEND(bugprone-reserved-identifier)
}
