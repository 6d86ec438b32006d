#pragma once

#include "vexa/certificates.h"

namespace vexa {

inline constexpr char kOwnCertificatesClassName[] = "OwnCertificates";

// {7D52E8C1-06B9-4F7E-8A34-C91F3B6D2E05}
inline constexpr Guid IID_IOwnCertificates{
    0x7D52E8C1, 0x06B9, 0x4F7E, {0x8A, 0x34, 0xC9, 0x1F, 0x3B, 0x6D, 0x2E, 0x05}};

// Attributes of an own certificate: objects of the runtime that the caller releases, or null.
enum OwnCertificateAttribute : uint32_t {
  kOwnField6 = 13,
  kOwnField2 = 58,
  kOwnField1 = 240,
};

// One of the user's own certificates. Reading needs no lock; nobody reads while a record is set.
class IOwnCertificate : public IAttributes {
 public:
  // Slot 5. Takes over a record of the PSE (null: none) and releases the one before, unless it is
  // the same. kOk.
  virtual int32_t SetRecord(runtime::OwnCertificateRecord* record) = 0;
  // Slot 6. 1 when it is that very record, else 0.
  virtual int32_t IsSame(runtime::OwnCertificateRecord* record) = 0;
  // Slot 7. Destroys the object; bit 0 of `flags` frees its memory too. Only Release calls it.
  virtual void* DeletingDestructor(uint32_t flags) = 0;

 protected:
  ~IOwnCertificate() = default;
};

// The user's own certificates as the last Refresh found them; singleton class "OwnCertificates".
// GetItem adds a reference. Callers that refresh from several threads serialise.
class IOwnCertificates : public IContainerRO {
 public:
  // Slot 6. Asks the PSE again. Certificates that are still there keep their object. kOk, also
  // without a PSE: then there are none. kOutOfMemory: nothing changed. Throws _com_error
  // (kNullPointer) when the PSE object cannot be had. It is an exception of GCC's C++ runtime: a
  // host built with another compiler cannot catch it, and ends.
  virtual int32_t Refresh() = 0;
  // Slot 7. Destroys the object; bit 0 of `flags` frees its memory too. Only Release calls it.
  virtual void* DeletingDestructor(uint32_t flags) = 0;

 protected:
  ~IOwnCertificates() = default;
};
template <>
struct InterfaceTraits<IOwnCertificates> {
  static constexpr Guid kId = IID_IOwnCertificates;
};
template <>
struct ClassTraits<IOwnCertificates> {
  static constexpr const char* kName = kOwnCertificatesClassName;
  static constexpr bool kIsSingleton = true;
};

}  // namespace vexa
