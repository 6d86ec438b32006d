#include "runtime/pkcs12/password_derivation.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "runtime/der/asn1_string.h"
#include "vexa/results.h"

namespace vexa::velmora {
namespace {

constexpr size_t kMaxDigestLength = 64;
constexpr size_t kMaxBlockLength = 128;

std::atomic<uint32_t> roundLimit{kMaxRounds};

// Takes what the derivation of `length` bytes costs.
bool mayDerive(uint32_t iterations, int digest, size_t length, DerivationBudget& budget) {
  const size_t digestLength = gcry_md_get_algo_dlen(digest);
  const uint64_t blocks = (length + digestLength - 1) / digestLength;
  return iterations != 0 && budget.take(iterations * blocks);
}

// The block length of the digest's compression function ("v" in the RFC).
size_t blockLength(int digest) {
  return digest == GCRY_MD_SHA384 || digest == GCRY_MD_SHA512 ? 128 : 64;
}

// Appends `source` over and over until a multiple of `block` is filled; nothing when it is empty.
void appendRepeated(ByteView source, size_t block, Bytes& out) {
  size_t left = (source.size() + block - 1) / block * block;
  while (left != 0) {
    const size_t take = std::min(left, source.size());
    out.append(source.first(take));
    left -= take;
  }
}

// number = number + addend + 1, big end first; the carry out of the top is dropped.
void addPlusOne(std::span<uint8_t> number, ByteView addend) {
  uint32_t carry = 1;
  for (size_t i = number.size(); i-- != 0;) {
    carry += static_cast<uint32_t>(number[i]) + addend[i];
    number[i] = static_cast<uint8_t>(carry);
    carry >>= 8;
  }
}

}  // namespace

Password::Password(const runtime::StringObject* text) {
  if (text != nullptr) {
    assign({reinterpret_cast<const uint8_t*>(text->text), static_cast<size_t>(text->length)});
  }
}

Password::Password(const char* text) {
  if (text != nullptr) {
    assign({reinterpret_cast<const uint8_t*>(text), std::strlen(text)});
  }
}

void Password::assign(ByteView utf8) {
  utf8_ = utf8;
  appendUtf16FromUtf8(utf8_, terminatedUtf16_);
  const uint8_t terminator[2] = {};
  terminatedUtf16_.append(terminator);
}

DerivationBudget::DerivationBudget() : most_(roundLimit) {}

bool DerivationBudget::take(uint64_t rounds) {
  if (rounds > most_ - taken_) {
    return false;
  }
  taken_ += rounds;
  return true;
}

void limitRounds(uint32_t most) { roundLimit = most; }

int32_t derivePkcs12(int digest, KeyPurpose purpose, const DerivationInput& input,
                     DerivationBudget& budget, std::span<uint8_t> out) {
  if (!libraryReady()) {
    return kFail;
  }
  if (!mayDerive(input.iterations, digest, out.size(), budget)) {
    return kInvalidArgument;
  }
  const size_t block = blockLength(digest);
  const size_t digestLength = gcry_md_get_algo_dlen(digest);

  // The diversifier, then salt and password, each repeated to full blocks.
  Bytes work;
  const uint8_t diversifier = static_cast<uint8_t>(purpose);
  for (size_t i = 0; i < block; ++i) {
    work.append(diversifier);
  }
  appendRepeated(input.salt, block, work);
  appendRepeated(input.password, block, work);
  if (work.failed()) {
    return kOutOfMemory;
  }
  const std::span<uint8_t> variable(work.data() + block, work.size() - block);

  uint8_t result[kMaxDigestLength];
  uint8_t repeated[kMaxBlockLength];
  while (!out.empty()) {
    gcry_md_hash_buffer(digest, result, work.data(), work.size());
    for (uint32_t i = 1; i < input.iterations; ++i) {
      gcry_md_hash_buffer(digest, result, result, digestLength);
    }
    const size_t take = std::min(out.size(), digestLength);
    std::memcpy(out.data(), result, take);
    out = out.subspan(take);
    for (size_t i = 0; i < block; ++i) {
      repeated[i] = result[i % digestLength];
    }
    for (size_t i = 0; i < variable.size(); i += block) {
      addPlusOne(variable.subspan(i, block), {repeated, block});
    }
  }
  wipe(result, sizeof(result));
  wipe(repeated, sizeof(repeated));
  wipeStack();
  return kOk;
}

int32_t derivePbkdf2(int digest, const DerivationInput& input, DerivationBudget& budget,
                     std::span<uint8_t> out) {
  if (!libraryReady()) {
    return kFail;
  }
  if (!mayDerive(input.iterations, digest, out.size(), budget)) {
    return kInvalidArgument;
  }
  // libgcrypt wants a place to read from, even where there is nothing to read.
  const uint8_t nothing = 0;
  const uint8_t* password = input.password.empty() ? &nothing : input.password.data();
  const uint8_t* salt = input.salt.empty() ? &nothing : input.salt.data();
  const gcry_error_t error =
      gcry_kdf_derive(password, input.password.size(), GCRY_KDF_PBKDF2, digest, salt,
                      input.salt.size(), input.iterations, out.size(), out.data());
  if (error == 0) {
    return kOk;
  }
  return gcry_err_code(error) == GPG_ERR_ENOMEM ? kOutOfMemory : kFail;
}

}  // namespace vexa::velmora
