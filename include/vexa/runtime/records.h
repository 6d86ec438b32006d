#pragma once

#include "vexa/runtime/slots.h"

// Plain records shared by the runtime's tables. All integers are little-endian; lengths are bytes
// unless said otherwise.
namespace vexa::runtime {

// Released with CommonTypes::BufferRelease, which frees the data and then the record through the
// root list. data may be null when length is 0. A certificate's DER pair has the same shape.
struct ByteBuffer {
  uint64_t length;
  uint8_t* data;
};
static_assert(sizeof(ByteBuffer) == 16 && offsetof(ByteBuffer, data) == 8);

// A counted text; text is null when empty, else zero-terminated behind the counted bytes. All zero
// is a valid empty string. Worked on through String.1 only.
struct StringObject {
  char* text;
  uint64_t length;  // bytes without the terminator
};
static_assert(sizeof(StringObject) == 16 && offsetof(StringObject, length) == 8);

// The same with 16-bit units, through StringW.1 only.
struct WideStringObject {
  char16_t* text;
  uint64_t length;  // units without the terminator
};
static_assert(sizeof(WideStringObject) == 16 && offsetof(WideStringObject, length) == 8);

struct ObjectId;     // object.h
struct Certificate;  // certificate.h

// Copied with CommonTypes::AlgorithmIdCopy. identifier is an owned reference, or null.
struct AlgorithmId {
  ObjectId* identifier;
  ByteBuffer parameters;  // DER of the parameters, empty when absent
};
static_assert(sizeof(AlgorithmId) == 24);

// All zero is empty. bytes: for RSA the PKCS#1 RSAPublicKey in DER, bitLength / 8 bytes of it.
struct PublicKey {
  AlgorithmId algorithm;
  uint64_t bitLength;
  uint8_t* bytes;
};
static_assert(sizeof(PublicKey) == 40);

// The encoded private key, bitLength / 8 bytes; for RSA the PKCS#1 RSAPrivateKey in DER.
struct PrivateKeyMaterial {
  AlgorithmId algorithm;
  uint64_t bitLength;
  uint8_t* bytes;
};
static_assert(sizeof(PrivateKeyMaterial) == 40);

// A private key with its public half (which may be empty). Made with CommonTypes::KeyCreate,
// released with KeyRelease, which wipes the private bytes.
struct KeyObject {
  PublicKey publicKey;
  PrivateKeyMaterial privateKey;
};
static_assert(sizeof(KeyObject) == 80 && offsetof(KeyObject, privateKey) == 40);

// A big-endian unsigned integer as it was encoded, leading zero bytes kept.
struct BigInteger {
  uint64_t length;
  uint8_t* bytes;
};
static_assert(sizeof(BigInteger) == 16);

// RSAPrivateKey of RFC 8017, A.1.2.
struct RsaPrivateKey {
  BigInteger version;
  BigInteger modulus;
  BigInteger publicExponent;
  BigInteger privateExponent;
  BigInteger prime1;
  BigInteger prime2;
  BigInteger exponent1;
  BigInteger exponent2;
  BigInteger coefficient;
};
static_assert(sizeof(RsaPrivateKey) == 9 * 16);

// A singly linked list of certificates; blocks from the root list, one reference per record.
struct CertificateList {
  Certificate* certificate;
  CertificateList* next;
  uint64_t count;  // 1; read by nobody
};
static_assert(sizeof(CertificateList) == 24);

// One attribute asked of an IAttributes implementer.
struct AttributeValue {
  union {
    StringObject string;  // ids 54, 55
    ByteBuffer blob;      // id 56
    void* pointer;        // ids 13, 58, 240: an object that the caller owns
  };
};
struct AttributeRequest {
  uint32_t id;
  AttributeValue value;
  uint8_t found;  // 1: served
  AttributeRequest* next;
};
static_assert(offsetof(AttributeRequest, value) == 8);
static_assert(offsetof(AttributeRequest, found) == 24);
static_assert(offsetof(AttributeRequest, next) == 32 && sizeof(AttributeRequest) == 40);

}  // namespace vexa::runtime
