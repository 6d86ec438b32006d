#pragma once

#include <cstdint>

// Between the runtime and libgcrypt, in the program that links it: lets the library's calls fail.
namespace vexa::test::failing_libgcrypt {

// The n-th call from now on that can fail does (1: the next one).
void failAt(uint64_t n);
void neverFail();
// Whether it has failed.
bool hasFailed();

}  // namespace vexa::test::failing_libgcrypt
