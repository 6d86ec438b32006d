#include "vexa/runtime/reference_crypto.h"

#include <cstring>

#include "runtime/certificates/certificate_builder.h"
#include "runtime/certificates/certificate_time.h"
#include "runtime/keys/signature.h"
#include "runtime/pse/pse.h"

namespace vexa::velmora {
namespace {

static_assert(sizeof(SetterCall) == sizeof(VelmoraSetterCall));

// Null when it cannot be changed any more.
CertificateObject* underConstruction(runtime::Certificate* certificate) {
  CertificateObject* const object = implementationOf(certificate);
  return object->isComplete() ? nullptr : object;
}

int32_t setName(runtime::Certificate* certificate, const char* text,
                Ref<runtime::Name> CertificateObject::*name) {
  if (certificate == nullptr || text == nullptr) {
    return kNullPointer;
  }
  CertificateObject* const object = underConstruction(certificate);
  if (object == nullptr) {
    return kAccessDenied;
  }
  runtime::Name* made = nullptr;
  const int32_t result = makeNameFromText(text, &made);
  if (!failed(result)) {
    (object->*name).reset(made);
  }
  return result;
}

}  // namespace
}  // namespace vexa::velmora

using namespace vexa;           // NOLINT: the exports below belong to no namespace
using namespace vexa::velmora;  // NOLINT

int32_t velmora_pse_configure(const char* file, const char* password) {
  return configurePse(file, password);
}

int32_t velmora_pse_reload() { return reloadPse(); }

int32_t velmora_key_generate_rsa(uint32_t bits, runtime::KeyObject** key) {
  if (key == nullptr) {
    return kNullPointer;
  }
  *key = nullptr;
  return generateRsaKey(bits, key);
}

int32_t velmora_certificate_create(runtime::Certificate** out) {
  if (out == nullptr) {
    return kNullPointer;
  }
  *out = makeOnHeap<CertificateObject>();
  return *out == nullptr ? kOutOfMemory : kOk;
}

int32_t velmora_certificate_set_subject(runtime::Certificate* certificate, const char* name) {
  return setName(certificate, name, &CertificateObject::subject);
}

int32_t velmora_certificate_set_issuer(runtime::Certificate* certificate, const char* name) {
  return setName(certificate, name, &CertificateObject::issuer);
}

int32_t velmora_certificate_set_serial(runtime::Certificate* certificate, const uint8_t* bytes,
                                       uint64_t length) {
  if (certificate == nullptr || bytes == nullptr) {
    return kNullPointer;
  }
  CertificateObject* const object = underConstruction(certificate);
  if (object == nullptr) {
    return kAccessDenied;
  }
  if (length == 0) {
    return kInvalidArgument;
  }
  Bytes serial;
  serial.append({bytes, static_cast<size_t>(length)});
  if (serial.failed()) {
    return kOutOfMemory;
  }
  object->serial = std::move(serial);
  return kOk;
}

int32_t velmora_certificate_set_validity(runtime::Certificate* certificate, const char* start,
                                         const char* end) {
  if (certificate == nullptr || start == nullptr || end == nullptr) {
    return kNullPointer;
  }
  CertificateObject* const object = underConstruction(certificate);
  if (object == nullptr) {
    return kAccessDenied;
  }
  if (!isLibraryTime(start) || !isLibraryTime(end)) {
    return kInvalidArgument;
  }
  std::strcpy(object->notBefore.text, start);
  std::strcpy(object->notAfter.text, end);
  return kOk;
}

int32_t velmora_certificate_set_public_key(runtime::Certificate* certificate,
                                           const runtime::PublicKey* key) {
  if (certificate == nullptr || key == nullptr) {
    return kNullPointer;
  }
  CertificateObject* const object = underConstruction(certificate);
  return object == nullptr ? kAccessDenied : copyPublicKey(&object->publicKey, key);
}

int32_t velmora_certificate_set_basic_constraints(runtime::Certificate* certificate, uint8_t isCa,
                                                  int32_t pathLength) {
  if (certificate == nullptr) {
    return kNullPointer;
  }
  CertificateObject* const object = underConstruction(certificate);
  if (object == nullptr) {
    return kAccessDenied;
  }
  object->basicConstraints = runtime::BasicConstraints{isCa != 0 ? uint8_t{1} : uint8_t{0}};
  object->pathLength.reset();
  if (pathLength >= 0) {
    object->pathLength = static_cast<uint32_t>(pathLength);
  }
  return kOk;
}

int32_t velmora_certificate_add_extended_key_usage(runtime::Certificate* certificate,
                                                   const char* objectId) {
  if (certificate == nullptr || objectId == nullptr) {
    return kNullPointer;
  }
  CertificateObject* const object = underConstruction(certificate);
  if (object == nullptr) {
    return kAccessDenied;
  }
  runtime::ObjectId* identifier = nullptr;
  const int32_t result = makeObjectId(objectId, &identifier);
  return failed(result) ? result : appendExtendedKeyUsage(*object, identifier);
}

int32_t velmora_certificate_sign(runtime::Certificate* certificate,
                                 const runtime::KeyObject* issuerKey,
                                 runtime::Certificate* issuer) {
  if (certificate == nullptr || issuerKey == nullptr) {
    return kNullPointer;
  }
  return signCertificate(*implementationOf(certificate), *issuerKey, issuer);
}

int32_t velmora_certificate_setter_call(runtime::Certificate* certificate, uint64_t index,
                                        VelmoraSetterCall* call) {
  if (certificate == nullptr || call == nullptr) {
    return kNullPointer;
  }
  const Bytes& calls = implementationOf(certificate)->setterCalls;
  if (index >= calls.size() / sizeof(SetterCall)) {
    return kInvalidArgument;
  }
  std::memcpy(call, calls.data() + index * sizeof(SetterCall), sizeof(SetterCall));
  return kOk;
}
