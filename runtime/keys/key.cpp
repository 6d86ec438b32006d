#include "runtime/keys/key.h"

namespace vexa::velmora {
namespace {

constexpr uint8_t kDerNull[] = {kNull, 0};

bool meansNoParameters(ByteView parameters) {
  return parameters.empty() || equalBytes(parameters, kDerNull);
}

bool equalRsaKeys(ByteView a, ByteView b) {
  const auto first = readRsaPublicKey(a);
  const auto second = readRsaPublicKey(b);
  return first && second && equalBytes(first->modulus, second->modulus) &&
         equalBytes(first->exponent, second->exponent);
}

// Both a public key and private material: algorithm, length in bits, bytes.
template <class Key>
void clearKeyRecord(Key* key) {
  clearAlgorithm(&key->algorithm);
  freeSecret(key->bytes, static_cast<size_t>(key->bitLength / 8));
  *key = {};
}

template <class Key>
int32_t assignKeyRecord(Key* target, const AlgorithmView& algorithm, ByteView bytes) {
  Bytes copied;
  copied.append(bytes);
  if (copied.failed()) {
    return kOutOfMemory;
  }
  Key key{};
  const int32_t result = assignAlgorithm(&key.algorithm, algorithm);
  if (failed(result)) {
    return result;
  }
  key.bitLength = 8 * uint64_t{copied.size()};
  key.bytes = copied.release();
  clearKeyRecord(target);
  *target = key;
  return kOk;
}

runtime::BigInteger* integersOf(runtime::RsaPrivateKey* key) {
  return reinterpret_cast<runtime::BigInteger*>(key);
}

}  // namespace

std::optional<AlgorithmView> readAlgorithm(ByteView content) {
  DerReader reader(content);
  const auto objectId = reader.take(kObjectId);
  if (!objectId || !isObjectId(objectId->content)) {
    return std::nullopt;
  }
  const ByteView parameters = content.subspan(objectId->whole.size());
  if (!reader.atEnd() && (!reader.takeAny() || !reader.atEnd())) {
    return std::nullopt;
  }
  return AlgorithmView{objectId->content, parameters};
}

bool equalParameters(ByteView a, ByteView b) {
  return equalBytes(a, b) || (meansNoParameters(a) && meansNoParameters(b));
}

int32_t copyAlgorithm(runtime::AlgorithmId* target, const runtime::AlgorithmId* source) {
  if (target == source) {
    return kOk;
  }
  const int32_t result = assignBuffer(&target->parameters, viewOf(source->parameters));
  if (failed(result)) {
    return result;
  }
  auto identifier = Ref<runtime::ObjectId>::share(source->identifier);
  Ref<runtime::ObjectId> old(std::exchange(target->identifier, identifier.release()));
  return kOk;
}

int32_t assignAlgorithm(runtime::AlgorithmId* target, const AlgorithmView& source) {
  runtime::ObjectId* made = nullptr;
  int32_t result = makeObjectId(source.objectId, &made);
  if (failed(result)) {
    return result;
  }
  Ref<runtime::ObjectId> identifier(made);
  result = assignBuffer(&target->parameters, source.parameters);
  if (failed(result)) {
    return result;
  }
  Ref<runtime::ObjectId> old(std::exchange(target->identifier, identifier.release()));
  return kOk;
}

void clearAlgorithm(runtime::AlgorithmId* algorithm) {
  Ref<runtime::ObjectId> identifier(std::exchange(algorithm->identifier, nullptr));
  clearBuffer(&algorithm->parameters);
}

void writeAlgorithm(const runtime::AlgorithmId& algorithm, DerWriter& writer) {
  if (algorithm.identifier == nullptr) {
    writer.fail();
    return;
  }
  const size_t mark = writer.begin(kSequence);
  writer.element(kObjectId, contentOf(algorithm.identifier));
  writer.raw(viewOf(algorithm.parameters));
  writer.end(mark);
}

int32_t copyPublicKey(runtime::PublicKey* target, const runtime::PublicKey* source) {
  if (target == source) {
    return kOk;
  }
  Bytes bytes;
  if (source->bytes != nullptr) {
    bytes.append(bytesOf(*source));
  }
  if (bytes.failed()) {
    return kOutOfMemory;
  }
  runtime::PublicKey copy{};
  const int32_t result = copyAlgorithm(&copy.algorithm, &source->algorithm);
  if (failed(result)) {
    return result;
  }
  copy.bitLength = source->bitLength;
  copy.bytes = bytes.release();
  clearPublicKey(target);
  *target = copy;
  return kOk;
}

int32_t assignPublicKey(runtime::PublicKey* target, const AlgorithmView& algorithm,
                        ByteView bytes) {
  return assignKeyRecord(target, algorithm, bytes);
}

int32_t assignPrivateKey(runtime::PrivateKeyMaterial* target, const AlgorithmView& algorithm,
                         ByteView bytes) {
  return assignKeyRecord(target, algorithm, bytes);
}

void clearPublicKey(runtime::PublicKey* key) { clearKeyRecord(key); }

bool equalKeys(const runtime::PublicKey* a, const runtime::PublicKey* b) {
  if (a == nullptr || b == nullptr || a->bytes == nullptr || b->bytes == nullptr) {
    return false;
  }
  if (!equalIds(a->algorithm.identifier, b->algorithm.identifier) ||
      !equalParameters(viewOf(a->algorithm.parameters), viewOf(b->algorithm.parameters))) {
    return false;
  }
  if (equalBytes(bytesOf(*a), bytesOf(*b))) {
    return !bytesOf(*a).empty();
  }
  return contentOf(a->algorithm.identifier) == kRsaEncryption &&
         equalRsaKeys(bytesOf(*a), bytesOf(*b));
}

std::optional<RsaPublicNumbers> readRsaPublicKey(ByteView der) {
  const auto pair = derSequence(der, {kInteger, kInteger});
  const auto n = pair ? derUnsigned((*pair)[0].content) : std::nullopt;
  const auto e = pair ? derUnsigned((*pair)[1].content) : std::nullopt;
  if (!n || !e) {
    return std::nullopt;
  }
  return RsaPublicNumbers{*n, *e};
}

bool isSoundRsaKey(const RsaPublicNumbers& numbers) {
  return numbers.modulus.size() >= 64 && numbers.modulus.size() <= kMaxModulusBytes &&
         (numbers.modulus.back() & 1) != 0 && !numbers.exponent.empty() &&
         (numbers.exponent.back() & 1) != 0 && numbers.exponent.size() <= 8 &&
         (numbers.exponent.size() > 1 || numbers.exponent[0] > 1);
}

std::optional<RsaPrivateNumbers> readRsaPrivateKey(ByteView der) {
  const auto sequence = derContent(der, kSequence);
  if (!sequence) {
    return std::nullopt;
  }
  DerReader reader(*sequence);
  RsaPrivateNumbers numbers;
  for (ByteView& integer : numbers.integers) {
    const auto element = reader.take(kInteger);
    if (!element || element->content.empty()) {
      return std::nullopt;
    }
    integer = element->content;
  }
  if (!reader.atEnd()) {
    return std::nullopt;
  }
  return numbers;
}

int32_t makeKey(runtime::KeyObject** out) {
  *out = makeBlock<runtime::KeyObject>().release();
  return *out == nullptr ? kOutOfMemory : kOk;
}

void releaseKey(runtime::KeyObject* key) {
  const HeapBlock<runtime::KeyObject> record(key);
  if (record) {
    clearKeyRecord(&key->publicKey);
    clearKeyRecord(&key->privateKey);
  }
}

int32_t decodeRsaPrivateKey(ByteView der, runtime::RsaPrivateKey** out) {
  *out = nullptr;
  const auto numbers = readRsaPrivateKey(der);
  if (!numbers) {
    return kFail;
  }
  RsaPrivateKeyHolder key(makeBlock<runtime::RsaPrivateKey>().release());
  if (!key) {
    return kOutOfMemory;
  }
  for (int i = 0; i < kRsaPrivateIntegers; ++i) {
    Bytes copy;
    copy.append(numbers->integers[i]);
    if (copy.failed()) {
      return kOutOfMemory;
    }
    integersOf(key.get())[i].length = copy.size();
    integersOf(key.get())[i].bytes = copy.release();
  }
  *out = key.release();
  return kOk;
}

void releaseRsaPrivateKey(runtime::RsaPrivateKey* key) {
  const HeapBlock<runtime::RsaPrivateKey> record(key);
  for (int i = 0; key != nullptr && i < kRsaPrivateIntegers; ++i) {
    const runtime::BigInteger& integer = integersOf(key)[i];
    freeSecret(integer.bytes, static_cast<size_t>(integer.length));
  }
}

}  // namespace vexa::velmora
