#include "runtime/pkcs12/key_reader.h"

#include "runtime/keys/ec_key.h"
#include "runtime/keys/signing.h"
#include "runtime/pkcs12/password_cipher.h"

namespace vexa::velmora {
namespace {

constexpr uint8_t kNoParameters[] = {kNull, 0};
constexpr char kMalformed[] = "this is not the encoding of a private key";

int32_t refuse(int32_t result, const char* text, const char*& reason) {
  reason = text;
  return result;
}

int32_t makePair(const AlgorithmView& algorithm, ByteView key, runtime::KeyObject** out,
                 const char*& reason) {
  Bytes bytes;
  bytes.append(key);
  const int32_t result = makeKeyPair(algorithm, bytes, out);
  return result != kInvalidArgument
             ? result
             : refuse(kNotImplemented,
                      "the key is neither a sound RSA key nor one on P-256, P-384 or P-521",
                      reason);
}

// PrivateKeyInfo = SEQUENCE { version, algorithm, privateKey OCTET STRING, ... }, behind version
int32_t readInfo(DerReader& reader, runtime::KeyObject** out, const char*& reason) {
  const auto identifier = reader.take(kSequence);
  const auto key = reader.take(kOctetString);
  const auto algorithm = identifier ? readAlgorithm(identifier->content) : std::nullopt;
  return algorithm && key ? makePair(*algorithm, key->content, out, reason)
                          : refuse(kInvalidArgument, kMalformed, reason);
}

int32_t readEcKey(ByteView der, runtime::KeyObject** out, const char*& reason) {
  const auto numbers = readEcPrivateKey(der);
  const Curve* const curve = numbers ? findCurve(numbers->curve) : nullptr;
  if (!numbers) {
    return refuse(kInvalidArgument, kMalformed, reason);
  }
  if (curve == nullptr) {
    return refuse(kNotImplemented, "the key is not on P-256, P-384 or P-521", reason);
  }
  Bytes parameters;
  DerWriter(parameters).objectId(curve->objectId);
  return parameters.failed()
             ? kOutOfMemory
             : makePair({kEcPublicKey.content(), parameters.view()}, der, out, reason);
}

int32_t readPlainKey(ByteView der, runtime::KeyObject** out, const char*& reason) {
  const auto sequence = derContent(der, kSequence);
  if (!sequence) {
    return refuse(kInvalidArgument, kMalformed, reason);
  }
  DerReader reader(*sequence);
  if (!reader.take(kInteger)) {
    return refuse(kInvalidArgument, kMalformed, reason);
  }
  if (reader.nextIs(kSequence)) {
    return readInfo(reader, out, reason);
  }
  if (reader.nextIs(kOctetString)) {
    return readEcKey(der, out, reason);
  }
  return readRsaPrivateKey(der)
             ? makePair({kRsaEncryption.content(), kNoParameters}, der, out, reason)
             : refuse(kInvalidArgument, kMalformed, reason);
}

// EncryptedPrivateKeyInfo = SEQUENCE { encryptionAlgorithm, encryptedData OCTET STRING }
int32_t readEncryptedKey(ByteView der, const Password& password, runtime::KeyObject** out,
                         const char*& reason) {
  const auto fields = derSequence(der, {kSequence, kOctetString});
  if (!fields) {
    return refuse(kInvalidArgument, kMalformed, reason);
  }
  const auto& [algorithm, encrypted] = *fields;
  DerivationBudget budget;
  Bytes plain;
  const int32_t result =
      passwordDecrypt(algorithm.content, password, encrypted.content, budget, plain);
  if (result == kNotImplemented) {
    return refuse(result, "the key is encrypted in a way that is not known here", reason);
  }
  // Padding that does not fit, or a plaintext that is no key: another password gives either.
  if (result == kFail || (!failed(result) && !derContent(plain.view(), kSequence))) {
    return refuse(kAccessDenied, "the password of the key is wrong or missing", reason);
  }
  return failed(result) ? result : readPlainKey(plain.view(), out, reason);
}

}  // namespace

int32_t readPrivateKey(ByteView der, const Password& password, runtime::KeyObject** out,
                       const char*& reason) {
  const auto sequence = derContent(der, kSequence);
  if (!sequence) {
    return refuse(kInvalidArgument, kMalformed, reason);
  }
  return DerReader(*sequence).nextIs(kSequence) ? readEncryptedKey(der, password, out, reason)
                                                : readPlainKey(der, out, reason);
}

}  // namespace vexa::velmora
