#pragma once

#include "base/runtime_holders.h"

// The runtime's singly linked list of certificates, in the making.
namespace vexa::base {

// Adds a reference to the certificate at the end of the list. kOk also when the certificate is null
// or listed already. kOutOfMemory: the list stays as it is.
[[nodiscard]] int32_t appendCertificate(runtime::CertificateList** head,
                                        runtime::Certificate* certificate);

struct ReleaseCertificates {
  static void release(runtime::CertificateList* head) {
    bound.commonTypes->CertificateListRelease(head);
  }
};
// A list of certificates in the making.
class CertificateListHolder : public Held<runtime::CertificateList, ReleaseCertificates> {
 public:
  // kOk also when it is null or listed already. kOutOfMemory.
  [[nodiscard]] int32_t append(runtime::Certificate* certificate) {
    runtime::CertificateList* head = release();
    const int32_t result = appendCertificate(&head, certificate);
    reset(head);
    return result;
  }
};

}  // namespace vexa::base
