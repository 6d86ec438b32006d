#pragma once

// Between the runtime and libgcrypt, in the program that links it: the first key that is generated
// comes again and again, so that it is known what to look for when the second is never finished.
namespace vexa::test::repeated_key {

// The next key is a new one.
void forget();

}  // namespace vexa::test::repeated_key
