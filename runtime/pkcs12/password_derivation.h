#pragma once

#include "runtime/keys/libgcrypt.h"

// Keys from passwords. Results are 0, kInvalidArgument for an iteration count of 0 or above the
// limit, kOutOfMemory or kFail.
namespace vexa::velmora {

// A password in the two forms that the key derivations take. None at all and an empty one differ:
// the first is an empty byte string, the second a terminator.
class Password {
 public:
  // `text` may be null: no password.
  explicit Password(const runtime::StringObject* text);

  bool failed() const { return terminatedUtf16_.failed(); }
  ByteView utf8() const { return utf8_; }
  ByteView terminatedUtf16() const { return terminatedUtf16_.view(); }

 private:
  ByteView utf8_;
  Bytes terminatedUtf16_;
};

// What a derived key is for; the first byte that the derivation digests, many times over.
enum class KeyPurpose : uint8_t { kKey = 1, kIv = 2, kMac = 3 };

struct DerivationInput {
  ByteView password;
  ByteView salt;
  uint32_t iterations;
};

// RFC 7292, appendix B.2, with one of libgcrypt's digests. Fills `out`.
int32_t derivePkcs12(int digest, KeyPurpose purpose, const DerivationInput& input,
                     std::span<uint8_t> out);

// PBKDF2 of RFC 8018, 5.2, with HMAC over `digest`. Fills `out`.
int32_t derivePbkdf2(int digest, const DerivationInput& input, std::span<uint8_t> out);

// Iteration counts above the limit are refused: a hostile file must not keep a program busy for
// hours. The limit is kMaxIterations until it is changed.
inline constexpr uint32_t kMaxIterations = 10'000'000;
void limitIterations(uint32_t most);

}  // namespace vexa::velmora
