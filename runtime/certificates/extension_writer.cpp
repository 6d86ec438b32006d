#include "runtime/certificates/extension_writer.h"

#include "runtime/certificates/extension_ids.h"
#include "runtime/keys/libgcrypt.h"

namespace vexa::velmora {
namespace {

constexpr size_t kKeyIdentifierLength = 20;

// RFC 5280, 4.2.1.2, method 1: SHA-1 over the bytes of the key.
int32_t identify(const runtime::PublicKey& key, Bytes& out) {
  if (!libraryReady()) {
    return kFail;
  }
  uint8_t identifier[kKeyIdentifierLength];
  const ByteView bytes = bytesOf(key);
  gcry_md_hash_buffer(GCRY_MD_SHA1, identifier, bytes.data(), bytes.size());
  out.append(identifier);
  return out.failed() ? kOutOfMemory : kOk;
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

void writeKeyIdentifiers(const KeyIdentifiers& identifiers, DerWriter& writer) {
  if (identifiers.subject.size() != 0) {
    writeExtension(kSubjectKeyIdentifierId, false, writer,
                   [&] { writer.element(kOctetString, identifiers.subject); });
  }
  if (identifiers.authority.size() != 0) {
    // AuthorityKeyIdentifier = SEQUENCE { keyIdentifier [0] OPTIONAL, ... }
    writeExtension(kAuthorityKeyIdentifierId, false, writer, [&] {
      const size_t mark = writer.begin(kSequence);
      writer.element(contextTag(0, false), identifiers.authority);
      writer.end(mark);
    });
  }
}

void writeBasicConstraints(const CertificateObject& certificate, DerWriter& writer) {
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

void writeExtendedKeyUsage(const CertificateObject& certificate, DerWriter& writer) {
  writeExtension(kExtendedKeyUsageId, false, writer, [&] {
    const size_t mark = writer.begin(kSequence);
    for (auto* entry = certificate.extendedKeyUsage; entry != nullptr; entry = entry->next) {
      writer.element(kObjectId, contentOf(entry->identifier));
    }
    writer.end(mark);
  });
}

}  // namespace

int32_t identifyKeys(const CertificateObject& certificate, runtime::Certificate* issuer,
                     bool selfSigned, KeyIdentifiers& out) {
  const int32_t result = identify(certificate.publicKey, out.subject);
  if (failed(result)) {
    return result;
  }
  if (issuer == nullptr) {
    out.authority.append(selfSigned ? out.subject.view() : ByteView());
  } else if (!implementationOf(issuer)->subjectKeyIdentifier.empty()) {
    out.authority.append(implementationOf(issuer)->subjectKeyIdentifier);
  } else {
    return identify(implementationOf(issuer)->publicKey, out.authority);
  }
  return out.authority.failed() ? kOutOfMemory : kOk;
}

void writeExtensions(const CertificateObject& certificate, const KeyIdentifiers& identifiers,
                     DerWriter& writer) {
  writeKeyIdentifiers(identifiers, writer);
  if (certificate.basicConstraints) {
    writeBasicConstraints(certificate, writer);
  }
  if (certificate.keyUsage) {
    writeExtension(kKeyUsageId, certificate.keyUsageCritical, writer,
                   [&] { writeKeyUsageBits(*certificate.keyUsage, writer); });
  }
  if (certificate.extendedKeyUsage != nullptr) {
    writeExtendedKeyUsage(certificate, writer);
  }
  if (certificate.alternativeNames.size() != 0) {
    // Critical where it is the only name.
    writeExtension(kAlternativeNameId, !certificate.subject, writer,
                   [&] { writer.element(kSequence, certificate.alternativeNames); });
  }
}

}  // namespace vexa::velmora
