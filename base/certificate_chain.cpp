#include "base/certificate_chain.h"

#include "vexa/results.h"

namespace vexa::base {

int32_t appendCertificate(runtime::CertificateList** head, runtime::Certificate* certificate) {
  if (certificate == nullptr) {
    return kOk;
  }
  runtime::CertificateList** link = head;
  for (; *link != nullptr; link = &(*link)->next) {
    if (bound.commonTypes->CertificateCompare((*link)->certificate, certificate) == 0) {
      return kOk;
    }
  }
  auto* const record =
      static_cast<runtime::CertificateList*>(allocate(sizeof(runtime::CertificateList)));
  if (record == nullptr) {
    return kOutOfMemory;
  }
  *record = {RuntimeRef<runtime::Certificate>::share(certificate).release(), nullptr, 1};
  *link = record;
  return kOk;
}

int32_t appendCertificate(CertificateList& list, runtime::Certificate* certificate) {
  runtime::CertificateList* head = list.release();
  const int32_t result = appendCertificate(&head, certificate);
  list.reset(head);
  return result;
}

}  // namespace vexa::base
