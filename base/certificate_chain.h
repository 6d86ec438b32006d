#pragma once

#include "base/holders.h"

// The runtime's singly linked list of certificates, in the making.
namespace vexa::base {

// Owns a list.
using CertificateList = Holder<CertificateListPolicy<BoundRuntime>>;

// Adds a reference to the certificate at the end of the list. kOk also when the certificate is null
// or listed already. kOutOfMemory: the list stays as it is.
[[nodiscard]] int32_t appendCertificate(runtime::CertificateList** head,
                                        runtime::Certificate* certificate);
[[nodiscard]] int32_t appendCertificate(CertificateList& list, runtime::Certificate* certificate);

}  // namespace vexa::base
