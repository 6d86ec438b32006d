#include "runtime/keys/signature.h"

#include <algorithm>

#include "runtime/keys/ec_key.h"
#include "runtime/keys/expression.h"

namespace vexa::velmora {
namespace {

constexpr size_t kMaxDigestLength = 64;

enum class KeyKind { kRsa, kEc };

struct SignatureAlgorithm {
  KnownId objectId;
  KeyKind kind;
  int digest;
};
constexpr SignatureAlgorithm kSignatureAlgorithms[] = {
    {"1.2.840.113549.1.1.5", KeyKind::kRsa, GCRY_MD_SHA1},
    {"1.2.840.113549.1.1.14", KeyKind::kRsa, GCRY_MD_SHA224},
    {"1.2.840.113549.1.1.11", KeyKind::kRsa, GCRY_MD_SHA256},
    {"1.2.840.113549.1.1.12", KeyKind::kRsa, GCRY_MD_SHA384},
    {"1.2.840.113549.1.1.13", KeyKind::kRsa, GCRY_MD_SHA512},
    {"1.2.840.10045.4.1", KeyKind::kEc, GCRY_MD_SHA1},
    {"1.2.840.10045.4.3.1", KeyKind::kEc, GCRY_MD_SHA224},
    {"1.2.840.10045.4.3.2", KeyKind::kEc, GCRY_MD_SHA256},
    {"1.2.840.10045.4.3.3", KeyKind::kEc, GCRY_MD_SHA384},
    {"1.2.840.10045.4.3.4", KeyKind::kEc, GCRY_MD_SHA512},
};

Verdict check(const Sexp& signature, const Sexp& data, const Sexp& key) {
  if (!signature || !data || !key) {
    return Verdict::kUnsupported;
  }
  return gcry_pk_verify(signature.get(), data.get(), key.get()) == 0 ? Verdict::kValid
                                                                     : Verdict::kInvalid;
}

Verdict verifyRsa(int digest, ByteView hash, ByteView signature, const runtime::PublicKey& key) {
  const auto numbers = readRsaPublicKey(bytesOf(key));
  if (!numbers || !isSoundRsaKey(*numbers)) {
    return Verdict::kUnsupported;
  }
  if (signature.empty() || signature.size() > numbers->modulus.size()) {
    return Verdict::kInvalid;
  }
  const Sexp keyExpression = buildExpression(
      "(public-key (rsa (n %b) (e %b)))", lengthArgument(numbers->modulus), numbers->modulus.data(),
      lengthArgument(numbers->exponent), numbers->exponent.data());
  const Sexp data = buildExpression("(data (flags pkcs1) (hash %s %b))", gcry_md_algo_name(digest),
                                    lengthArgument(hash), hash.data());
  const Sexp value =
      buildExpression("(sig-val (rsa (s %b)))", lengthArgument(signature), signature.data());
  return check(value, data, keyExpression);
}

// ECDSA-Sig-Value = SEQUENCE { r INTEGER, s INTEGER }
Verdict verifyEc(ByteView hash, ByteView signature, const runtime::PublicKey& key) {
  const Curve* const curve = curveOf(key.algorithm);
  if (curve == nullptr) {
    return Verdict::kUnsupported;
  }

  const auto pair = derSequence(signature, {kInteger, kInteger});
  // Empty: zero, negative or none at all.
  const ByteView r = pair ? derUnsigned((*pair)[0].content).value_or(ByteView()) : ByteView();
  const ByteView s = pair ? derUnsigned((*pair)[1].content).value_or(ByteView()) : ByteView();
  if (r.empty() || s.empty() || r.size() > curve->orderBytes || s.size() > curve->orderBytes) {
    return Verdict::kInvalid;
  }
  const ByteView point = bytesOf(key);
  if (point.size() != 2 * curve->orderBytes + 1 || point[0] != 4) {
    return Verdict::kUnsupported;
  }
  const ByteView value = hash.first(std::min(hash.size(), curve->orderBytes));
  const Sexp keyExpression =
      buildExpression("(public-key (ecc (curve %s) (q %b)))", curve->libraryName,
                      lengthArgument(point), point.data());
  const Sexp data =
      buildExpression("(data (flags raw) (value %b))", lengthArgument(value), value.data());
  const Sexp numbers = buildExpression("(sig-val (ecdsa (r %b) (s %b)))", lengthArgument(r),
                                       r.data(), lengthArgument(s), s.data());
  return check(numbers, data, keyExpression);
}

}  // namespace

Verdict verifySignature(const AlgorithmView& algorithm, ByteView data, ByteView signature,
                        const runtime::PublicKey& key) {
  if (!libraryReady() || key.algorithm.identifier == nullptr) {
    return Verdict::kUnsupported;
  }
  const auto known =
      std::find_if(std::begin(kSignatureAlgorithms), std::end(kSignatureAlgorithms),
                   [&](const auto& candidate) { return algorithm.objectId == candidate.objectId; });
  if (known == std::end(kSignatureAlgorithms)) {
    return Verdict::kUnsupported;
  }
  const ByteView keyId = contentOf(key.algorithm.identifier);
  if (keyId != (known->kind == KeyKind::kRsa ? kRsaEncryption : kEcPublicKey)) {
    return Verdict::kInvalid;
  }
  uint8_t hash[kMaxDigestLength];
  gcry_md_hash_buffer(known->digest, hash, data.data(), data.size());
  const ByteView digest(hash, gcry_md_get_algo_dlen(known->digest));
  return known->kind == KeyKind::kRsa ? verifyRsa(known->digest, digest, signature, key)
                                      : verifyEc(digest, signature, key);
}

}  // namespace vexa::velmora
