#include "certificates.h"

#include <algorithm>
#include <cstring>

#include "files.h"
#include "vexa/certificates.h"
#include "vexa/core.h"

namespace vexahost {

namespace runtime = vexa::runtime;

namespace {

constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";
constexpr char kRsaEncryption[] = "1.2.840.113549.1.1.1";

// A block of a PEM text (RFC 7468): its label and the base64 between the lines.
struct PemBlock {
  std::string_view label;
  std::string_view body;
};

std::vector<PemBlock> pemBlocks(std::string_view text) {
  std::vector<PemBlock> blocks;
  while (true) {
    const size_t begin = text.find(kBegin);
    const size_t labelEnd =
        begin == std::string_view::npos ? begin : text.find(kDashes, begin + kBegin.size());
    const size_t end = labelEnd == std::string_view::npos ? labelEnd : text.find(kEnd, labelEnd);
    if (end == std::string_view::npos) {
      return blocks;
    }
    const size_t bodyStart = labelEnd + kDashes.size();
    blocks.push_back({text.substr(begin + kBegin.size(), labelEnd - begin - kBegin.size()),
                      text.substr(bodyStart, end - bodyStart)});
    text.remove_prefix(end + kEnd.size());
  }
}

CertificateRef decode(const Module& module, std::string_view bytes, const std::string& path) {
  const runtime::ByteBuffer buffer = borrow(bytes);
  CertificateRef certificate;
  if (module.types().CertificateDecode(&buffer, certificate.put()) != 0 || !certificate) {
    throw HostError(path + ": holds something that is not a certificate", ExitStatus::kInput);
  }
  return certificate;
}

const vexa::CoreList& core(const Module& module) {
  return module.list<vexa::CoreList>(vexa::kCoreListName);
}

std::string nameText(const Module& module, runtime::Name* name) {
  StringRef text(module);
  check(module.types().StringCopy(text.get(), name), "reading a name");
  return std::string(text.view());
}

// One element of DER: the content behind its tag and length. Throws HostError when it is cut.
std::string_view takeElement(std::string_view& der, uint8_t tag) {
  const auto byteAt = [&der](size_t i) -> size_t {
    if (i >= der.size()) {
      throw HostError("the key is cut short", ExitStatus::kInput);
    }
    return static_cast<uint8_t>(der[i]);
  };
  if (byteAt(0) != tag) {
    throw HostError("the key is not an RSA private key", ExitStatus::kInput);
  }
  size_t length = byteAt(1);
  size_t header = 2;
  if (length >= 0x80) {
    const size_t bytes = length & 0x7F;
    if (bytes > 4) {
      throw HostError("the key is cut short", ExitStatus::kInput);
    }
    length = 0;
    for (size_t i = 0; i < bytes; ++i) {
      length = length << 8 | byteAt(header++);
    }
  }
  if (der.size() - header < length) {
    throw HostError("the key is cut short", ExitStatus::kInput);
  }
  const std::string_view content = der.substr(header, length);
  der.remove_prefix(header + length);
  return content;
}

// The RSAPrivateKey inside a PrivateKeyInfo.
std::string_view unwrapPkcs8(std::string_view der) {
  constexpr uint8_t kInteger = 0x02;
  constexpr uint8_t kOctetString = 0x04;
  constexpr uint8_t kSequence = 0x30;
  std::string_view info = takeElement(der, kSequence);
  takeElement(info, kInteger);
  takeElement(info, kSequence);
  return takeElement(info, kOctetString);
}

bool elementFits(std::string_view der) {
  try {
    (void)takeElement(der, static_cast<uint8_t>(der[0]));
    return true;
  } catch (const HostError&) {
    return false;
  }
}

// Says why a file was not opened as PKCS#12 (RFC 7292): what its outermost element tells, or else
// that the check over its content failed, which a wrong password and damage do alike.
[[noreturn]] void explainUnopened(std::string_view content, const std::string& path) {
  constexpr uint8_t kSequence = 0x30;
  constexpr std::string_view kVersion3("\x02\x01\x03", 3);
  if (content.empty() || static_cast<uint8_t>(content[0]) != kSequence) {
    throw HostError(path + ": not a PKCS#12 file", ExitStatus::kInput);
  }
  const bool isIndefinite = content.size() > 1 && static_cast<uint8_t>(content[1]) == 0x80;
  if (!isIndefinite && !elementFits(content)) {
    throw HostError(path + ": the PKCS#12 file is cut short", ExitStatus::kInput);
  }
  constexpr size_t kLongestHeader = 6;
  if (content.substr(0, kLongestHeader + kVersion3.size()).find(kVersion3) ==
      std::string_view::npos) {
    throw HostError(path + ": not a PKCS#12 file", ExitStatus::kInput);
  }
  throw HostError(path + ": the password is wrong, or the file is damaged or holds no key",
                  ExitStatus::kPassword);
}

void setAlgorithm(const Module& module, KeyAndChain& out) {
  RuntimeRef<runtime::ObjectId> rsa;
  check(module.types().ObjectIdFromText(kRsaEncryption, rsa.put()), "making an identifier");
  const runtime::AlgorithmId algorithm = {rsa.get(), {}};
  check(module.types().AlgorithmIdCopy(&out.key->privateKey.algorithm, &algorithm),
        "copying an identifier");
}

}  // namespace

std::vector<CertificateRef> certificatesIn(const Module& module, std::string_view content,
                                           const std::string& what) {
  std::vector<CertificateRef> certificates;
  for (const PemBlock& block : pemBlocks(content)) {
    if (block.label == "CERTIFICATE") {
      certificates.push_back(decode(module, block.body, what));
    }
  }
  if (certificates.empty()) {
    certificates.push_back(decode(module, content, what));
  }
  return certificates;
}

std::vector<CertificateRef> readCertificates(const Module& module, const std::string& path) {
  return certificatesIn(module, readFile(path), path);
}

std::string toPem(const Module& module, const runtime::Certificate& certificate) {
  const runtime::ByteBuffer* const encoding =
      certificate.table->GetEncoding(const_cast<runtime::Certificate*>(&certificate));
  if (encoding == nullptr) {
    throw HostError("the certificate has no encoding");
  }
  BufferRef text(module);
  check(core(module).EncodeBase64(encoding, text.put()), "encoding a certificate");
  std::string lines(text.view());
  lines.erase(std::remove(lines.begin(), lines.end(), '\r'), lines.end());
  return "-----BEGIN CERTIFICATE-----\n" + lines + "-----END CERTIFICATE-----\n";
}

std::string subjectOf(const Module& module, runtime::Certificate* certificate) {
  return nameText(module, certificate->table->GetSubject(certificate));
}

std::string issuerOf(const Module& module, runtime::Certificate* certificate) {
  return nameText(module, certificate->table->GetIssuer(certificate));
}

CertificateUses usesOf(const Module& module, runtime::Certificate* certificate) {
  const auto& list = module.list<vexa::CertificateFunctions>(vexa::kCertificateListName);
  return {
      .encrypt = list.IsEncryptionCertificate(certificate) != 0,
      .sign = list.IsSignatureCertificate(certificate) != 0,
      .client = list.IsClientAuthCertificate(certificate) != 0,
      .ca = list.IsCACertificate(certificate) != 0,
      .root = list.IsRootCACertificate(certificate) != 0,
      .selfIssued = list.IsSelfIssuedEndEntity(certificate) != 0,
  };
}

void KeyAndChain::append(runtime::Certificate* certificate) {
  certificates = module_->list<vexa::CertificateFunctions>(vexa::kCertificateListName)
                     .AppendCertificate(certificates, certificate);
}

KeyAndChain openPkcs12(const Module& module, const std::string& path, const std::string& password) {
  const std::string content = readFile(path);
  const runtime::ByteBuffer data = borrow(content);
  StringRef secret(module, password);
  KeyAndChain result(module);
  const int32_t opened =
      core(module).OpenPkcs12(&data, secret.get(), &result.key, &result.certificates);
  if (opened == vexa::kFail) {
    explainUnopened(content, path);
  }
  check(opened, ("opening " + path).c_str());
  return result;
}

std::string createPkcs12(const Module& module, const KeyAndChain& content, const std::string& name,
                         const std::string& password) {
  StringRef friendlyName(module, name);
  StringRef secret(module, password);
  BufferRef file(module);
  check(core(module).CreatePkcs12(friendlyName.get(), content.key, content.certificates,
                                  secret.get(), file.put()),
        "creating PKCS#12");
  return std::string(file.view());
}

void readKey(const Module& module, const std::string& path, runtime::Certificate* certificate,
             KeyAndChain& out) {
  const std::string content = readFile(path);
  const std::vector<PemBlock> blocks = pemBlocks(content);
  const auto found = std::find_if(blocks.begin(), blocks.end(), [](const PemBlock& block) {
    return block.label == "RSA PRIVATE KEY" || block.label == "PRIVATE KEY";
  });
  if (found == blocks.end()) {
    throw HostError(path + ": holds no unencrypted RSA private key", ExitStatus::kInput);
  }
  const runtime::ByteBuffer text = borrow(found->body);
  BufferRef der(module);
  check(core(module).DecodeBase64(&text, der.put()), ("reading " + path).c_str());
  const std::string_view key = found->label == "PRIVATE KEY" ? unwrapPkcs8(der.view()) : der.view();

  check(module.types().KeyCreate(&out.key), "making a key");
  setAlgorithm(module, out);
  auto* const bytes = static_cast<uint8_t*>(module.root().Allocate(key.size()));
  if (bytes == nullptr) {
    throw HostError("out of memory");
  }
  std::memcpy(bytes, key.data(), key.size());
  out.key->privateKey.bytes = bytes;
  out.key->privateKey.bitLength = 8 * key.size();
  const runtime::PublicKey* const publicKey = certificate->table->GetPublicKey(certificate);
  if (publicKey != nullptr) {
    check(module.types().PublicKeyCopy(&out.key->publicKey, publicKey), "copying a key");
  }
}

}  // namespace vexahost
