#include "runtime/keys/signature.h"

#include <algorithm>

namespace vexa::velmora {
namespace {

constexpr size_t kMaxDigestLength = 64;
constexpr size_t kMaxModulusBytes = 2048;  // larger ones only serve to keep us busy

enum class KeyKind { kRsa, kEc };

struct SignatureAlgorithm {
  KnownId objectId;
  KeyKind kind;
  int digest;
};
constexpr SignatureAlgorithm kSignatureAlgorithms[] = {
    {"1.2.840.113549.1.1.5", KeyKind::kRsa, GCRY_MD_SHA1},
    {"1.2.840.113549.1.1.14", KeyKind::kRsa, GCRY_MD_SHA224},
    {kSha256WithRsa, KeyKind::kRsa, GCRY_MD_SHA256},
    {"1.2.840.113549.1.1.12", KeyKind::kRsa, GCRY_MD_SHA384},
    {"1.2.840.113549.1.1.13", KeyKind::kRsa, GCRY_MD_SHA512},
    {"1.2.840.10045.4.1", KeyKind::kEc, GCRY_MD_SHA1},
    {"1.2.840.10045.4.3.1", KeyKind::kEc, GCRY_MD_SHA224},
    {"1.2.840.10045.4.3.2", KeyKind::kEc, GCRY_MD_SHA256},
    {"1.2.840.10045.4.3.3", KeyKind::kEc, GCRY_MD_SHA384},
    {"1.2.840.10045.4.3.4", KeyKind::kEc, GCRY_MD_SHA512},
};

constexpr KnownId kEcPublicKey = "1.2.840.10045.2.1";

struct Curve {
  KnownId objectId;
  const char* name;
  size_t orderBytes;
};
constexpr Curve kCurves[] = {
    {"1.2.840.10045.3.1.7", "NIST P-256", 32},
    {"1.3.132.0.34", "NIST P-384", 48},
    {"1.3.132.0.35", "NIST P-521", 66},
};

// libgcrypt's %b takes a length and a pointer.
int lengthArgument(ByteView bytes) { return static_cast<int>(bytes.size()); }

template <class... Arguments>
Sexp build(const char* format, Arguments... arguments) {
  gcry_sexp_t expression = nullptr;
  return gcry_sexp_build(&expression, nullptr, format, arguments...) == 0 ? Sexp(expression)
                                                                          : nullptr;
}

Verdict check(const Sexp& signature, const Sexp& data, const Sexp& key) {
  if (!signature || !data || !key) {
    return Verdict::kUnsupported;
  }
  return gcry_pk_verify(signature.get(), data.get(), key.get()) == 0 ? Verdict::kValid
                                                                     : Verdict::kInvalid;
}

// The arithmetic takes odd moduli and exponents above 1 for granted.
bool isSound(const RsaPublicNumbers& numbers) {
  return numbers.modulus.size() >= 64 && numbers.modulus.size() <= kMaxModulusBytes &&
         (numbers.modulus.back() & 1) != 0 && !numbers.exponent.empty() &&
         (numbers.exponent.back() & 1) != 0 && numbers.exponent.size() <= 8 &&
         (numbers.exponent.size() > 1 || numbers.exponent[0] > 1);
}

Verdict verifyRsa(int digest, ByteView hash, ByteView signature, const runtime::PublicKey& key) {
  const auto numbers = readRsaPublicKey(bytesOf(key));
  if (!numbers || !isSound(*numbers)) {
    return Verdict::kUnsupported;
  }
  if (signature.empty() || signature.size() > numbers->modulus.size()) {
    return Verdict::kInvalid;
  }
  const Sexp keyExpression =
      build("(public-key (rsa (n %b) (e %b)))", lengthArgument(numbers->modulus),
            numbers->modulus.data(), lengthArgument(numbers->exponent), numbers->exponent.data());
  const Sexp data = build("(data (flags pkcs1) (hash %s %b))", gcry_md_algo_name(digest),
                          lengthArgument(hash), hash.data());
  const Sexp value = build("(sig-val (rsa (s %b)))", lengthArgument(signature), signature.data());
  return check(value, data, keyExpression);
}

// ECDSA-Sig-Value = SEQUENCE { r INTEGER, s INTEGER }
Verdict verifyEc(ByteView hash, ByteView signature, const runtime::PublicKey& key) {
  const auto curveId = derContent(viewOf(key.algorithm.parameters), kObjectId);
  if (!curveId) {
    return Verdict::kUnsupported;
  }
  const auto curve = std::find_if(std::begin(kCurves), std::end(kCurves),
                                  [&](const Curve& known) { return *curveId == known.objectId; });
  if (curve == std::end(kCurves)) {
    return Verdict::kUnsupported;
  }

  const auto sequence = derContent(signature, kSequence);
  if (!sequence) {
    return Verdict::kInvalid;
  }
  DerReader reader(*sequence);
  const auto first = reader.take(kInteger);
  const auto second = reader.take(kInteger);
  const auto r = first ? derUnsigned(first->content) : std::nullopt;
  const auto s = second ? derUnsigned(second->content) : std::nullopt;
  if (!r || !s || r->empty() || s->empty() || !reader.atEnd() || r->size() > curve->orderBytes ||
      s->size() > curve->orderBytes) {
    return Verdict::kInvalid;
  }
  const ByteView point = bytesOf(key);
  if (point.size() != 2 * curve->orderBytes + 1 || point[0] != 4) {
    return Verdict::kUnsupported;
  }
  const ByteView value = hash.first(std::min(hash.size(), curve->orderBytes));
  const Sexp keyExpression = build("(public-key (ecc (curve %s) (q %b)))", curve->name,
                                   lengthArgument(point), point.data());
  const Sexp data = build("(data (flags raw) (value %b))", lengthArgument(value), value.data());
  const Sexp numbers = build("(sig-val (ecdsa (r %b) (s %b)))", lengthArgument(*r), r->data(),
                             lengthArgument(*s), s->data());
  return check(numbers, data, keyExpression);
}

using Mpi = std::unique_ptr<gcry_mpi, Closer<gcry_mpi_release>>;

Mpi takeMpi(gcry_sexp_t expression, const char* token) {
  const Sexp found(gcry_sexp_find_token(expression, token, 0));
  return Mpi(found ? gcry_sexp_nth_mpi(found.get(), 1, GCRYMPI_FMT_USG) : nullptr);
}

void writeMpi(gcry_mpi_t number, DerWriter& writer) {
  uint8_t bytes[kMaxModulusBytes + 1];
  size_t length = 0;
  if (gcry_mpi_print(GCRYMPI_FMT_USG, bytes, sizeof(bytes), &length, number) != 0) {
    writer.fail();
  }
  writer.unsignedInteger({bytes, length});
  wipe(bytes, sizeof(bytes));
}

// d mod (prime - 1)
Mpi exponentFor(gcry_mpi_t d, gcry_mpi_t prime) {
  Mpi reduced(gcry_mpi_new(0));
  Mpi order(gcry_mpi_new(0));
  gcry_mpi_sub_ui(order.get(), prime, 1);
  gcry_mpi_mod(reduced.get(), d, order.get());
  return reduced;
}

// libgcrypt's coefficient is the inverse of p modulo q, where PKCS#1 has that of its second prime
// modulo its first. So the two primes change places.
bool writePrivateKey(gcry_sexp_t pair, Bytes& out) {
  const Mpi n = takeMpi(pair, "n"), e = takeMpi(pair, "e"), d = takeMpi(pair, "d");
  const Mpi prime1 = takeMpi(pair, "q"), prime2 = takeMpi(pair, "p"), u = takeMpi(pair, "u");
  if (!n || !e || !d || !prime1 || !prime2 || !u) {
    return false;
  }
  const Mpi exponent1 = exponentFor(d.get(), prime1.get());
  const Mpi exponent2 = exponentFor(d.get(), prime2.get());
  DerWriter writer(out);
  const size_t mark = writer.begin(kSequence);
  writer.smallInteger(0);
  for (const Mpi* number : {&n, &e, &d, &prime1, &prime2, &exponent1, &exponent2, &u}) {
    writeMpi(number->get(), writer);
  }
  writer.end(mark);
  return true;
}

bool writePublicKey(gcry_sexp_t pair, Bytes& out) {
  const Mpi n = takeMpi(pair, "n"), e = takeMpi(pair, "e");
  if (!n || !e) {
    return false;
  }
  DerWriter writer(out);
  const size_t mark = writer.begin(kSequence);
  writeMpi(n.get(), writer);
  writeMpi(e.get(), writer);
  writer.end(mark);
  return true;
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

int32_t signSha256WithRsa(const runtime::PrivateKeyMaterial& key, ByteView data, Bytes& signature) {
  const auto numbers = readRsaPrivateKey(bytesOf(key));
  if (!numbers) {
    return kInvalidArgument;
  }
  const auto n = derUnsigned(numbers->integers[1]);
  const auto e = derUnsigned(numbers->integers[2]);
  const auto d = derUnsigned(numbers->integers[3]);
  if (!n || !e || !d || d->empty() || !isSound({*n, *e})) {
    return kInvalidArgument;
  }
  if (!libraryReady()) {
    return kFail;
  }

  uint8_t hash[32];
  gcry_md_hash_buffer(GCRY_MD_SHA256, hash, data.data(), data.size());
  const Sexp keyExpression =
      build("(private-key (rsa (n %b) (e %b) (d %b)))", lengthArgument(*n), n->data(),
            lengthArgument(*e), e->data(), lengthArgument(*d), d->data());
  const Sexp dataExpression =
      build("(data (flags pkcs1) (hash sha256 %b))", static_cast<int>(sizeof(hash)), hash);
  if (!keyExpression || !dataExpression) {
    return kOutOfMemory;
  }
  gcry_sexp_t result = nullptr;
  if (gcry_pk_sign(&result, dataExpression.get(), keyExpression.get()) != 0) {
    return kFail;
  }
  const Sexp owner(result);
  const Mpi number = takeMpi(result, "s");
  uint8_t value[kMaxModulusBytes + 1];
  size_t length = 0;
  if (!number ||
      gcry_mpi_print(GCRYMPI_FMT_USG, value, sizeof(value), &length, number.get()) != 0 ||
      length > n->size()) {
    return kFail;
  }
  for (size_t i = length; i < n->size(); ++i) {
    signature.append(uint8_t{0});
  }
  signature.append({value, length});
  return signature.failed() ? kOutOfMemory : kOk;
}

int32_t generateRsaKey(uint32_t bits, runtime::KeyObject** out) {
  if (bits < 1024 || bits > 8 * kMaxModulusBytes) {
    return kInvalidArgument;
  }
  if (!libraryReady()) {
    return kFail;
  }
  const Sexp parameters = build("(genkey (rsa (nbits %d)))", static_cast<int>(bits));
  gcry_sexp_t generated = nullptr;
  if (!parameters || gcry_pk_genkey(&generated, parameters.get()) != 0) {
    return kFail;
  }
  const Sexp pair(generated);
  Bytes privateBytes;
  Bytes publicBytes;
  if (!writePrivateKey(generated, privateBytes) || !writePublicKey(generated, publicBytes)) {
    return kFail;
  }
  if (privateBytes.failed() || publicBytes.failed()) {
    return kOutOfMemory;
  }

  runtime::KeyObject* key = nullptr;
  int32_t result = makeKey(&key);
  if (failed(result)) {
    return result;
  }
  constexpr uint8_t kNoParameters[] = {kNull, 0};
  result = assignPublicKey(&key->publicKey, {kRsaEncryption.content(), kNoParameters},
                           publicBytes.view());
  if (!failed(result)) {
    result = copyAlgorithm(&key->privateKey.algorithm, &key->publicKey.algorithm);
  }
  if (failed(result)) {
    releaseKey(key);
    return result;
  }
  key->privateKey.bitLength = 8 * uint64_t{privateBytes.size()};
  key->privateKey.bytes = privateBytes.release();
  *out = key;
  return kOk;
}

}  // namespace vexa::velmora
