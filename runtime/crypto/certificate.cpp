#include "runtime/crypto/certificate.h"

#include "runtime/crypto/certificate_builder.h"
#include "runtime/crypto/signature.h"

namespace vexa::velmora {
namespace {

const CertificateObject* constSelf(runtime::Certificate* certificate) {
  return implementationOf(certificate);
}

runtime::Name* getIssuer(runtime::Certificate* self) { return constSelf(self)->issuer.get(); }
runtime::Name* getSubject(runtime::Certificate* self) { return constSelf(self)->subject.get(); }

const runtime::ByteBuffer* getEncoding(runtime::Certificate* self) {
  return constSelf(self)->isComplete() ? &constSelf(self)->encodingRecord : nullptr;
}

// The start and the end of the validity.
void* getTime(LibraryTimeText& time) { return time.text[0] == '\0' ? nullptr : time.text; }
void* getValueA(runtime::Certificate* self) { return getTime(implementationOf(self)->notBefore); }
void* getValueB(runtime::Certificate* self) { return getTime(implementationOf(self)->notAfter); }

const uint8_t* getKeyUsage(runtime::Certificate* self) {
  const auto& flags = constSelf(self)->keyUsage;
  return flags ? flags->data() : nullptr;
}
const runtime::ExtendedKeyUsage* getExtendedKeyUsage(runtime::Certificate* self) {
  return constSelf(self)->extendedKeyUsage;
}
const runtime::BasicConstraints* getBasicConstraints(runtime::Certificate* self) {
  const auto& constraints = constSelf(self)->basicConstraints;
  return constraints ? &*constraints : nullptr;
}
const runtime::PublicKey* getPublicKey(runtime::Certificate* self) {
  const runtime::PublicKey& key = constSelf(self)->publicKey;
  return key.bytes != nullptr ? &key : nullptr;
}
uint8_t getSelfSigned(runtime::Certificate* self) { return isSelfSigned(*constSelf(self)) ? 1 : 0; }

int32_t notImplemented(runtime::Certificate*, void*, void*, void*) { return kNotImplemented; }

template <uint32_t Slot>
int32_t record(runtime::Certificate* self, void* value1, void* value2) {
  return recordSetterCall(*implementationOf(self), {Slot, {value1, value2}});
}
int32_t recordPairSecond(runtime::Certificate* self, void* value2) {
  return recordSetterCall(*implementationOf(self), {61, {value2, nullptr}});
}

int32_t duplicate(runtime::Object* object, void** copy) {
  if (copy == nullptr) return kNullPointer;
  *copy = nullptr;
  CertificateObject* const self = CountedHeader<CertificateObject>::self(object);
  return self->isComplete() ? CountedHeader<CertificateObject>::share(object, copy)
                            : copyCertificate(*self, copy);
}

constexpr runtime::CertificateTable makeTable() {
  runtime::CertificateTable table{};
  table.header = CountedHeader<CertificateObject>::table(duplicate);
  table.slot7 = table.slot10 = table.slot12 = notImplemented;
  for (auto& slot : table.slots20to40) slot = notImplemented;
  for (auto& slot : table.slots42to55) slot = notImplemented;
  for (auto& slot : table.slots58to59) slot = notImplemented;
  table.GetIssuer = getIssuer;
  table.GetSubject = getSubject;
  table.GetEncoding = getEncoding;
  table.GetValueA = getValueA;
  table.GetValueB = getValueB;
  table.GetKeyUsage = getKeyUsage;
  table.GetExtendedKeyUsage = getExtendedKeyUsage;
  table.GetBasicConstraints = getBasicConstraints;
  table.GetPublicKey = getPublicKey;
  table.IsSelfSigned = getSelfSigned;
  table.SetKeyUsage = setKeyUsage;
  table.SetExtensionB = record<56>;
  table.SetExtensionC = record<57>;
  table.SetPairFirst = record<60>;
  table.SetPairSecond = recordPairSecond;
  table.SetExtensionA = record<62>;
  table.SetExtensionD = record<63>;
  return table;
}

const runtime::ByteBuffer* encodingOf(runtime::Certificate* certificate) {
  return certificate->table->GetEncoding(certificate);
}

}  // namespace

constinit const runtime::CertificateTable CertificateObject::kTable = makeTable();

CertificateObject::CertificateObject() : Counted(&kTable) {}

CertificateObject::~CertificateObject() {
  clearPublicKey(&publicKey);
  while (extendedKeyUsage != nullptr) {
    runtime::ExtendedKeyUsage* const next = extendedKeyUsage->next;
    Ref<runtime::ObjectId> identifier(extendedKeyUsage->identifier);
    freeBlock(extendedKeyUsage);
    extendedKeyUsage = next;
  }
}

int32_t decodeCertificate(ByteView der, runtime::Certificate** out) {
  *out = nullptr;
  if (der.size() > UINT32_MAX) return kFail;
  Ref<CertificateObject> certificate(makeOnHeap<CertificateObject>());
  if (!certificate) return kOutOfMemory;
  certificate->encoding.append(der);
  if (certificate->encoding.failed()) return kOutOfMemory;
  const int32_t result = readCertificate(*certificate.get());
  if (failed(result)) return result;
  *out = certificate.release();
  return kOk;
}

int32_t appendExtendedKeyUsage(CertificateObject& certificate, runtime::ObjectId* owned) {
  Ref<runtime::ObjectId> identifier(owned);
  auto* const entry =
      static_cast<runtime::ExtendedKeyUsage*>(allocateBlock(sizeof(runtime::ExtendedKeyUsage)));
  if (entry == nullptr) return kOutOfMemory;
  entry->identifier = identifier.release();
  runtime::ExtendedKeyUsage** end = &certificate.extendedKeyUsage;
  while (*end != nullptr) end = &(*end)->next;
  *end = entry;
  return kOk;
}

bool equalCertificates(runtime::Certificate* a, runtime::Certificate* b) {
  if (a == nullptr || b == nullptr) return false;
  if (a == b) return true;
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
  while (head != nullptr) {
    runtime::CertificateList* const next = head->next;
    Ref<runtime::Certificate> certificate(head->certificate);
    freeBlock(head);
    head = next;
  }
}

}  // namespace vexa::velmora
