#include "runtime/certificates/certificate.h"

#include "runtime/keys/signature.h"

namespace vexa::velmora {
namespace {

const runtime::ByteBuffer* encodingOf(runtime::Certificate* certificate) {
  return certificate->table->GetEncoding(certificate);
}

}  // namespace

CertificateObject::CertificateObject() : Counted(&kTable) {}

CertificateObject::~CertificateObject() {
  clearPublicKey(&publicKey);
  releaseChain(extendedKeyUsage, [](const runtime::ExtendedKeyUsage& entry) {
    const Ref<runtime::ObjectId> identifier(entry.identifier);
  });
}

int32_t appendExtendedKeyUsage(CertificateObject& certificate, runtime::ObjectId* owned) {
  Ref<runtime::ObjectId> identifier(owned);
  auto* const entry = makeBlock<runtime::ExtendedKeyUsage>().release();
  if (entry == nullptr) {
    return kOutOfMemory;
  }
  entry->identifier = identifier.release();
  *certificate.extendedKeyUsageEnd = entry;
  certificate.extendedKeyUsageEnd = &entry->next;
  return kOk;
}

bool equalCertificates(runtime::Certificate* a, runtime::Certificate* b) {
  if (a == nullptr || b == nullptr) {
    return false;
  }
  if (a == b) {
    return true;
  }
  const runtime::ByteBuffer* const first = encodingOf(a);
  const runtime::ByteBuffer* const second = encodingOf(b);
  return first != nullptr && second != nullptr && equalBytes(viewOf(*first), viewOf(*second));
}

bool isSelfSigned(const CertificateObject& certificate) {
  if (!certificate.isComplete() ||
      !equalNames(certificate.issuer.get(), certificate.subject.get())) {
    return false;
  }
  return verifySignature(certificate.signatureAlgorithm, certificate.signedPart,
                         certificate.signature, certificate.publicKey) != Verdict::kInvalid;
}

bool isIssuedBy(runtime::Certificate* certificate, runtime::Certificate* issuer) {
  const CertificateObject& child = *implementationOf(certificate);
  const CertificateObject& parent = *implementationOf(issuer);
  return equalNames(child.issuer.get(), parent.subject.get()) &&
         verifySignature(child.signatureAlgorithm, child.signedPart, child.signature,
                         parent.publicKey) != Verdict::kInvalid;
}

void releaseCertificateList(runtime::CertificateList* head) {
  releaseChain(head, [](const runtime::CertificateList& node) {
    const Ref<runtime::Certificate> certificate(node.certificate);
  });
}

}  // namespace vexa::velmora
