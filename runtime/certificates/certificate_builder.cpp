#include "runtime/certificates/certificate_builder.h"

#include <algorithm>

#include "runtime/certificates/certificate_reader.h"
#include "runtime/certificates/extension_writer.h"
#include "runtime/certificates/issue_checks.h"
#include "runtime/keys/signing.h"
#include "runtime/keys/system_random.h"

namespace vexa::velmora {
namespace {

constexpr size_t kSerialLength = 16;

void writeName(const runtime::Name* name, DerWriter& writer) {
  if (name != nullptr) {
    writer.raw(encodingOf(name));
  } else {
    writer.element(kSequence, ByteView());
  }
}

void writePublicKey(const runtime::PublicKey& key, DerWriter& writer) {
  const size_t mark = writer.begin(kSequence);
  writeAlgorithm(key.algorithm, writer);
  writer.bitString(bytesOf(key));
  writer.end(mark);
}

// What the signature is made with, and what it says about the issuer.
struct Issue {
  const runtime::PrivateKeyMaterial& key;
  const runtime::Name* issuer;
  KeyIdentifiers identifiers;
};

// TBSCertificate, version 3
void writeSignedPart(const CertificateObject& certificate, const Issue& issue, DerWriter& writer) {
  const size_t outer = writer.begin(kSequence);
  const size_t version = writer.begin(contextTag(0, true));
  writer.smallInteger(2);
  writer.end(version);
  writer.unsignedInteger(certificate.serial.view());
  writeSignatureAlgorithm(issue.key, writer);
  writeName(issue.issuer, writer);
  const size_t validity = writer.begin(kSequence);
  writeTime(certificate.notBefore, writer);
  writeTime(certificate.notAfter, writer);
  writer.end(validity);
  writeName(certificate.subject.get(), writer);
  writePublicKey(certificate.publicKey, writer);
  const size_t tagged = writer.begin(contextTag(3, true));
  const size_t extensions = writer.begin(kSequence);
  writeExtensions(certificate, issue.identifiers, writer);
  writer.end(extensions);
  writer.end(tagged);
  writer.end(outer);
}

// A random positive number, when none was set.
int32_t ensureSerial(CertificateObject& certificate) {
  if (certificate.serial.size() != 0) {
    return kOk;
  }
  uint8_t serial[kSerialLength];
  if (!systemRandom(serial, sizeof(serial))) {
    return kFail;
  }
  serial[0] = static_cast<uint8_t>((serial[0] & 0x3F) | 0x40);
  certificate.serial.append(serial);
  return certificate.serial.takeFailure() ? kOutOfMemory : kOk;
}

// An authority that says nothing about its key's usage signs certificates and revocation lists.
void setUsageOfAuthority(CertificateObject& certificate) {
  if (!certificate.basicConstraints || certificate.basicConstraints->cA == 0 ||
      certificate.keyUsage) {
    return;
  }
  KeyUsageFlags flags{};
  flags[runtime::kKeyCertSign] = flags[runtime::kCrlSign] = 1;
  certificate.keyUsage = flags;
  certificate.keyUsageCritical = true;
}

const runtime::Name* issuerNameOf(const CertificateObject& certificate,
                                  runtime::Certificate* issuer) {
  if (issuer != nullptr) {
    return issuer->table->GetSubject(issuer);
  }
  return certificate.issuer ? certificate.issuer.get() : certificate.subject.get();
}

// Reads the encoding back and takes over what the construction did not have.
int32_t complete(CertificateObject& certificate, Bytes&& encoding) {
  Ref<CertificateObject> read(makeOnHeap<CertificateObject>());
  if (!read) {
    return kOutOfMemory;
  }
  read->encoding = std::move(encoding);
  const int32_t result = readCertificate(*read.get());
  if (failed(result)) {
    return result;
  }
  certificate.encoding = std::move(read->encoding);
  certificate.encodingRecord = read->encodingRecord;
  certificate.signedPart = read->signedPart;
  certificate.signatureAlgorithm = read->signatureAlgorithm;
  certificate.signature = read->signature;
  certificate.subjectKeyIdentifier = read->subjectKeyIdentifier;
  certificate.issuer = std::move(read->issuer);
  return kOk;
}

template <class T>
Ref<T> shareOf(const Ref<T>& other) {
  return Ref<T>::share(other.get());
}

}  // namespace

int32_t setKeyUsage(runtime::Certificate* self, const uint8_t* flags, uint32_t critical) {
  if (flags == nullptr) {
    return kNullPointer;
  }
  CertificateObject& certificate = *implementationOf(self);
  if (certificate.isComplete()) {
    return kAccessDenied;
  }
  KeyUsageFlags copy;
  std::transform(flags, flags + copy.size(), copy.begin(),
                 [](uint8_t flag) { return flag != 0 ? uint8_t{1} : uint8_t{0}; });
  certificate.keyUsage = copy;
  certificate.keyUsageCritical = critical != 0;
  return kOk;
}

int32_t recordSetterCall(CertificateObject& certificate, const SetterCall& call) {
  const auto* const bytes = reinterpret_cast<const uint8_t*>(&call);
  certificate.setterCalls.append({bytes, sizeof(call)});
  return certificate.setterCalls.takeFailure() ? kOutOfMemory : kOk;
}

int32_t copyCertificate(const CertificateObject& source, void** copy) {
  Ref<CertificateObject> target(makeOnHeap<CertificateObject>());
  if (!target) {
    return kOutOfMemory;
  }
  target->serial.append(source.serial.view());
  target->alternativeNames.append(source.alternativeNames.view());
  target->setterCalls.append(source.setterCalls.view());
  target->issuer = shareOf(source.issuer);
  target->subject = shareOf(source.subject);
  target->notBefore = source.notBefore;
  target->notAfter = source.notAfter;
  target->keyUsage = source.keyUsage;
  target->keyUsageCritical = source.keyUsageCritical;
  target->basicConstraints = source.basicConstraints;
  target->pathLength = source.pathLength;
  if (target->serial.failed() || target->alternativeNames.failed() ||
      target->setterCalls.failed()) {
    return kOutOfMemory;
  }
  int32_t result = copyPublicKey(&target->publicKey, &source.publicKey);
  for (auto* entry = source.extendedKeyUsage; entry != nullptr && !failed(result);
       entry = entry->next) {
    result = appendExtendedKeyUsage(*target.get(),
                                    Ref<runtime::ObjectId>::share(entry->identifier).release());
  }
  if (failed(result)) {
    return result;
  }
  *copy = static_cast<runtime::Certificate*>(target.release());
  return kOk;
}

int32_t signCertificate(CertificateObject& certificate, const runtime::KeyObject& issuerKey,
                        runtime::Certificate* issuer) {
  if (certificate.isComplete()) {
    return kAccessDenied;
  }
  int32_t result = checkIssue(certificate, issuerKey, issuer, certificate.reason);
  if (failed(result)) {
    return result;
  }
  setUsageOfAuthority(certificate);
  result = ensureSerial(certificate);
  if (failed(result)) {
    return result;
  }
  Issue issue{issuerKey.privateKey, issuerNameOf(certificate, issuer), {}};
  result = identifyKeys(certificate, issuer, isSelfIssued(certificate, issuer), issue.identifiers);
  if (failed(result)) {
    return result;
  }
  Bytes signedPart;
  DerWriter signedWriter(signedPart);
  writeSignedPart(certificate, issue, signedWriter);
  if (signedPart.failed()) {
    return kOutOfMemory;
  }
  Bytes signature;
  result = signSha256(issuerKey.privateKey, signedPart.view(), signature);
  if (failed(result)) {
    return result;
  }

  Bytes encoding;
  DerWriter writer(encoding);
  const size_t mark = writer.begin(kSequence);
  writer.raw(signedPart.view());
  writeSignatureAlgorithm(issuerKey.privateKey, writer);
  writer.bitString(signature.view());
  writer.end(mark);
  return encoding.failed() ? kOutOfMemory : complete(certificate, std::move(encoding));
}

}  // namespace vexa::velmora
