#include "vexa/runtime/reference_crypto.h"

#include <algorithm>
#include <cstring>

#include "runtime/certificates/alternative_name.h"
#include "runtime/certificates/certificate_builder.h"
#include "runtime/certificates/certificate_time.h"
#include "runtime/keys/key_generation.h"
#include "runtime/keys/signing.h"
#include "runtime/pkcs12/key_reader.h"
#include "runtime/pkcs12/pfx_decoder.h"
#include "runtime/pse/pse.h"

namespace vexa::velmora {
namespace {

static_assert(sizeof(SetterCall) == sizeof(VelmoraSetterCall));

// A serial number that is not positive or has more than 20 bytes is none (RFC 5280, 4.1.2.2).
constexpr uint64_t kMaxSerialLength = 20;

// Null when it cannot be changed any more.
CertificateObject* underConstruction(runtime::Certificate* certificate) {
  CertificateObject* const object = implementationOf(certificate);
  return object->isComplete() ? nullptr : object;
}

// Purposes of RFC 5280, 4.2.1.12.
const char* objectIdOfPurpose(const char* text) {
  struct Purpose {
    const char* name;
    const char* objectId;
  };
  static constexpr Purpose kPurposes[] = {
      {"serverAuth", "1.3.6.1.5.5.7.3.1"},   {"clientAuth", "1.3.6.1.5.5.7.3.2"},
      {"codeSigning", "1.3.6.1.5.5.7.3.3"},  {"emailProtection", "1.3.6.1.5.5.7.3.4"},
      {"timeStamping", "1.3.6.1.5.5.7.3.8"}, {"OCSPSigning", "1.3.6.1.5.5.7.3.9"},
  };
  for (const Purpose& purpose : kPurposes) {
    if (std::strcmp(text, purpose.name) == 0) {
      return purpose.objectId;
    }
  }
  return text;
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
  object->reason = nullptr;
  const int32_t result = makeNameFromText(text, &made, &object->reason);
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
  return velmora_key_generate_weak_rsa(bits, 0, key);
}

int32_t velmora_key_generate_weak_rsa(uint32_t bits, uint32_t flags, runtime::KeyObject** key) {
  if (key == nullptr) {
    return kNullPointer;
  }
  *key = nullptr;
  if ((flags & ~(kVelmoraShortKey | kVelmoraUnevenKey)) != 0) {
    return kInvalidArgument;
  }
  return generateRsaKey(bits, (flags & kVelmoraShortKey) != 0, (flags & kVelmoraUnevenKey) != 0,
                        key);
}

int32_t velmora_key_generate_ec(const char* curve, runtime::KeyObject** key) {
  if (key == nullptr) {
    return kNullPointer;
  }
  *key = nullptr;
  return curve == nullptr ? kNullPointer : generateEcKey(curve, key);
}

int32_t velmora_key_read(const runtime::ByteBuffer* der, const char* password,
                         runtime::KeyObject** key, const char** reason) {
  const char* unused = nullptr;
  const char*& text = reason != nullptr ? *reason : unused;
  text = nullptr;
  if (key == nullptr) {
    return kNullPointer;
  }
  *key = nullptr;
  if (der == nullptr) {
    return kNullPointer;
  }
  const Password secret(password);
  return secret.failed() ? kOutOfMemory : readPrivateKey(viewOf(*der), secret, key, text);
}

int32_t velmora_key_check_pair(const runtime::KeyObject* key, const runtime::PublicKey* publicKey) {
  return key == nullptr || publicKey == nullptr ? kNullPointer
                                                : checkPair(key->privateKey, *publicKey);
}

int32_t velmora_pkcs12_problem(const runtime::ByteBuffer* file, const char* password,
                               uint32_t* problem) {
  static_assert(static_cast<uint32_t>(PfxProblem::kNone) == kVelmoraPkcs12Fine &&
                static_cast<uint32_t>(PfxProblem::kNotPfx) == kVelmoraNotPkcs12 &&
                static_cast<uint32_t>(PfxProblem::kDamaged) == kVelmoraPkcs12Damaged &&
                static_cast<uint32_t>(PfxProblem::kNoMac) == kVelmoraPkcs12NoMac &&
                static_cast<uint32_t>(PfxProblem::kUnsupported) == kVelmoraPkcs12Unsupported &&
                static_cast<uint32_t>(PfxProblem::kPassword) == kVelmoraPkcs12Password &&
                static_cast<uint32_t>(PfxProblem::kNoKey) == kVelmoraPkcs12NoKey);
  if (file == nullptr || problem == nullptr) {
    return kNullPointer;
  }
  const Password secret(password);
  if (secret.failed()) {
    return kOutOfMemory;
  }
  PfxProblem found = PfxProblem::kNone;
  const int32_t result = findPfxProblem(viewOf(*file), secret, found);
  if (!failed(result)) {
    *problem = static_cast<uint32_t>(found);
  }
  return result;
}

const char* velmora_certificate_reason(const runtime::Certificate* certificate) {
  return certificate == nullptr ? nullptr
                                : static_cast<const CertificateObject*>(certificate)->reason;
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
  const auto isZero = [](uint8_t byte) { return byte == 0; };
  if (length > kMaxSerialLength || std::all_of(bytes, bytes + length, isZero)) {
    object->reason = "a serial number is positive and has at most 20 bytes";
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
    object->reason = "a time is written YYYYMMDDThhmmss";
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
  if (isCa == 0 && pathLength >= 0) {
    object->reason = "a path length is for authorities";
    return kInvalidArgument;
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
  const int32_t result = makeObjectId(objectIdOfPurpose(objectId), &identifier);
  if (result == kInvalidArgument) {
    object->reason = "a purpose is neither known by name nor an object identifier";
  }
  return failed(result) ? result : appendExtendedKeyUsage(*object, identifier);
}

int32_t velmora_certificate_add_alternative_name(runtime::Certificate* certificate,
                                                 const char* name) {
  if (certificate == nullptr || name == nullptr) {
    return kNullPointer;
  }
  CertificateObject* const object = underConstruction(certificate);
  if (object == nullptr) {
    return kAccessDenied;
  }
  object->reason = nullptr;
  Bytes added;
  const int32_t result = appendAlternativeName(name, added, object->reason);
  if (failed(result)) {
    return result;
  }
  object->alternativeNames.append(added.view());
  return object->alternativeNames.takeFailure() ? kOutOfMemory : kOk;
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
