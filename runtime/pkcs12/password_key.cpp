#include "runtime/pkcs12/password_key.h"

#include "runtime/keys/key.h"

namespace vexa::velmora {
namespace {

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

}  // namespace

const PasswordScheme* findPasswordScheme(std::string_view name) {
  for (const PasswordScheme& scheme : kSchemes) {
    if (name == scheme.name) {
      return &scheme;
    }
  }
  return nullptr;
}

int32_t deriveKey(const PasswordScheme& scheme, const DerivationInput& input,
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

int32_t deriveKey(ByteView algorithmContent, const Password& password, DerivationBudget& budget,
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
  return failed(result) ? result : deriveKey(*scheme, input, budget, out);
}

}  // namespace vexa::velmora
