#include "runtime/certificates/certificate_builder.h"

#include <algorithm>

#include "runtime/certificates/certificate_reader.h"
#include "runtime/certificates/extension_ids.h"
#include "runtime/keys/signature.h"
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

// A named bit list: bits behind the last set one are left out.
void writeKeyUsageBits(const KeyUsageFlags& flags, DerWriter& writer) {
  uint8_t content[3] = {};
  size_t used = 0;  // bits
  for (size_t i = 0; i < flags.size(); ++i) {
    if (flags[i] == 0) {
      continue;
    }
    content[1 + i / 8] |= static_cast<uint8_t>(0x80 >> (i % 8));
    used = i + 1;
  }
  const size_t bytes = (used + 7) / 8;
  content[0] = static_cast<uint8_t>(8 * bytes - used);
  writer.element(kBitString, ByteView(content, 1 + bytes));
}

// Extension = SEQUENCE { extnID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
template <class Value>
void writeExtension(const KnownId& identifier, bool critical, DerWriter& writer, Value&& value) {
  const size_t sequence = writer.begin(kSequence);
  writer.objectId(identifier);
  if (critical) {
    writer.boolean(true);
  }
  const size_t octets = writer.begin(kOctetString);
  value();
  writer.end(octets);
  writer.end(sequence);
}

void writeExtensions(const CertificateObject& certificate, DerWriter& writer) {
  if (certificate.basicConstraints) {
    writeExtension(kBasicConstraintsId, true, writer, [&] {
      const size_t mark = writer.begin(kSequence);
      if (certificate.basicConstraints->cA != 0) {
        writer.boolean(true);
      }
      if (certificate.pathLength) {
        writer.smallInteger(*certificate.pathLength);
      }
      writer.end(mark);
    });
  }
  if (certificate.keyUsage) {
    writeExtension(kKeyUsageId, certificate.keyUsageCritical, writer,
                   [&] { writeKeyUsageBits(*certificate.keyUsage, writer); });
  }
  if (certificate.extendedKeyUsage != nullptr) {
    writeExtension(kExtendedKeyUsageId, false, writer, [&] {
      const size_t mark = writer.begin(kSequence);
      for (auto* entry = certificate.extendedKeyUsage; entry != nullptr; entry = entry->next) {
        writer.element(kObjectId, contentOf(entry->identifier));
      }
      writer.end(mark);
    });
  }
}

void writeSignatureAlgorithm(DerWriter& writer) {
  const size_t mark = writer.begin(kSequence);
  writer.objectId(kSha256WithRsa);
  writer.null();
  writer.end(mark);
}

// TBSCertificate, version 3
void writeSignedPart(const CertificateObject& certificate, const runtime::Name* issuer,
                     DerWriter& writer) {
  const size_t outer = writer.begin(kSequence);
  const size_t version = writer.begin(contextTag(0, true));
  writer.smallInteger(2);
  writer.end(version);
  writer.unsignedInteger(certificate.serial.view());
  writeSignatureAlgorithm(writer);
  writeName(issuer, writer);
  const size_t validity = writer.begin(kSequence);
  writeTime(certificate.notBefore, writer);
  writeTime(certificate.notAfter, writer);
  writer.end(validity);
  writeName(certificate.subject.get(), writer);
  writePublicKey(certificate.publicKey, writer);
  if (certificate.basicConstraints || certificate.keyUsage ||
      certificate.extendedKeyUsage != nullptr) {
    const size_t tagged = writer.begin(contextTag(3, true));
    const size_t extensions = writer.begin(kSequence);
    writeExtensions(certificate, writer);
    writer.end(extensions);
    writer.end(tagged);
  }
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
  target->setterCalls.append(source.setterCalls.view());
  target->issuer = shareOf(source.issuer);
  target->subject = shareOf(source.subject);
  target->notBefore = source.notBefore;
  target->notAfter = source.notAfter;
  target->keyUsage = source.keyUsage;
  target->keyUsageCritical = source.keyUsageCritical;
  target->basicConstraints = source.basicConstraints;
  target->pathLength = source.pathLength;
  if (target->serial.failed() || target->setterCalls.failed()) {
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
  if (certificate.notBefore.text[0] == '\0' || certificate.notAfter.text[0] == '\0' ||
      certificate.publicKey.algorithm.identifier == nullptr ||
      certificate.publicKey.bytes == nullptr) {
    return kInvalidArgument;
  }
  int32_t result = ensureSerial(certificate);
  if (failed(result)) {
    return result;
  }
  const runtime::Name* issuerName = issuer != nullptr    ? issuer->table->GetSubject(issuer)
                                    : certificate.issuer ? certificate.issuer.get()
                                                         : certificate.subject.get();
  Bytes signedPart;
  DerWriter signedWriter(signedPart);
  writeSignedPart(certificate, issuerName, signedWriter);
  if (signedPart.failed()) {
    return kOutOfMemory;
  }
  Bytes signature;
  result = signSha256WithRsa(issuerKey.privateKey, signedPart.view(), signature);
  if (failed(result)) {
    return result;
  }

  Bytes encoding;
  DerWriter writer(encoding);
  const size_t mark = writer.begin(kSequence);
  writer.raw(signedPart.view());
  writeSignatureAlgorithm(writer);
  writer.bitString(signature.view());
  writer.end(mark);
  if (encoding.failed()) {
    return kOutOfMemory;
  }
  return complete(certificate, std::move(encoding));
}

}  // namespace vexa::velmora
