#pragma once

#include <array>

#include "runtime/certificates/certificate_time.h"
#include "runtime/certificates/name.h"
#include "runtime/keys/key.h"
#include "vexa/runtime/certificate.h"

// X.509 certificates (RFC 5280), decoded or under construction.
namespace vexa::velmora {

// A call of a setter that has no meaning here.
struct SetterCall {
  uint32_t slot;
  void* words[2];
};

using KeyUsageFlags = std::array<uint8_t, runtime::kKeyUsageFlags>;

// With an encoding it never changes any more: it was decoded, or signed. Without one it is under
// construction.
struct CertificateObject : Counted<runtime::Certificate> {
  static constexpr char kTypeName[] = "Certificate";
  static const runtime::CertificateTable kTable;

  CertificateObject();
  ~CertificateObject();

  bool isComplete() const { return encodingRecord.data != nullptr; }

  Bytes encoding;
  runtime::ByteBuffer encodingRecord{};  // the same bytes
  // Parts of the encoding.
  ByteView signedPart;
  AlgorithmView signatureAlgorithm;
  ByteView signature;

  Bytes serial;  // content of the INTEGER
  Ref<runtime::Name> issuer;
  Ref<runtime::Name> subject;
  LibraryTimeText notBefore;
  LibraryTimeText notAfter;
  runtime::PublicKey publicKey{};
  std::optional<KeyUsageFlags> keyUsage;
  bool keyUsageCritical = false;
  runtime::ExtendedKeyUsage* extendedKeyUsage = nullptr;  // null: absent
  runtime::ExtendedKeyUsage** extendedKeyUsageEnd = &extendedKeyUsage;
  std::optional<runtime::BasicConstraints> basicConstraints;
  std::optional<uint32_t> pathLength;

  ByteView subjectKeyIdentifier;  // part of the encoding; empty: absent

  // Of one under construction alone.
  Bytes alternativeNames;        // GeneralNames
  Bytes setterCalls;             // of SetterCall
  const char* reason = nullptr;  // why the last setter or signing refused
};

inline CertificateObject* implementationOf(runtime::Certificate* certificate) {
  return static_cast<CertificateObject*>(certificate);
}

// Appends an entry at the end of the list.
int32_t appendExtendedKeyUsage(CertificateObject& certificate, runtime::ObjectId* owned);

// The same object, or equal encodings; null equals nothing.
bool equalCertificates(runtime::Certificate* a, runtime::Certificate* b);
// Equal names, and a signature that verifies under the own key where its algorithm is known.
bool isSelfSigned(const CertificateObject& certificate);
// Whether `issuer` may have signed `certificate`: names fit and the signature is not wrong.
bool isIssuedBy(runtime::Certificate* certificate, runtime::Certificate* issuer);

void releaseCertificateList(runtime::CertificateList* head);

}  // namespace vexa::velmora
