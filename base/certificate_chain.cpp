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
  *record = {addReference(certificate), nullptr, 1};
  *link = record;
  return kOk;
}

}  // namespace vexa::base
