#pragma once

#include "runtime/bytes.h"

// The ciphers of SEC_CRYPT_1, told apart by number. Modes of operation: NIST SP 800-38A.
namespace vexa::velmora {

enum class CipherMode : uint32_t {
  kEcb = 0,  // padded as in RFC 5652, 6.3
  kCbc = 1,  // the same, with an initialisation vector of one block
  kCfb = 2,  // with a vector and a feedback width; as long as its input
};

struct CipherAlgorithm;
// Null when the number is not known.
const CipherAlgorithm* findCipher(uint32_t number);
// A stream cipher takes a key of any length and knows no modes.
bool isStreamCipher(const CipherAlgorithm& algorithm);
// Whether a key of so many bits fits.
bool fitsKeyLength(const CipherAlgorithm& algorithm, uint64_t bits);

struct CipherOperation {
  const CipherAlgorithm* algorithm;
  CipherMode mode;
  bool reverse;
  ByteView key;
  ByteView iv;
  uint64_t feedbackBytes;
};

// An upper bound for the output.
uint64_t outputSize(const CipherOperation& operation, uint64_t inLength);

// `out` has room for the output size. Sets `length` to what was written. kInvalidArgument: a key,
// vector or feedback width that does not fit. kFail: input that cannot have come from the other
// direction.
int32_t runCipher(const CipherOperation& operation, ByteView in, uint8_t* out, uint64_t& length);

}  // namespace vexa::velmora
