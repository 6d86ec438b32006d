#pragma once

#include <cstdint>

// Numbers of the symmetric ciphers, as the core list and the scramblers take them. The runtime owns
// the numbers; the names say what the reference runtime does with them.
namespace vexa {

enum CipherNumber : uint32_t {
  kDes = 1,            // 56 bits
  kTripleDes168 = 2,   // the key as 168 bits, without parity
  kCast128 = 4,        // 128 bits
  kDefaultCipher = 6,  // a stream cipher whose key may have any length
  kTripleDes192 = 7,   // the key as 192 bits
  kAes128 = 10,
  kAes192 = 11,
  kAes256 = 12,
};

enum ScramblerMode : uint32_t {
  kScramblePlain = 0,     // ECB: no initialisation vector
  kScrambleChained = 1,   // CBC
  kScrambleFeedback = 2,  // CFB, one block wide
};

}  // namespace vexa
