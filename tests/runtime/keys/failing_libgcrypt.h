#pragma once

#include <gcrypt.h>

#include <cstdint>

// Between the runtime and libgcrypt, in the program that links it: lets the library's calls fail,
// and those of the system's generator, which the linker leads here (--wrap).
namespace vexa::test::failing_libgcrypt {

// The n-th call from now on that can fail does (1: the next one), with this code where it gives
// one.
void failAt(uint64_t n, gpg_err_code_t code = GPG_ERR_GENERAL);
void neverFail();
// Whether it has failed.
bool hasFailed();

}  // namespace vexa::test::failing_libgcrypt
