#pragma once

#include <string_view>

#include "runtime/der/object_id.h"
#include "runtime/pkcs12/password_derivation.h"

// Keys for ciphers, made of passwords: by the six schemes of RFC 7292, appendix C, and by PBES2
// with PBKDF2 (RFC 8018, 6.2). Results are those of the derivation, and kNotImplemented for an
// algorithm that is not known.
namespace vexa::velmora {

struct PasswordScheme {
  const char* name;
  KnownId objectId;
  int cipher;
  int mode;
  size_t keyLength;
  size_t derivedLength;  // what is derived; the rest repeats its front
};

// By its name in a parameter record ("pbeWithSHA1And128BitRC4"); null when not known.
const PasswordScheme* findPasswordScheme(std::string_view name);

// A derived key with its initialisation vector; both are wiped.
struct KeyAndIv {
  static constexpr size_t kMaxKeyLength = 32;
  static constexpr size_t kMaxBlockLength = 16;

  KeyAndIv() = default;
  KeyAndIv(const KeyAndIv&) = delete;
  KeyAndIv& operator=(const KeyAndIv&) = delete;
  ~KeyAndIv() {
    wipe(key, sizeof(key));
    wipe(iv, sizeof(iv));
  }

  int cipher = 0;
  int mode = 0;
  uint8_t key[kMaxKeyLength] = {};
  size_t keyLength = 0;
  uint8_t iv[kMaxBlockLength] = {};
  size_t ivLength = 0;  // 0 for stream ciphers
};

int32_t deriveKey(const PasswordScheme& scheme, const DerivationInput& input,
                  DerivationBudget& budget, KeyAndIv& out);
// `algorithm` is the content of the AlgorithmIdentifier.
int32_t deriveKey(ByteView algorithm, const Password& password, DerivationBudget& budget,
                  KeyAndIv& out);

}  // namespace vexa::velmora
