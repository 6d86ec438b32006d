#include "runtime/certificates/certificate_reader.h"

#include "runtime/certificates/extension_ids.h"

// Reads the DER of RFC 5280, 4.1, step by step.
namespace vexa::velmora {
namespace {

constexpr uint32_t kMaxVersion = 2;  // v3

// Each step takes what is next in `reader`.
class CertificateReader {
 public:
  explicit CertificateReader(CertificateObject& certificate) : certificate_(certificate) {}

  // Certificate = SEQUENCE { tbsCertificate, signatureAlgorithm, signature BIT STRING }
  int32_t read() {
    const auto fields =
        derSequence(certificate_.encoding.view(), {kSequence, kSequence, kBitString});
    if (!fields) {
      return kFail;
    }
    const auto& [signedPart, algorithm, signature] = *fields;
    const auto identifier = readAlgorithm(algorithm.content);
    const auto signatureBytes = derBitStringBytes(signature.content);
    if (!identifier || !signatureBytes) {
      return kFail;
    }
    certificate_.signedPart = signedPart.whole;
    certificate_.signatureAlgorithm = *identifier;
    certificate_.signature = *signatureBytes;
    algorithm_ = algorithm.whole;
    return signedFields(DerReader(signedPart.content));
  }

 private:
  // version, serialNumber, signature, issuer, validity, subject, subjectPublicKeyInfo, unique
  // identifiers, extensions
  int32_t signedFields(DerReader reader) {
    if (!version(reader) || !serialAndAlgorithm(reader)) {
      return kFail;
    }
    int32_t result = name(reader, certificate_.issuer);
    if (failed(result)) {
      return result;
    }
    if (!validity(reader)) {
      return kFail;
    }
    result = name(reader, certificate_.subject);
    if (failed(result)) {
      return result;
    }
    result = publicKey(reader);
    if (failed(result)) {
      return result;
    }
    for (const uint8_t uniqueId : {contextTag(1, false), contextTag(2, false)}) {
      if (reader.nextIs(uniqueId) && !reader.take(uniqueId)) {
        return kFail;
      }
    }
    if (reader.atEnd()) {
      return kOk;
    }
    const auto tagged = reader.take(contextTag(3, true));
    if (!tagged || !reader.atEnd()) {
      return kFail;
    }
    const auto sequence = derContent(tagged->content, kSequence);
    return sequence ? extensions(DerReader(*sequence)) : kFail;
  }

  static bool version(DerReader& reader) {
    constexpr uint8_t kVersionTag = contextTag(0, true);
    if (!reader.nextIs(kVersionTag)) {
      return true;
    }
    const auto tagged = reader.take(kVersionTag);
    const auto content = tagged ? derContent(tagged->content, kInteger) : std::nullopt;
    const auto number = content ? derSmallInteger(*content) : std::nullopt;
    return number && *number <= kMaxVersion;
  }

  bool serialAndAlgorithm(DerReader& reader) {
    const auto serial = reader.take(kInteger);
    const auto algorithm = reader.take(kSequence);
    if (!serial || serial->content.empty() || !algorithm) {
      return false;
    }
    certificate_.serial.assign(serial->content);
    return equalBytes(algorithm->whole, algorithm_);
  }

  static int32_t name(DerReader& reader, Ref<runtime::Name>& out) {
    const auto sequence = reader.take(kSequence);
    if (!sequence) {
      return kFail;
    }
    runtime::Name* made = nullptr;
    const int32_t result = makeName(sequence->whole, &made);
    out.reset(made);
    return result;
  }

  bool validity(DerReader& reader) {
    const auto sequence = reader.take(kSequence);
    if (!sequence) {
      return false;
    }
    DerReader times(sequence->content);
    const auto start = times.takeAny();
    const auto end = times.takeAny();
    return start && end && times.atEnd() && readTime(*start, certificate_.notBefore) &&
           readTime(*end, certificate_.notAfter);
  }

  // SubjectPublicKeyInfo = SEQUENCE { algorithm, subjectPublicKey BIT STRING }
  int32_t publicKey(DerReader& reader) {
    const auto sequence = reader.take(kSequence);
    const auto fields =
        sequence ? derFields(sequence->content, {kSequence, kBitString}) : std::nullopt;
    const auto algorithm = fields ? readAlgorithm((*fields)[0].content) : std::nullopt;
    const auto bytes = fields ? derBitStringBytes((*fields)[1].content) : std::nullopt;
    if (!algorithm || !bytes || bytes->empty()) {
      return kFail;
    }
    return assignPublicKey(&certificate_.publicKey, *algorithm, *bytes);
  }

  int32_t extensions(DerReader reader) {
    if (reader.atEnd()) {
      return kFail;
    }
    while (!reader.atEnd()) {
      const auto sequence = reader.take(kSequence);
      if (!sequence) {
        return kFail;
      }
      const int32_t result = extension(DerReader(sequence->content));
      if (failed(result)) {
        return result;
      }
    }
    return kOk;
  }

  // Extension = SEQUENCE { extnID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
  int32_t extension(DerReader reader) {
    const auto identifier = reader.take(kObjectId);
    if (!identifier) {
      return kFail;
    }
    if (reader.nextIs(kBoolean)) {
      const auto critical = reader.take(kBoolean);
      if (!critical || critical->content.size() != 1) {
        return kFail;
      }
    }
    const auto value = reader.take(kOctetString);
    if (!value || !reader.atEnd()) {
      return kFail;
    }
    if (identifier->content == kSubjectKeyIdentifierId) {
      certificate_.subjectKeyIdentifier =
          derContent(value->content, kOctetString).value_or(ByteView());
      return kOk;
    }
    if (identifier->content == kKeyUsageId) {
      return keyUsage(value->content);
    }
    if (identifier->content == kExtendedKeyUsageId) {
      return extendedKeyUsage(value->content);
    }
    if (identifier->content == kBasicConstraintsId) {
      return basicConstraints(value->content);
    }
    return kOk;
  }

  // A BIT STRING, the first flag in the highest bit.
  int32_t keyUsage(ByteView value) {
    const auto bits = derContent(value, kBitString);
    if (!bits || bits->empty() || certificate_.keyUsage) {
      return kFail;
    }
    const size_t unused = (*bits)[0];
    const ByteView bytes = bits->subspan(1);
    if (unused > 7 || (bytes.empty() && unused != 0)) {
      return kFail;
    }
    KeyUsageFlags flags{};
    for (size_t i = 0; i < flags.size() && i + unused < 8 * bytes.size(); ++i) {
      flags[i] = (bytes[i / 8] >> (7 - i % 8)) & 1;
    }
    certificate_.keyUsage = flags;
    return kOk;
  }

  // SEQUENCE SIZE (1..MAX) OF OBJECT IDENTIFIER
  int32_t extendedKeyUsage(ByteView value) {
    const auto sequence = derContent(value, kSequence);
    if (!sequence || sequence->empty() || certificate_.extendedKeyUsage != nullptr) {
      return kFail;
    }
    DerReader reader(*sequence);
    while (!reader.atEnd()) {
      const auto element = reader.take(kObjectId);
      if (!element || !isObjectId(element->content)) {
        return kFail;
      }
      runtime::ObjectId* identifier = nullptr;
      int32_t result = makeObjectId(element->content, &identifier);
      if (!failed(result)) {
        result = appendExtendedKeyUsage(certificate_, identifier);
      }
      if (failed(result)) {
        return result;
      }
    }
    return kOk;
  }

  // SEQUENCE { cA BOOLEAN DEFAULT FALSE, pathLenConstraint INTEGER OPTIONAL }
  int32_t basicConstraints(ByteView value) {
    const auto sequence = derContent(value, kSequence);
    if (!sequence || certificate_.basicConstraints) {
      return kFail;
    }
    DerReader reader(*sequence);
    runtime::BasicConstraints constraints{0};
    if (reader.nextIs(kBoolean)) {
      const auto mark = reader.take(kBoolean);
      if (!mark || mark->content.size() != 1) {
        return kFail;
      }
      constraints.cA = mark->content[0] != 0 ? 1 : 0;
    }
    if (reader.nextIs(kInteger)) {
      const auto length = reader.take(kInteger);
      certificate_.pathLength = length ? derSmallInteger(length->content) : std::nullopt;
      if (!certificate_.pathLength) {
        return kFail;
      }
    }
    if (!reader.atEnd()) {
      return kFail;
    }
    certificate_.basicConstraints = constraints;
    return kOk;
  }

  CertificateObject& certificate_;
  ByteView algorithm_;
};

}  // namespace

int32_t readCertificate(CertificateObject& certificate) {
  const int32_t result = CertificateReader(certificate).read();
  if (!failed(result) && certificate.serial.failed()) {
    return kOutOfMemory;
  }
  if (!failed(result)) {
    certificate.encodingRecord = {certificate.encoding.size(), certificate.encoding.data()};
  }
  return result;
}

int32_t decodeCertificate(ByteView der, runtime::Certificate** out) {
  *out = nullptr;
  if (der.size() > UINT32_MAX) {
    return kFail;
  }
  Ref<CertificateObject> certificate(makeOnHeap<CertificateObject>());
  if (!certificate) {
    return kOutOfMemory;
  }
  certificate->encoding.append(der);
  if (certificate->encoding.failed()) {
    return kOutOfMemory;
  }
  const int32_t result = readCertificate(*certificate.get());
  if (failed(result)) {
    return result;
  }
  *out = certificate.release();
  return kOk;
}

}  // namespace vexa::velmora
