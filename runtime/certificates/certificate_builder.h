#pragma once

#include "runtime/certificates/certificate.h"

// Certificates under construction. Setters on one that is complete return kAccessDenied.
namespace vexa::velmora {

// Slot 41: nine flag bytes and the critical mark.
int32_t setKeyUsage(runtime::Certificate* self, const uint8_t* flags, uint32_t critical);

int32_t recordSetterCall(CertificateObject& certificate, const SetterCall& call);

// An independent copy of one under construction.
int32_t copyCertificate(const CertificateObject& source, void** copy);

// Signs with SHA-256 and completes the certificate. The issuer's name comes from `issuer`; null:
// from the certificate's own issuer, or else from its subject. kInvalidArgument: it may not be
// issued, and its `reason` says why.
int32_t signCertificate(CertificateObject& certificate, const runtime::KeyObject& issuerKey,
                        runtime::Certificate* issuer);

}  // namespace vexa::velmora
