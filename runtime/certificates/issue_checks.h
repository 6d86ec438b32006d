#pragma once

#include "runtime/certificates/certificate.h"

namespace vexa::velmora {

// Without an issuer's certificate and without another name for it.
bool isSelfIssued(const CertificateObject& certificate, runtime::Certificate* issuer);

// Whether a certificate may be issued: it is complete, the key is its issuer's, and the issuer is
// an authority that may issue it. `issuer` null: the certificate is self-signed, or its issuer is
// only named. kInvalidArgument: no, and `reason` becomes a text that says why not. kOutOfMemory,
// kFail.
int32_t checkIssue(const CertificateObject& certificate, const runtime::KeyObject& issuerKey,
                   runtime::Certificate* issuer, const char*& reason);

}  // namespace vexa::velmora
