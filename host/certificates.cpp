#include "certificates.h"

#include <algorithm>

#include "files.h"
#include "secret.h"
#include "vexa/certificates.h"
#include "vexa/core.h"
#include "vexa/runtime/reference_crypto.h"

namespace vexahost {

namespace runtime = vexa::runtime;

namespace {

constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";

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
  const runtime::ByteBuffer buffer = vexa::borrow(bytes);
  CertificateRef certificate;
  const int32_t result = module.commonTypes().CertificateDecode(&buffer, certificate.put());
  if (result == vexa::kOutOfMemory) {
    check(result, ("reading " + path).c_str());
  }
  if (result != vexa::kOk || !certificate) {
    throw HostError(path + ": holds something that is not a certificate", ExitStatus::kInput);
  }
  return certificate;
}

const vexa::CoreList& core(const Module& module) { return module.list<vexa::CoreList>(); }

std::string nameText(const Module& module, runtime::Name* name) {
  vexa::String text = module.string();
  check(module.commonTypes().StringCopy(text.get(), name), "reading a name");
  return std::string(text.view());
}

// Says why a file was not opened as PKCS#12 (RFC 7292), as far as the runtime can tell.
[[noreturn]] void explainUnopened(const Module& module, const runtime::ByteBuffer& file,
                                  const std::string& path, const std::string& password) {
  uint32_t problem = kVelmoraPkcs12Password;
  if (auto* const tell =
          module.runtimeFunction<decltype(velmora_pkcs12_problem)>("velmora_pkcs12_problem")) {
    check(tell(&file, password.c_str(), &problem), ("opening " + path).c_str());
  }
  if (problem == kVelmoraPkcs12Fine) {  // memory was short, and is there again
    check(vexa::kOutOfMemory, ("opening " + path).c_str());
  }
  switch (problem) {
    case kVelmoraNotPkcs12:
      throw HostError(path + ": not a PKCS#12 file", ExitStatus::kInput);
    case kVelmoraPkcs12Damaged:
      throw HostError(path + ": the PKCS#12 file is damaged or cut short", ExitStatus::kInput);
    case kVelmoraPkcs12NoMac:
      throw HostError(path + ": the PKCS#12 file has no MAC, so that nothing vouches for it",
                      ExitStatus::kInput);
    case kVelmoraPkcs12Unsupported:
      throw HostError(path + ": the PKCS#12 file uses an algorithm that is not known here",
                      ExitStatus::kUnsupported);
    case kVelmoraPkcs12NoKey:
      throw HostError(path + ": the PKCS#12 file holds no key", ExitStatus::kInput);
    default:
      throw HostError(path + ": the password is wrong, or the file is damaged",
                      ExitStatus::kPassword);
  }
}

// The result of reading a key as an exit status.
ExitStatus statusOfKey(int32_t result) {
  switch (result) {
    case vexa::kAccessDenied:
      return ExitStatus::kPassword;
    case vexa::kNotImplemented:
      return ExitStatus::kUnsupported;
    default:
      return ExitStatus::kInput;
  }
}

// The key's own block. Older files say inside of it that it is encrypted.
const PemBlock& keyBlockOf(const std::vector<PemBlock>& blocks, const std::string& path) {
  const auto found = std::find_if(blocks.begin(), blocks.end(), [](const PemBlock& block) {
    return block.label.ends_with("PRIVATE KEY");
  });
  if (found == blocks.end()) {
    throw HostError(path + ": holds no private key in PEM", ExitStatus::kInput);
  }
  if (found->body.find("Proc-Type:") != std::string_view::npos) {
    throw HostError(path +
                        ": encrypted in OpenSSL's old way; openssl pkcs8 -topk8 writes the key "
                        "in today's",
                    ExitStatus::kUnsupported);
  }
  return *found;
}

void checkBelongs(const Module& module, const std::string& path, const KeyAndChain& content) {
  auto* const checkPair = requireRuntime<decltype(velmora_key_check_pair)>(
      module, "velmora_key_check_pair", "reads no keys");
  runtime::Certificate* const certificate = content.certificates->certificate;
  const int32_t result =
      checkPair(content.key.get(), certificate->table->GetPublicKey(certificate));
  if (result == vexa::kFail) {
    throw HostError(
        path + ": not the key of the first certificate, " + subjectOf(module, certificate),
        ExitStatus::kInput);
  }
  check(result, "comparing key and certificate");
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
  vexa::BufferHolder text(module.tables());
  check(core(module).EncodeBase64(encoding, text.put()), "encoding a certificate");
  std::string lines(vexa::view(text.get()));
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
  const auto& list = module.list<vexa::CertificateFunctions>();
  return {
      .encrypt = list.IsEncryptionCertificate(certificate) != 0,
      .sign = list.IsSignatureCertificate(certificate) != 0,
      .client = list.IsClientAuthCertificate(certificate) != 0,
      .ca = list.IsCACertificate(certificate) != 0,
      .root = list.IsRootCACertificate(certificate) != 0,
      .selfIssued = list.IsSelfIssuedEndEntity(certificate) != 0,
  };
}

void KeyAndChain::append(const Module& module, runtime::Certificate* certificate) {
  const auto& list = module.list<vexa::CertificateFunctions>();
  certificates.reset(list.AppendCertificate(certificates.release(), certificate));
  const runtime::CertificateList* record = certificates.get();
  while (record != nullptr &&
         module.commonTypes().CertificateCompare(record->certificate, certificate) != 0) {
    record = record->next;
  }
  if (record == nullptr) {  // it does not say so itself
    check(vexa::kOutOfMemory, "listing a certificate");
  }
}

KeyAndChain openPkcs12(const Module& module, const std::string& path, const std::string& password) {
  const std::string content = readFile(path);
  const runtime::ByteBuffer data = vexa::borrow(content);
  SecretCopy secret(module, password);
  KeyAndChain result(module.tables());
  const int32_t opened =
      core(module).OpenPkcs12(&data, secret.get(), result.key.put(), result.certificates.put());
  if (vexa::failed(opened) && opened != vexa::kOutOfMemory) {
    explainUnopened(module, data, path, password);
  }
  check(opened, ("opening " + path).c_str());
  return result;
}

std::string createPkcs12(const Module& module, const KeyAndChain& content, const std::string& name,
                         const std::string& password) {
  TextCopy friendlyName(module, name);
  SecretCopy secret(module, password);
  vexa::BufferHolder file(module.tables());
  check(core(module).CreatePkcs12(friendlyName.get(), content.key.get(), content.certificates.get(),
                                  secret.get(), file.put()),
        "creating PKCS#12");
  return std::string(vexa::view(file.get()));
}

void readKey(const Module& module, const std::string& path, Password& password, KeyAndChain& out) {
  auto* const read =
      requireRuntime<decltype(velmora_key_read)>(module, "velmora_key_read", "reads no keys");
  std::string content = readFile(path);
  const std::vector<PemBlock> blocks = pemBlocks(content);
  const PemBlock& block = keyBlockOf(blocks, path);
  const runtime::ByteBuffer text = vexa::borrow(block.body);
  vexa::BufferHolder der(module.tables());
  check(core(module).DecodeBase64(&text, der.put()), ("reading " + path).c_str());
  const bool isEncrypted = block.label == "ENCRYPTED PRIVATE KEY";
  const char* const secret =
      isEncrypted ? password.get(("Password of " + path).c_str()).c_str() : nullptr;
  const char* reason = nullptr;
  const int32_t result = read(der.get(), secret, out.key.put(), &reason);
  wipe(content);
  if (reason != nullptr) {
    throw HostError(path + ": " + reason, statusOfKey(result));
  }
  check(result, ("reading " + path).c_str());
  checkBelongs(module, path, out);
}

}  // namespace vexahost
