#pragma once

#include "runtime/der/der_reader.h"
#include "runtime/der/der_writer.h"
#include "runtime/der/object_id.h"
#include "vexa/holders.h"

// Algorithm identifiers, public keys and private keys: the plain records and their encodings.
namespace vexa::velmora {

inline constexpr KnownId kRsaEncryption = "1.2.840.113549.1.1.1";

// An AlgorithmIdentifier (RFC 5280, 4.1.1.2), taken apart.
struct AlgorithmView {
  ByteView objectId;    // content
  ByteView parameters;  // DER, empty when absent
};
std::optional<AlgorithmView> readAlgorithm(ByteView content);
// Absent parameters and NULL are the same.
bool equalParameters(ByteView a, ByteView b);

// Both copies replace what the target held and leave it alone on kOutOfMemory. Source and target
// may be the same.
int32_t copyAlgorithm(runtime::AlgorithmId* target, const runtime::AlgorithmId* source);
int32_t assignAlgorithm(runtime::AlgorithmId* target, const AlgorithmView& source);
void clearAlgorithm(runtime::AlgorithmId* algorithm);
// An algorithm without identifier fails the writer.
void writeAlgorithm(const runtime::AlgorithmId& algorithm, DerWriter& writer);

inline ByteView bytesOf(const runtime::PublicKey& key) {
  return {key.bytes, static_cast<size_t>(key.bitLength / 8)};
}
inline ByteView bytesOf(const runtime::PrivateKeyMaterial& key) {
  return {key.bytes, static_cast<size_t>(key.bitLength / 8)};
}

int32_t copyPublicKey(runtime::PublicKey* target, const runtime::PublicKey* source);
int32_t assignPublicKey(runtime::PublicKey* target, const AlgorithmView& algorithm, ByteView bytes);
void clearPublicKey(runtime::PublicKey* key);
int32_t assignPrivateKey(runtime::PrivateKeyMaterial* target, const AlgorithmView& algorithm,
                         ByteView bytes);
// Same algorithm and same key: for RSA the same numbers, else the same bytes. An empty key equals
// nothing.
bool equalKeys(const runtime::PublicKey* a, const runtime::PublicKey* b);

// The numbers of an RSAPublicKey or RSAPrivateKey (RFC 8017, A.1) as unsigned bytes without leading
// zeros, inside the encoding.
struct RsaPublicNumbers {
  ByteView modulus;
  ByteView exponent;
};
std::optional<RsaPublicNumbers> readRsaPublicKey(ByteView der);
inline constexpr size_t kMaxModulusBytes = 2048;  // larger ones only serve to keep us busy
// Whether the arithmetic may be done: it takes odd moduli and exponents above 1 for granted.
bool isSoundRsaKey(const RsaPublicNumbers& numbers);

inline constexpr int kRsaPrivateIntegers = 9;
struct RsaPrivateNumbers {
  ByteView integers[kRsaPrivateIntegers];  // contents as encoded, version first
};
std::optional<RsaPrivateNumbers> readRsaPrivateKey(ByteView der);

int32_t makeKey(runtime::KeyObject** out);
// Wipes the private bytes; null is ignored.
void releaseKey(runtime::KeyObject* key);
using KeyHolder = FunctionHolder<runtime::KeyObject, releaseKey>;

int32_t decodeRsaPrivateKey(ByteView der, runtime::RsaPrivateKey** out);
// Wipes the numbers; null is ignored.
void releaseRsaPrivateKey(runtime::RsaPrivateKey* key);
using RsaPrivateKeyHolder = FunctionHolder<runtime::RsaPrivateKey, releaseRsaPrivateKey>;

}  // namespace vexa::velmora
