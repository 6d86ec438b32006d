#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

#include "runtime/crypto_fixture.h"
#include "runtime/keys/secret_pieces.h"

namespace vexa::test {

// What is secret of a private key in DER: numbers of an RSAPrivateKey, or the one of an
// ECPrivateKey on P-256.
inline Pieces keyPieces(const uint8_t* der, uint64_t length) {
  constexpr uint8_t kVersionAndTag[] = {0x02, 0x01, 0x01, 0x04, 0x20};
  constexpr uint64_t kVersionAt = 2;
  constexpr uint64_t kSecretAt = kVersionAt + sizeof(kVersionAndTag);
  constexpr uint64_t kSecretLength = 32;
  const runtime::CommonTypes& types = SpyRuntime::current().commonTypes;
  Pieces pieces;
  runtime::RsaPrivateKey* numbers = nullptr;
  if (types.RsaPrivateKeyDecode(der, length, &numbers) == kOk) {
    for (const runtime::BigInteger* secret :
         {&numbers->privateExponent, &numbers->prime1, &numbers->prime2, &numbers->exponent1,
          &numbers->exponent2, &numbers->coefficient}) {
      pieces.add(secret->bytes, secret->length);
    }
    types.RsaPrivateKeyRelease(numbers);
  } else if (length >= kSecretAt + kSecretLength &&
             std::equal(std::begin(kVersionAndTag), std::end(kVersionAndTag), der + kVersionAt)) {
    pieces.add(der + kSecretAt, kSecretLength);
  }
  EXPECT_GT(pieces.count(), 0u) << "no private key";
  return pieces;
}
inline Pieces keyPieces(std::string_view der) {
  return keyPieces(reinterpret_cast<const uint8_t*>(der.data()), der.size());
}
inline Pieces keyPieces(const runtime::KeyObject& key) {
  return keyPieces(key.privateKey.bytes, key.privateKey.bitLength / 8);
}

}  // namespace vexa::test
