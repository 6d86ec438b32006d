#pragma once

#include "runtime/keys/libgcrypt.h"

// Keys from passwords. Results are 0, kInvalidArgument for an iteration count of 0 or one that the
// work allowed does not cover, kOutOfMemory or kFail.
namespace vexa::velmora {

// A password in the two forms that the key derivations take. None at all and an empty one differ:
// the first is an empty byte string, the second a terminator.
class Password {
 public:
  // `text` may be null: no password.
  explicit Password(const runtime::StringObject* text);
  // The same from UTF-8.
  explicit Password(const char* text);

  bool failed() const { return terminatedUtf16_.failed(); }
  ByteView utf8() const { return utf8_; }
  ByteView terminatedUtf16() const { return terminatedUtf16_.view(); }

 private:
  void assign(ByteView utf8);

  ByteView utf8_;
  Bytes terminatedUtf16_;
};

// What a derived key is for; the first byte that the derivation digests, many times over.
enum class KeyPurpose : uint8_t { kKey = 1, kIv = 2, kMac = 3 };

// What the derivations of one file may cost together, in rounds: an iteration for each block of
// digest that it makes. A hostile file must not keep a program busy for hours, neither with one
// count nor with many.
inline constexpr uint32_t kMaxRounds = 10'000'000;

class DerivationBudget {
 public:
  DerivationBudget();

  // Whether the rounds are still there; they are gone then.
  bool take(uint64_t rounds);
  // Rounds taken so far.
  uint64_t taken() const { return taken_; }

 private:
  uint64_t most_;
  uint64_t taken_ = 0;
};

// Budgets made from now on have so many rounds instead of kMaxRounds.
void limitRounds(uint32_t most);

struct DerivationInput {
  ByteView password;
  ByteView salt;
  uint32_t iterations;
};

// RFC 7292, appendix B.2, with one of libgcrypt's digests. Fills `out`.
int32_t derivePkcs12(int digest, KeyPurpose purpose, const DerivationInput& input,
                     DerivationBudget& budget, std::span<uint8_t> out);

// PBKDF2 of RFC 8018, 5.2, with HMAC over `digest`. Fills `out`.
int32_t derivePbkdf2(int digest, const DerivationInput& input, DerivationBudget& budget,
                     std::span<uint8_t> out);

}  // namespace vexa::velmora
