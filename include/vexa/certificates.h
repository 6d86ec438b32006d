#pragma once

#include "vexa/container.h"
#include "vexa/module.h"
#include "vexa/runtime/certificate.h"

namespace vexa {

inline constexpr char kCertificatesClassName[] = "Certificates";
inline constexpr char kCertificateListName[] = "vexa.misc.base.certificate.1";

// {3E6B9D20-5C4F-4A81-9D17-F0A2C85B6E43}
inline constexpr Guid IID_IAttributes{
    0x3E6B9D20, 0x5C4F, 0x4A81, {0x9D, 0x17, 0xF0, 0xA2, 0xC8, 0x5B, 0x6E, 0x43}};
// {B1C40F7A-8E62-4D35-A9F3-2D7710CE5984}
inline constexpr Guid IID_ICertificates{
    0xB1C40F7A, 0x8E62, 0x4D35, {0xA9, 0xF3, 0x2D, 0x77, 0x10, 0xCE, 0x59, 0x84}};

// Attributes by number. The two operations that every implementer shares; what a class adds begins
// with slot 5.
class IAttributes : public IComponent {
 public:
  // Slot 3. kAccessDenied: certificates are read-only.
  virtual int32_t SetAttributes(runtime::AttributeRequest* list) = 0;
  // Slot 4. Fills every record of the list; `found` tells which ones were served. kOk: all. kFalse:
  // at least one was not. A negative code: the failure of at least one (kOutOfMemory); the others
  // were served all the same.
  virtual int32_t GetAttributes(runtime::AttributeRequest* list) = 0;

 protected:
  ~IAttributes() = default;
};
template <>
struct InterfaceTraits<IAttributes> {
  static constexpr Guid kId = IID_IAttributes;
};

// Attributes of a certificate.
enum CertificateAttribute : uint32_t {
  kIssuerName = 54,   // string of the caller's (RFC 4514, UTF-8)
  kSubjectName = 55,  // string of the caller's
  kDerEncoding = 56,  // blob that borrows the certificate's bytes
};

// One certificate of the runtime with its attributes. Counted by interlocked operations; reading
// needs no lock.
class ICertificate : public IAttributes {
 public:
  // Slot 5. 1 when `other` has the same content, else 0.
  virtual int32_t IsEqual(runtime::Certificate* other) = 0;
  // Slot 6. Destroys the object; bit 0 of `flags` frees its memory too. Only Release calls it.
  virtual void* DeletingDestructor(uint32_t flags) = 0;

 protected:
  ~ICertificate() = default;
};

// All certificates that were ever wrapped, in the order of their coming; singleton class
// "Certificates". GetItem adds a reference. Callers that share it between threads serialise.
class ICertificates : public IContainerRO {
 public:
  // Slot 6. The wrapper of an equal certificate, or a new one that is kept; one reference for the
  // caller. kNullPointer: null out. kInvalidArgument: null certificate. kOutOfMemory.
  virtual int32_t FindOrAdd(runtime::Certificate* certificate, ICertificate** wrapper) = 0;
  // Slot 7. Destroys the object; bit 0 of `flags` frees its memory too. Only Release calls it.
  virtual void* DeletingDestructor(uint32_t flags) = 0;

 protected:
  ~ICertificates() = default;
};
template <>
struct InterfaceTraits<ICertificates> {
  static constexpr Guid kId = IID_ICertificates;
};
template <>
struct ClassTraits<ICertificates> {
  static constexpr const char* kName = kCertificatesClassName;
  static constexpr bool kIsSingleton = true;
};

// The list "vexa.misc.base.certificate.1". Predicates answer 1 or 0, and 0 for null. An absent key
// usage or basic constraints extension forbids nothing; an absent extended key usage allows
// nothing. Any thread.
struct CertificateFunctions {
  GetModuleInfoFunction GetModuleInfo;
  int32_t (*IsEncryptionCertificate)(runtime::Certificate* certificate);
  int32_t (*IsSignatureCertificate)(runtime::Certificate* certificate);
  int32_t (*IsClientAuthCertificate)(runtime::Certificate* certificate);  // id-kp-clientAuth
  int32_t (*IsCACertificate)(runtime::Certificate* certificate);
  int32_t (*IsRootCACertificate)(runtime::Certificate* certificate);  // CA, issuer is subject
  int32_t (*IsSelfIssuedEndEntity)(
      runtime::Certificate* certificate);  // no root, issuer is subject
  int32_t (*HasExtendedKeyUsage)(runtime::Certificate* certificate, runtime::ObjectId* usage);
  // What accessors 13 and 14 of the runtime's certificate answer.
  void* (*GetCertificateValueA)(runtime::Certificate* certificate);
  void* (*GetCertificateValueB)(runtime::Certificate* certificate);
  // Adds the certificate, with a reference, at the end of the list unless it is null or listed
  // already. Returns the head. Without memory the list stays as it is.
  runtime::CertificateList* (*AppendCertificate)(runtime::CertificateList* head,
                                                 runtime::Certificate* certificate);
  void (*GetSecondName)(runtime::Certificate* certificate, runtime::StringObject* out);  // subject
  void (*GetFirstName)(runtime::Certificate* certificate, runtime::StringObject* out);   // issuer
  // DER or base64 text; *out is null when it cannot be read, else carries one reference.
  void (*CertificateFromText)(const char* text, runtime::Certificate** out);
};
template <>
struct ListTraits<CertificateFunctions> {
  static constexpr const char* kName = kCertificateListName;
  static constexpr ListSlot kSlots[] = {
      VEXA_LIST_SLOT(CertificateFunctions, GetModuleInfo, 0),
      VEXA_LIST_SLOT(CertificateFunctions, IsEncryptionCertificate, 1),
      VEXA_LIST_SLOT(CertificateFunctions, IsSignatureCertificate, 2),
      VEXA_LIST_SLOT(CertificateFunctions, IsClientAuthCertificate, 3),
      VEXA_LIST_SLOT(CertificateFunctions, IsCACertificate, 4),
      VEXA_LIST_SLOT(CertificateFunctions, IsRootCACertificate, 5),
      VEXA_LIST_SLOT(CertificateFunctions, IsSelfIssuedEndEntity, 6),
      VEXA_LIST_SLOT(CertificateFunctions, HasExtendedKeyUsage, 7),
      VEXA_LIST_SLOT(CertificateFunctions, GetCertificateValueA, 8),
      VEXA_LIST_SLOT(CertificateFunctions, GetCertificateValueB, 9),
      VEXA_LIST_SLOT(CertificateFunctions, AppendCertificate, 10),
      VEXA_LIST_SLOT(CertificateFunctions, GetSecondName, 11),
      VEXA_LIST_SLOT(CertificateFunctions, GetFirstName, 12),
      VEXA_LIST_SLOT(CertificateFunctions, CertificateFromText, 13),
  };
};
static_assert(namesEverySlot<CertificateFunctions>());

}  // namespace vexa
