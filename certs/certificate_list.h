#pragma once

#include "vexa/certificates.h"

namespace vexa::certs {

// The list "vexa.misc.base.certificate.1".
extern const CertificateFunctions kCertificateFunctions;

}  // namespace vexa::certs
