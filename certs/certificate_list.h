#pragma once

#include "vexa/certificates.h"

namespace vexa::certs {

// The list "vexa.misc.base.certificate.1".
extern const CertificateFunctions kCertificateFunctions;

// AppendCertificate with a result: kOk also when the certificate is null or listed already.
// kOutOfMemory: the list stays as it is.
[[nodiscard]] int32_t appendCertificate(runtime::CertificateList** head,
                                        runtime::Certificate* certificate);

}  // namespace vexa::certs
