#include "base/cipher_sizes.h"

#include "vexa/results.h"

namespace vexa::base {
namespace {

struct CipherSizes {
  uint32_t algorithm;
  uint64_t blockBytes;
  uint64_t keyBits;
};

constexpr CipherSizes kCipherSizes[] = {
    {1, 8, 56}, {2, 8, 168}, {4, 8, 128}, {7, 8, 192}, {10, 16, 128}, {11, 16, 192}, {12, 16, 256},
};

int32_t lookUpSize(uint32_t algorithm, uint64_t CipherSizes::*member, uint64_t* out) {
  if (algorithm == 0 || out == nullptr) {
    return kInvalidArgument;
  }
  *out = 0;
  for (const CipherSizes& sizes : kCipherSizes) {
    if (sizes.algorithm == algorithm) {
      *out = sizes.*member;
      return kOk;
    }
  }
  return kInvalidArgument;
}

}  // namespace

int32_t GetCipherBlockSize(uint32_t algorithm, uint64_t* out) {
  return lookUpSize(algorithm, &CipherSizes::blockBytes, out);
}

int32_t GetCipherKeyBits(uint32_t algorithm, uint64_t* out) {
  return lookUpSize(algorithm, &CipherSizes::keyBits, out);
}

}  // namespace vexa::base
