#pragma once

#include "vexa/runtime/object.h"

namespace vexa::runtime {

// X.509 KeyUsage (RFC 5280, 4.2.1.3): one byte a bit, in the standard bit order.
inline constexpr int kKeyUsageFlags = 9;
enum KeyUsageFlag : uint32_t {
  kDigitalSignature,
  kNonRepudiation,
  kKeyEncipherment,
  kDataEncipherment,
  kKeyAgreement,
  kKeyCertSign,
  kCrlSign,
  kEncipherOnly,
  kDecipherOnly,
};

struct ExtendedKeyUsage {
  ObjectId* identifier;
  ExtendedKeyUsage* next;
};

struct BasicConstraints {
  uint8_t cA;
};

// An X.509 certificate (RFC 5280), read-only or under construction. Everything handed out is
// borrowed from the certificate. Slots without a meaning return kNotImplemented.
struct Certificate;
using CertificateSlot = int32_t (*)(Certificate* self, void*, void*, void*);
using CertificateSetter = int32_t (*)(Certificate* self, void* value1, void* value2);

struct CertificateTable {
  ObjectHeader header;
  CertificateSlot slot7;
  Name* (*GetIssuer)(Certificate* self);   // null: empty
  Name* (*GetSubject)(Certificate* self);  // null: empty
  CertificateSlot slot10;
  // The DER encoding; null while the certificate has none. The length is below 2^32.
  const ByteBuffer* (*GetEncoding)(Certificate* self);
  CertificateSlot slot12;
  void* (*GetValueA)(Certificate* self);
  void* (*GetValueB)(Certificate* self);
  const uint8_t* (*GetKeyUsage)(Certificate* self);  // nine bytes; null: extension absent
  const ExtendedKeyUsage* (*GetExtendedKeyUsage)(Certificate* self);  // null: absent
  const BasicConstraints* (*GetBasicConstraints)(Certificate* self);  // null: absent
  const PublicKey* (*GetPublicKey)(Certificate* self);
  uint8_t (*IsSelfSigned)(Certificate* self);  // 1 or 0
  CertificateSlot slots20to40[21];
  // `flags`: nine bytes, copied.
  int32_t (*SetKeyUsage)(Certificate* self, const uint8_t* flags, uint32_t critical);
  CertificateSlot slots42to55[14];
  CertificateSetter SetExtensionB;
  CertificateSetter SetExtensionC;
  CertificateSlot slots58to59[2];
  CertificateSetter SetPairFirst;
  int32_t (*SetPairSecond)(Certificate* self, void* value2);
  CertificateSetter SetExtensionA;
  CertificateSetter SetExtensionD;
};
VEXA_FIXED_SLOT(CertificateTable, GetIssuer, 8);
VEXA_FIXED_SLOT(CertificateTable, GetSubject, 9);
VEXA_FIXED_SLOT(CertificateTable, GetEncoding, 11);
VEXA_FIXED_SLOT(CertificateTable, GetValueA, 13);
VEXA_FIXED_SLOT(CertificateTable, GetValueB, 14);
VEXA_OUR_SLOT(CertificateTable, GetKeyUsage, 15);
VEXA_OUR_SLOT(CertificateTable, GetExtendedKeyUsage, 16);
VEXA_OUR_SLOT(CertificateTable, GetBasicConstraints, 17);
VEXA_OUR_SLOT(CertificateTable, GetPublicKey, 18);
VEXA_OUR_SLOT(CertificateTable, IsSelfSigned, 19);
VEXA_FIXED_SLOT(CertificateTable, SetKeyUsage, 41);
VEXA_FIXED_SLOT(CertificateTable, SetExtensionB, 56);
VEXA_FIXED_SLOT(CertificateTable, SetExtensionC, 57);
VEXA_FIXED_SLOT(CertificateTable, SetPairFirst, 60);
VEXA_FIXED_SLOT(CertificateTable, SetPairSecond, 61);
VEXA_FIXED_SLOT(CertificateTable, SetExtensionA, 62);
VEXA_FIXED_SLOT(CertificateTable, SetExtensionD, 63);
static_assert(sizeof(CertificateTable) == 64 * 8);

struct Certificate {
  const CertificateTable* table;
};

}  // namespace vexa::runtime
