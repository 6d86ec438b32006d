#include "certs/certificate_list.h"

#include <cstring>

#include "base/buffer.h"
#include "base/certificate_chain.h"
#include "base/holders.h"
#include "base/list_registry.h"

namespace vexa::certs {
namespace {

using runtime::Certificate;
using runtime::ObjectId;

constexpr char kClientAuthentication[] = "1.3.6.1.5.5.7.3.2";

// 1 when the key usage extension is absent or sets one of the two flags.
int32_t allowsEither(Certificate* certificate, runtime::KeyUsageFlag a, runtime::KeyUsageFlag b) {
  if (certificate == nullptr) {
    return 0;
  }
  const uint8_t* const flags = certificate->table->GetKeyUsage(certificate);
  return flags == nullptr || flags[a] != 0 || flags[b] != 0 ? 1 : 0;
}

bool isSelfIssued(Certificate* certificate) {
  return base::bound.commonTypes->NameCompare(certificate->table->GetIssuer(certificate),
                                              certificate->table->GetSubject(certificate)) == 0;
}

int32_t IsEncryptionCertificate(Certificate* certificate) {
  return allowsEither(certificate, runtime::kKeyEncipherment, runtime::kDataEncipherment);
}

int32_t IsSignatureCertificate(Certificate* certificate) {
  return allowsEither(certificate, runtime::kDigitalSignature, runtime::kNonRepudiation);
}

int32_t HasExtendedKeyUsage(Certificate* certificate, ObjectId* usage) {
  if (certificate == nullptr || usage == nullptr) {
    return 0;
  }
  for (const auto* entry = certificate->table->GetExtendedKeyUsage(certificate); entry != nullptr;
       entry = entry->next) {
    if (base::bound.commonTypes->ObjectIdCompare(entry->identifier, usage) == 0) {
      return 1;
    }
  }
  return 0;
}

int32_t IsClientAuthCertificate(Certificate* certificate) {
  if (certificate == nullptr) {
    return 0;
  }
  base::RuntimeRef<ObjectId> usage;
  if (failed(base::bound.commonTypes->ObjectIdFromText(kClientAuthentication, usage.put()))) {
    return 0;
  }
  return HasExtendedKeyUsage(certificate, usage.get());
}

int32_t IsCACertificate(Certificate* certificate) {
  if (allowsEither(certificate, runtime::kKeyCertSign, runtime::kCrlSign) == 0) {
    return 0;
  }
  const auto* const constraints = certificate->table->GetBasicConstraints(certificate);
  return constraints == nullptr || constraints->cA != 0 ? 1 : 0;
}

int32_t IsRootCACertificate(Certificate* certificate) {
  return IsCACertificate(certificate) != 0 && isSelfIssued(certificate) ? 1 : 0;
}

int32_t IsSelfIssuedEndEntity(Certificate* certificate) {
  if (certificate == nullptr || IsRootCACertificate(certificate) != 0) {
    return 0;
  }
  return isSelfIssued(certificate) ? 1 : 0;
}

void* GetCertificateValueA(Certificate* certificate) {
  return certificate != nullptr ? certificate->table->GetValueA(certificate) : nullptr;
}

void* GetCertificateValueB(Certificate* certificate) {
  return certificate != nullptr ? certificate->table->GetValueB(certificate) : nullptr;
}

runtime::CertificateList* AppendCertificate(runtime::CertificateList* head,
                                            Certificate* certificate) {
  // Without memory the list stays as it is: this entry has no result to say so.
  (void)base::appendCertificate(&head, certificate);
  return head;
}

void GetSecondName(Certificate* certificate, runtime::StringObject* out) {
  if (certificate != nullptr && out != nullptr) {
    (void)base::bound.commonTypes->StringCopy(out, certificate->table->GetSubject(certificate));
  }
}

void GetFirstName(Certificate* certificate, runtime::StringObject* out) {
  if (certificate != nullptr && out != nullptr) {
    (void)base::bound.commonTypes->StringCopy(out, certificate->table->GetIssuer(certificate));
  }
}

void CertificateFromText(const char* text, Certificate** out) {
  if (text == nullptr || out == nullptr) {
    return;
  }
  *out = nullptr;
  base::Buffer bytes;
  if (succeeded(base::BufferFromBytes(text, std::strlen(text), bytes.put()))) {
    (void)base::bound.commonTypes->CertificateDecode(bytes.get(), out);
  }
}

}  // namespace

constinit const CertificateFunctions kCertificateFunctions = {
    .GetModuleInfo = base::GetModuleInfo<kCertificateListName>,
    .IsEncryptionCertificate = IsEncryptionCertificate,
    .IsSignatureCertificate = IsSignatureCertificate,
    .IsClientAuthCertificate = IsClientAuthCertificate,
    .IsCACertificate = IsCACertificate,
    .IsRootCACertificate = IsRootCACertificate,
    .IsSelfIssuedEndEntity = IsSelfIssuedEndEntity,
    .HasExtendedKeyUsage = HasExtendedKeyUsage,
    .GetCertificateValueA = GetCertificateValueA,
    .GetCertificateValueB = GetCertificateValueB,
    .AppendCertificate = AppendCertificate,
    .GetSecondName = GetSecondName,
    .GetFirstName = GetFirstName,
    .CertificateFromText = CertificateFromText,
};

}  // namespace vexa::certs
