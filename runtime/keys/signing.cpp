#include "runtime/keys/signing.h"

#include "runtime/keys/ec_key.h"
#include "runtime/keys/expression.h"

namespace vexa::velmora {
namespace {

constexpr KnownId kSha256WithRsa = "1.2.840.113549.1.1.11";
constexpr KnownId kSha256WithEcdsa = "1.2.840.10045.4.3.2";
constexpr size_t kSha256Length = 32;
constexpr uint8_t kNoParameters[] = {kNull, 0};

struct RsaNumbers {
  ByteView n;
  ByteView e;
  ByteView d;
};

std::optional<RsaNumbers> rsaNumbersOf(const runtime::PrivateKeyMaterial& key) {
  const auto numbers = readRsaPrivateKey(bytesOf(key));
  if (!numbers) {
    return std::nullopt;
  }
  const auto n = derUnsigned(numbers->integers[1]);
  const auto e = derUnsigned(numbers->integers[2]);
  const auto d = derUnsigned(numbers->integers[3]);
  if (!n || !e || !d || d->empty() || !isSoundRsaKey({*n, *e})) {
    return std::nullopt;
  }
  return RsaNumbers{*n, *e, *d};
}

struct EcNumbers {
  const Curve* curve;
  ByteView secret;
};

std::optional<EcNumbers> ecNumbersOf(const runtime::PrivateKeyMaterial& key) {
  const auto numbers = readEcPrivateKey(bytesOf(key));
  if (!numbers) {
    return std::nullopt;
  }
  const Curve* const curve =
      numbers->curve.empty() ? curveOf(key.algorithm) : findCurve(numbers->curve);
  if (curve == nullptr || numbers->secret.size() > curve->orderBytes) {
    return std::nullopt;
  }
  return EcNumbers{curve, numbers->secret};
}

Sexp signedHash(const char* format, ByteView data) {
  uint8_t hash[kSha256Length];
  gcry_md_hash_buffer(GCRY_MD_SHA256, hash, data.data(), data.size());
  return buildExpression(format, static_cast<int>(sizeof(hash)), hash);
}

int32_t sign(const Sexp& data, const Sexp& key, Sexp& out) {
  if (!data || !key) {
    return kOutOfMemory;
  }
  return gcry_pk_sign(out.put(), data.get(), key.get()) == 0 ? kOk : kFail;
}

int32_t signRsa(const RsaNumbers& numbers, ByteView data, Bytes& signature) {
  const Sexp key = buildExpression(
      "(private-key (rsa (n %b) (e %b) (d %b)))", lengthArgument(numbers.n), numbers.n.data(),
      lengthArgument(numbers.e), numbers.e.data(), lengthArgument(numbers.d), numbers.d.data());
  Sexp result;
  const int32_t signedResult =
      sign(signedHash("(data (flags pkcs1) (hash sha256 %b))", data), key, result);
  if (failed(signedResult)) {
    return signedResult;
  }
  const Mpi s = takeNumber(result.get(), "s");
  if (!s || !appendNumber(s.get(), numbers.n.size(), signature)) {
    return kFail;
  }
  return signature.failed() ? kOutOfMemory : kOk;
}

// ECDSA-Sig-Value = SEQUENCE { r INTEGER, s INTEGER }
int32_t signEc(const EcNumbers& numbers, ByteView data, Bytes& signature) {
  const Sexp key =
      buildExpression("(private-key (ecc (curve %s) (d %b)))", numbers.curve->libraryName,
                      lengthArgument(numbers.secret), numbers.secret.data());
  Sexp result;
  const int32_t signedResult =
      sign(signedHash("(data (flags rfc6979) (hash sha256 %b))", data), key, result);
  if (failed(signedResult)) {
    return signedResult;
  }
  const Mpi r = takeNumber(result.get(), "r");
  const Mpi s = takeNumber(result.get(), "s");
  if (!r || !s) {
    return kFail;
  }
  DerWriter writer(signature);
  const size_t mark = writer.begin(kSequence);
  writeNumber(r.get(), writer);
  writeNumber(s.get(), writer);
  writer.end(mark);
  return signature.failed() ? kOutOfMemory : kOk;
}

int32_t assignRsaHalf(const RsaNumbers& numbers, runtime::PublicKey* target) {
  Bytes bytes;
  DerWriter writer(bytes);
  const size_t mark = writer.begin(kSequence);
  writer.unsignedInteger(numbers.n);
  writer.unsignedInteger(numbers.e);
  writer.end(mark);
  return bytes.failed()
             ? kOutOfMemory
             : assignPublicKey(target, {kRsaEncryption.content(), kNoParameters}, bytes.view());
}

int32_t assignEcHalf(const EcNumbers& numbers, runtime::PublicKey* target) {
  Bytes point;
  const int32_t result = appendPoint(*numbers.curve, numbers.secret, point);
  if (failed(result)) {
    return result;
  }
  Bytes parameters;
  DerWriter(parameters).objectId(numbers.curve->objectId);
  return parameters.failed()
             ? kOutOfMemory
             : assignPublicKey(target, {kEcPublicKey.content(), parameters.view()}, point.view());
}

}  // namespace

bool canSign(const runtime::PrivateKeyMaterial& key) {
  return rsaNumbersOf(key) || ecNumbersOf(key);
}

int32_t assignPublicHalf(const runtime::PrivateKeyMaterial& key, runtime::PublicKey* target) {
  if (const auto rsa = rsaNumbersOf(key)) {
    return assignRsaHalf(*rsa, target);
  }
  const auto ec = ecNumbersOf(key);
  return ec ? assignEcHalf(*ec, target) : kInvalidArgument;
}

int32_t makeKeyPair(const AlgorithmView& algorithm, const Bytes& privateBytes,
                    runtime::KeyObject** out) {
  if (privateBytes.failed()) {
    return kOutOfMemory;
  }
  KeyHolder key;
  int32_t result = makeKey(key.put());
  if (!failed(result)) {
    result = assignPrivateKey(&key.get()->privateKey, algorithm, privateBytes.view());
  }
  if (!failed(result)) {
    result = assignPublicHalf(key.get()->privateKey, &key.get()->publicKey);
  }
  if (!failed(result)) {
    *out = key.release();
  }
  return result;
}

int32_t checkPair(const runtime::PrivateKeyMaterial& key, const runtime::PublicKey& publicKey) {
  runtime::PublicKey half{};
  int32_t result = assignPublicHalf(key, &half);
  if (!failed(result) && !equalKeys(&half, &publicKey)) {
    result = kFail;
  }
  clearPublicKey(&half);
  return result;
}

void writeSignatureAlgorithm(const runtime::PrivateKeyMaterial& key, DerWriter& writer) {
  const size_t mark = writer.begin(kSequence);
  if (rsaNumbersOf(key)) {
    writer.objectId(kSha256WithRsa);
    writer.null();
  } else {
    writer.objectId(kSha256WithEcdsa);
  }
  writer.end(mark);
}

int32_t signSha256(const runtime::PrivateKeyMaterial& key, ByteView data, Bytes& signature) {
  if (!libraryReady()) {
    return kFail;
  }
  if (const auto rsa = rsaNumbersOf(key)) {
    return signRsa(*rsa, data, signature);
  }
  const auto ec = ecNumbersOf(key);
  return ec ? signEc(*ec, data, signature) : kInvalidArgument;
}

}  // namespace vexa::velmora
