#include "runtime/certificates/certificate_builder.h"

// The slots of a certificate.
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
  if (copy == nullptr) {
    return kNullPointer;
  }
  *copy = nullptr;
  CertificateObject* const self = CountedHeader<CertificateObject>::self(object);
  return self->isComplete() ? CountedHeader<CertificateObject>::share(object, copy)
                            : copyCertificate(*self, copy);
}

constexpr runtime::CertificateTable makeTable() {
  runtime::CertificateTable table{};
  table.header = CountedHeader<CertificateObject>::table(duplicate);
  table.slot7 = table.slot10 = table.slot12 = notImplemented;
  for (auto& slot : table.slots20to40) {
    slot = notImplemented;
  }
  for (auto& slot : table.slots42to55) {
    slot = notImplemented;
  }
  for (auto& slot : table.slots58to59) {
    slot = notImplemented;
  }
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

}  // namespace

constinit const runtime::CertificateTable CertificateObject::kTable = makeTable();

}  // namespace vexa::velmora
