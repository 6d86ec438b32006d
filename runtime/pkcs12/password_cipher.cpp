#include "runtime/pkcs12/password_cipher.h"

#include "runtime/keys/key.h"
#include "runtime/keys/system_random.h"

namespace vexa::velmora {

struct PasswordScheme {
  const char* name;
  KnownId objectId;
  int cipher;
  int mode;
  size_t keyLength;
  size_t derivedLength;  // what is derived; the rest repeats its front
};

namespace {

constexpr size_t kSaltLength = 8;
constexpr size_t kMaxKeyLength = 32;
constexpr size_t kMaxBlockLength = 16;

constexpr PasswordScheme kSchemes[] = {
    {"pbeWithSHA1And128BitRC4", "1.2.840.113549.1.12.1.1", GCRY_CIPHER_ARCFOUR,
     GCRY_CIPHER_MODE_STREAM, 16, 16},
    {"pbeWithSHA1And40BitRC4", "1.2.840.113549.1.12.1.2", GCRY_CIPHER_ARCFOUR,
     GCRY_CIPHER_MODE_STREAM, 5, 5},
    {"pbeWithSHA1And3-KeyTripleDES-CBC", "1.2.840.113549.1.12.1.3", GCRY_CIPHER_3DES,
     GCRY_CIPHER_MODE_CBC, 24, 24},
    {"pbeWithSHA1And2-KeyTripleDES-CBC", "1.2.840.113549.1.12.1.4", GCRY_CIPHER_3DES,
     GCRY_CIPHER_MODE_CBC, 24, 16},
    {"pbeWithSHA1And128BitRC2-CBC", "1.2.840.113549.1.12.1.5", GCRY_CIPHER_RFC2268_128,
     GCRY_CIPHER_MODE_CBC, 16, 16},
    {"pbeWithSHA1And40BitRC2-CBC", "1.2.840.113549.1.12.1.6", GCRY_CIPHER_RFC2268_40,
     GCRY_CIPHER_MODE_CBC, 5, 5},
};

constexpr MacDigest kMacDigests[] = {
    {"SHA-1", "1.3.14.3.2.26", GCRY_MD_SHA1},
    {"SHA-224", "2.16.840.1.101.3.4.2.4", GCRY_MD_SHA224},
    {"SHA-256", "2.16.840.1.101.3.4.2.1", GCRY_MD_SHA256},
    {"SHA-384", "2.16.840.1.101.3.4.2.2", GCRY_MD_SHA384},
    {"SHA-512", "2.16.840.1.101.3.4.2.3", GCRY_MD_SHA512},
};

constexpr KnownId kPbes2 = "1.2.840.113549.1.5.13";
constexpr KnownId kPbkdf2 = "1.2.840.113549.1.5.12";

struct PseudoRandomFunction {
  KnownId objectId;
  int digest;
};
constexpr PseudoRandomFunction kFunctions[] = {
    {"1.2.840.113549.2.7", GCRY_MD_SHA1},    {"1.2.840.113549.2.8", GCRY_MD_SHA224},
    {"1.2.840.113549.2.9", GCRY_MD_SHA256},  {"1.2.840.113549.2.10", GCRY_MD_SHA384},
    {"1.2.840.113549.2.11", GCRY_MD_SHA512},
};

struct Pbes2Cipher {
  KnownId objectId;
  int cipher;
  size_t keyLength;
};
constexpr Pbes2Cipher kPbes2Ciphers[] = {
    {"2.16.840.1.101.3.4.1.2", GCRY_CIPHER_AES128, 16},
    {"2.16.840.1.101.3.4.1.22", GCRY_CIPHER_AES192, 24},
    {"2.16.840.1.101.3.4.1.42", GCRY_CIPHER_AES256, 32},
    {"1.2.840.113549.3.7", GCRY_CIPHER_3DES, 24},
};

template <class Entry, size_t Count>
const Entry* findByObjectId(const Entry (&entries)[Count], ByteView content) {
  for (const Entry& entry : entries) {
    if (content == entry.objectId) {
      return &entry;
    }
  }
  return nullptr;
}

// A derived key with its initialisation vector; both are wiped.
struct KeyAndIv {
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

CipherHandle open(const KeyAndIv& material) {
  CipherHandle handle =
      openCipher(material.cipher, material.mode, {material.key, material.keyLength});
  if (handle && material.ivLength != 0 &&
      gcry_cipher_setiv(handle.get(), material.iv, material.ivLength) != 0) {
    return {};
  }
  return handle;
}

int32_t deriveScheme(const PasswordScheme& scheme, const DerivationInput& input,
                     DerivationBudget& budget, KeyAndIv& out) {
  out.cipher = scheme.cipher;
  out.mode = scheme.mode;
  out.keyLength = scheme.keyLength;
  out.ivLength =
      scheme.mode == GCRY_CIPHER_MODE_CBC ? gcry_cipher_get_algo_blklen(scheme.cipher) : 0;
  const int32_t result = derivePkcs12(GCRY_MD_SHA1, KeyPurpose::kKey, input, budget,
                                      std::span(out.key).first(scheme.derivedLength));
  if (failed(result)) {
    return result;
  }
  for (size_t i = scheme.derivedLength; i < scheme.keyLength; ++i) {
    out.key[i] = out.key[i - scheme.derivedLength];
  }
  return derivePkcs12(GCRY_MD_SHA1, KeyPurpose::kIv, input, budget,
                      std::span(out.iv).first(out.ivLength));
}

// pkcs-12PbeParams = SEQUENCE { salt OCTET STRING, iterations INTEGER }
int32_t readSchemeParameters(ByteView parameters, DerivationInput& out) {
  const auto fields = derSequence(parameters, {kOctetString, kInteger});
  const auto iterations = fields ? derSmallInteger((*fields)[1].content) : std::nullopt;
  if (!iterations) {
    return kFail;
  }
  out.salt = (*fields)[0].content;
  out.iterations = *iterations;
  return kOk;
}

// PBKDF2-params = SEQUENCE { salt OCTET STRING, iterationCount INTEGER, keyLength INTEGER OPTIONAL,
//                            prf AlgorithmIdentifier DEFAULT hmacWithSHA1 }
int32_t derivePbes2Key(ByteView parameters, const Password& password, DerivationBudget& budget,
                       KeyAndIv& out) {
  const auto sequence = derContent(parameters, kSequence);
  if (!sequence) {
    return kFail;
  }
  DerReader reader(*sequence);
  const auto salt = reader.take(kOctetString);
  const auto count = reader.take(kInteger);
  const auto iterations = count ? derSmallInteger(count->content) : std::nullopt;
  if (!salt || !iterations) {
    return kFail;
  }
  if (reader.nextIs(kInteger)) {
    const auto length = reader.take(kInteger);
    if (!length || derSmallInteger(length->content) != out.keyLength) {
      return kFail;
    }
  }
  int digest = GCRY_MD_SHA1;
  if (reader.nextIs(kSequence)) {
    const auto identifier = reader.take(kSequence);
    const auto algorithm = identifier ? readAlgorithm(identifier->content) : std::nullopt;
    if (!algorithm) {
      return kFail;
    }
    const auto* function = findByObjectId(kFunctions, algorithm->objectId);
    if (function == nullptr) {
      return kNotImplemented;
    }
    digest = function->digest;
  }
  if (!reader.atEnd()) {
    return kFail;
  }
  return derivePbkdf2(digest, {password.utf8(), salt->content, *iterations}, budget,
                      std::span(out.key).first(out.keyLength));
}

// PBES2-params = SEQUENCE { keyDerivationFunc AlgorithmIdentifier,
//                           encryptionScheme AlgorithmIdentifier }
int32_t derivePbes2(ByteView parameters, const Password& password, DerivationBudget& budget,
                    KeyAndIv& out) {
  const auto fields = derSequence(parameters, {kSequence, kSequence});
  const auto derivation = fields ? readAlgorithm((*fields)[0].content) : std::nullopt;
  const auto encryption = fields ? readAlgorithm((*fields)[1].content) : std::nullopt;
  if (!derivation || !encryption) {
    return kFail;
  }
  if (derivation->objectId != kPbkdf2) {
    return kNotImplemented;
  }
  const auto* cipher = findByObjectId(kPbes2Ciphers, encryption->objectId);
  if (cipher == nullptr) {
    return kNotImplemented;
  }
  out.cipher = cipher->cipher;
  out.mode = GCRY_CIPHER_MODE_CBC;
  out.keyLength = cipher->keyLength;
  out.ivLength = gcry_cipher_get_algo_blklen(cipher->cipher);
  const auto iv = derContent(encryption->parameters, kOctetString);
  if (!iv || iv->size() != out.ivLength) {
    return kFail;
  }
  std::copy(iv->begin(), iv->end(), out.iv);
  return derivePbes2Key(derivation->parameters, password, budget, out);
}

int32_t deriveFor(ByteView algorithmContent, const Password& password, DerivationBudget& budget,
                  KeyAndIv& out) {
  if (!libraryReady()) {
    return kFail;
  }
  const auto algorithm = readAlgorithm(algorithmContent);
  if (!algorithm) {
    return kFail;
  }
  if (algorithm->objectId == kPbes2) {
    return derivePbes2(algorithm->parameters, password, budget, out);
  }
  const PasswordScheme* scheme = findByObjectId(kSchemes, algorithm->objectId);
  if (scheme == nullptr) {
    return kNotImplemented;
  }
  DerivationInput input{password.terminatedUtf16(), {}, 0};
  const int32_t result = readSchemeParameters(algorithm->parameters, input);
  return failed(result) ? result : deriveScheme(*scheme, input, budget, out);
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

const PasswordScheme* findPasswordScheme(std::string_view name) {
  for (const PasswordScheme& scheme : kSchemes) {
    if (name == scheme.name) {
      return &scheme;
    }
  }
  return nullptr;
}

int32_t passwordEncrypt(const PasswordScheme& scheme, const Password& password, uint32_t iterations,
                        ByteView plain, DerivationBudget& budget, DerWriter& algorithm,
                        Bytes& out) {
  uint8_t salt[kSaltLength];
  if (!systemRandom(salt, sizeof(salt))) {
    return kFail;
  }
  KeyAndIv material;
  const int32_t result =
      deriveScheme(scheme, {password.terminatedUtf16(), salt, iterations}, budget, material);
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
  const int32_t result = deriveFor(algorithm, password, budget, material);
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

const MacDigest* findMacDigest(std::string_view name) {
  for (const MacDigest& digest : kMacDigests) {
    if (name == digest.name) {
      return &digest;
    }
  }
  return nullptr;
}

const MacDigest* findMacDigestByAlgorithm(ByteView algorithm) {
  const auto identifier = readAlgorithm(algorithm);
  return identifier ? findByObjectId(kMacDigests, identifier->objectId) : nullptr;
}

int32_t passwordMac(const MacDigest& digest, const DerivationInput& input, ByteView data,
                    DerivationBudget& budget, Bytes& out) {
  if (!libraryReady()) {
    return kFail;
  }
  uint8_t key[64];
  uint8_t code[64];
  const size_t length = gcry_md_get_algo_dlen(digest.digest);
  int32_t result =
      derivePkcs12(digest.digest, KeyPurpose::kMac, input, budget, std::span(key).first(length));
  if (!failed(result) && !hmac(digest.digest, {key, length}, data, code)) {
    result = kFail;
  }
  wipe(key, sizeof(key));
  if (failed(result)) {
    return result;
  }
  out.append({code, length});
  return out.failed() ? kOutOfMemory : kOk;
}

}  // namespace vexa::velmora
