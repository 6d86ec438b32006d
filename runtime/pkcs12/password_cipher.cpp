#include "runtime/pkcs12/password_cipher.h"

#include <optional>

#include "runtime/keys/system_random.h"
#include "runtime/pkcs12/password_key.h"

namespace vexa::velmora {
namespace {

constexpr size_t kSaltLength = 8;

CipherHandle open(const KeyAndIv& material) {
  CipherHandle handle =
      openCipher(material.cipher, material.mode, {material.key, material.keyLength});
  if (handle && material.ivLength != 0 &&
      gcry_cipher_setiv(handle.get(), material.iv, material.ivLength) != 0) {
    return {};
  }
  return handle;
}

// The plaintext without the padding of RFC 8018, 6.1.1; nothing when the padding is wrong.
std::optional<size_t> lengthWithoutPadding(ByteView padded, size_t block) {
  if (padded.empty()) {
    return std::nullopt;
  }
  const size_t padding = padded.back();
  if (padding == 0 || padding > block || padding > padded.size()) {
    return std::nullopt;
  }
  for (const uint8_t byte : padded.last(padding)) {
    if (byte != padding) {
      return std::nullopt;
    }
  }
  return padded.size() - padding;
}

}  // namespace

int32_t passwordEncrypt(const PasswordScheme& scheme, const Password& password, uint32_t iterations,
                        ByteView plain, DerivationBudget& budget, DerWriter& algorithm,
                        Bytes& out) {
  uint8_t salt[kSaltLength];
  if (!systemRandom(salt, sizeof(salt))) {
    return kFail;
  }
  KeyAndIv material;
  const int32_t result =
      deriveKey(scheme, {password.terminatedUtf16(), salt, iterations}, budget, material);
  if (failed(result)) {
    return result;
  }

  Bytes text;
  text.append(plain);
  if (material.ivLength != 0) {
    const size_t padding = material.ivLength - plain.size() % material.ivLength;
    for (size_t i = 0; i < padding; ++i) {
      text.append(static_cast<uint8_t>(padding));
    }
  }
  if (text.failed()) {
    return kOutOfMemory;
  }
  const CipherHandle cipher = open(material);
  if (!cipher) {
    return kFail;
  }
  if (text.size() != 0 &&
      gcry_cipher_encrypt(cipher.get(), text.data(), text.size(), nullptr, 0) != 0) {
    return kFail;
  }

  const size_t identifier = algorithm.begin(kSequence);
  algorithm.objectId(scheme.objectId);
  const size_t parameters = algorithm.begin(kSequence);
  algorithm.element(kOctetString, salt);
  algorithm.smallInteger(iterations);
  algorithm.end(parameters);
  algorithm.end(identifier);
  out.append(text.view());
  return out.failed() ? kOutOfMemory : kOk;
}

int32_t passwordDecrypt(ByteView algorithm, const Password& password, ByteView cipher,
                        DerivationBudget& budget, Bytes& out) {
  KeyAndIv material;
  const int32_t result = deriveKey(algorithm, password, budget, material);
  if (failed(result)) {
    return result;
  }
  if (material.ivLength != 0 && cipher.size() % material.ivLength != 0) {
    return kFail;
  }

  Bytes text;
  text.assign(cipher);
  if (text.failed()) {
    return kOutOfMemory;
  }
  const CipherHandle handle = open(material);
  if (!handle) {
    return kFail;
  }
  if (text.size() != 0 &&
      gcry_cipher_decrypt(handle.get(), text.data(), text.size(), nullptr, 0) != 0) {
    return kFail;
  }
  ByteView plain = text.view();
  if (material.ivLength != 0) {
    const auto length = lengthWithoutPadding(plain, material.ivLength);
    if (!length) {
      return kFail;
    }
    plain = plain.first(*length);
  }
  out.append(plain);
  return out.failed() ? kOutOfMemory : kOk;
}

}  // namespace vexa::velmora
