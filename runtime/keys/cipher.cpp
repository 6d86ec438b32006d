#include "runtime/keys/cipher.h"

#include <algorithm>
#include <cstring>

#include "runtime/keys/libgcrypt.h"
#include "vexa/results.h"

namespace vexa::velmora {

struct CipherAlgorithm {
  uint32_t number;
  int cipher;
  size_t blockBytes;  // 0: a stream cipher
  uint64_t keyBits;
  size_t keyBytes;  // what libgcrypt takes
};

namespace {

constexpr size_t kMaxBlock = 16;
constexpr size_t kMaxKey = 32;
constexpr size_t kNonceLength = 12;

constexpr CipherAlgorithm kAlgorithms[] = {
    {1, GCRY_CIPHER_DES, 8, 56, 8},        {2, GCRY_CIPHER_3DES, 8, 168, 24},
    {4, GCRY_CIPHER_CAST5, 8, 128, 16},    {6, GCRY_CIPHER_CHACHA20, 0, 0, 32},
    {7, GCRY_CIPHER_3DES, 8, 192, 24},     {10, GCRY_CIPHER_AES128, 16, 128, 16},
    {11, GCRY_CIPHER_AES192, 16, 192, 24}, {12, GCRY_CIPHER_AES256, 16, 256, 32},
};

// The key as libgcrypt takes it; wiped.
struct WorkKey {
  WorkKey() = default;
  WorkKey(const WorkKey&) = delete;
  WorkKey& operator=(const WorkKey&) = delete;
  ~WorkKey() { wipe(bytes, sizeof(bytes)); }

  uint8_t bytes[kMaxKey] = {};
};

// Seven bytes become the eight of a DES key: seven bits each, above one of parity, at which nobody
// looks.
void spreadDesKey(const uint8_t* seven, uint8_t* eight) {
  uint64_t bits = 0;
  for (int i = 0; i < 7; ++i) {
    bits = bits << 8 | seven[i];
  }
  for (int shift = 49; shift >= 0; shift -= 7) {
    *eight++ = static_cast<uint8_t>((bits >> shift & 0x7F) << 1);
  }
}

bool makeWorkKey(const CipherAlgorithm& algorithm, ByteView key, WorkKey& out) {
  if (isStreamCipher(algorithm)) {
    gcry_md_hash_buffer(GCRY_MD_SHA256, out.bytes, key.data(), key.size());
    wipeStack();
  } else if (key.size() != algorithm.keyBits / 8) {
    return false;
  } else if (key.size() < algorithm.keyBytes) {
    for (size_t i = 0; i < algorithm.keyBytes / 8; ++i) {
      spreadDesKey(key.data() + 7 * i, out.bytes + 8 * i);
    }
  } else {
    std::memcpy(out.bytes, key.data(), key.size());
  }
  return true;
}

CipherHandle open(const CipherOperation& operation, int mode) {
  WorkKey key;
  if (!makeWorkKey(*operation.algorithm, operation.key, key)) {
    return {};
  }
  return openCipher(operation.algorithm->cipher, mode, {key.bytes, operation.algorithm->keyBytes});
}

int32_t runStream(const CipherOperation& operation, ByteView in, uint8_t* out, uint64_t& length) {
  const CipherHandle handle = open(operation, GCRY_CIPHER_MODE_STREAM);
  const uint8_t nonce[kNonceLength] = {};
  if (!handle || gcry_cipher_setiv(handle.get(), nonce, sizeof(nonce)) != 0) {
    return kFail;
  }
  if (!in.empty() && gcry_cipher_encrypt(handle.get(), out, in.size(), in.data(), in.size()) != 0) {
    return kFail;
  }
  length = in.size();
  return kOk;
}

int32_t encryptPadded(gcry_cipher_hd_t handle, size_t block, ByteView in, uint8_t* out,
                      uint64_t& length) {
  const size_t whole = in.size() / block * block;
  const size_t rest = in.size() - whole;
  uint8_t last[kMaxBlock];
  std::fill(last, last + block, static_cast<uint8_t>(block - rest));
  if (rest != 0) {
    std::memcpy(last, in.data() + whole, rest);
  }
  const bool done =
      (whole == 0 || gcry_cipher_encrypt(handle, out, whole, in.data(), whole) == 0) &&
      gcry_cipher_encrypt(handle, out + whole, block, last, block) == 0;
  wipe(last, sizeof(last));
  if (!done) {
    return kFail;
  }
  length = whole + block;
  return kOk;
}

int32_t decryptPadded(gcry_cipher_hd_t handle, size_t block, ByteView in, uint8_t* out,
                      uint64_t& length) {
  if (in.empty() || in.size() % block != 0) {
    return kFail;
  }
  if (gcry_cipher_decrypt(handle, out, in.size(), in.data(), in.size()) != 0) {
    return kFail;
  }
  const size_t padding = out[in.size() - 1];
  bool fits = padding != 0 && padding <= block;
  for (size_t i = 1; fits && i <= padding; ++i) {
    fits = out[in.size() - i] == padding;
  }
  if (!fits) {
    wipe(out, in.size());
    return kFail;
  }
  length = in.size() - padding;
  wipe(out + length, padding);
  return kOk;
}

int32_t runPadded(const CipherOperation& operation, ByteView in, uint8_t* out, uint64_t& length) {
  const size_t block = operation.algorithm->blockBytes;
  const bool chained = operation.mode == CipherMode::kCbc;
  const CipherHandle handle =
      open(operation, chained ? GCRY_CIPHER_MODE_CBC : GCRY_CIPHER_MODE_ECB);
  if (!handle) {
    return kInvalidArgument;
  }
  if (chained && (operation.iv.size() != block ||
                  gcry_cipher_setiv(handle.get(), operation.iv.data(), block) != 0)) {
    return kInvalidArgument;
  }
  return operation.reverse ? decryptPadded(handle.get(), block, in, out, length)
                           : encryptPadded(handle.get(), block, in, out, length);
}

// Cipher feedback of any width in bytes, which libgcrypt does not have.
int32_t runFeedback(const CipherOperation& operation, ByteView in, uint8_t* out, uint64_t& length) {
  const size_t block = operation.algorithm->blockBytes;
  const CipherHandle handle = open(operation, GCRY_CIPHER_MODE_ECB);
  if (!handle || operation.iv.size() != block || operation.feedbackBytes == 0 ||
      operation.feedbackBytes > block) {
    return kInvalidArgument;
  }
  const auto width = static_cast<size_t>(operation.feedbackBytes);
  uint8_t shift[kMaxBlock];
  uint8_t keyStream[kMaxBlock];
  std::memcpy(shift, operation.iv.data(), block);
  int32_t result = kOk;
  for (size_t at = 0; at < in.size(); at += width) {
    if (gcry_cipher_encrypt(handle.get(), keyStream, block, shift, block) != 0) {
      result = kFail;
      break;
    }
    const size_t count = std::min(width, in.size() - at);
    std::memmove(shift, shift + width, block - width);
    for (size_t i = 0; i < count; ++i) {
      const uint8_t before = in[at + i];
      const auto after = static_cast<uint8_t>(before ^ keyStream[i]);
      out[at + i] = after;
      shift[block - width + i] = operation.reverse ? before : after;
    }
  }
  wipe(keyStream, sizeof(keyStream));
  length = in.size();
  return result;
}

}  // namespace

const CipherAlgorithm* findCipher(uint32_t number) {
  for (const CipherAlgorithm& algorithm : kAlgorithms) {
    if (algorithm.number == number) {
      return &algorithm;
    }
  }
  return nullptr;
}

bool isStreamCipher(const CipherAlgorithm& algorithm) { return algorithm.blockBytes == 0; }

bool fitsKeyLength(const CipherAlgorithm& algorithm, uint64_t bits) {
  return isStreamCipher(algorithm) || bits == algorithm.keyBits;
}

uint64_t outputSize(const CipherOperation& operation, uint64_t inLength) {
  const size_t block = operation.algorithm->blockBytes;
  if (block == 0 || operation.mode == CipherMode::kCfb || operation.reverse) {
    return inLength;
  }
  return (inLength / block + 1) * block;
}

int32_t runCipher(const CipherOperation& operation, ByteView in, uint8_t* out, uint64_t& length) {
  if (!libraryReady()) {
    return kFail;
  }
  if (isStreamCipher(*operation.algorithm)) {
    return runStream(operation, in, out, length);
  }
  return operation.mode == CipherMode::kCfb ? runFeedback(operation, in, out, length)
                                            : runPadded(operation, in, out, length);
}

}  // namespace vexa::velmora
