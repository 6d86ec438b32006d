#include "issuing/issue.h"

#include <string>
#include <utility>

#include "certificates.h"
#include "cli/console.h"
#include "files.h"
#include "issuing/draft.h"
#include "vexa/runtime/reference_crypto.h"

namespace vexahost {
namespace {

namespace runtime = vexa::runtime;

void makeKey(Options& options, const Module& module, const IssueRequest& request,
             KeyAndChain& made) {
  if (!request.curve.empty()) {
    check(VEXAHOST_ISSUING(module, velmora_key_generate_ec)(request.curve.c_str(), made.key.put()),
          "making a key");
    return;
  }
  options.output.progress("making a key of " + std::to_string(request.keyBits) + " bits ...");
  const uint32_t flags = request.allowsWeakKey ? kVelmoraShortKey | kVelmoraUnevenKey : 0;
  const int32_t result = VEXAHOST_ISSUING(module, velmora_key_generate_weak_rsa)(
      request.keyBits, flags, made.key.put());
  if (result == vexa::kInvalidArgument) {
    throw HostError(request.allowsWeakKey
                        ? "--key-bits: an even number from 1024 to 16384"
                        : "--key-bits: a multiple of 8 from 2048 to 16384 (--weak-key allows less)",
                    ExitStatus::kUsage);
  }
  check(result, "making a key");
}

KeyAndChain readIssuer(const Module& module, IssueRequest& request) {
  constexpr char kPrompt[] = "Password of the issuer";
  if (!request.issuer.empty()) {
    KeyAndChain issuer = openPkcs12(module, request.issuer, request.issuerPassword.get(kPrompt));
    if (!issuer.certificates) {
      throw HostError(request.issuer + ": holds no certificate", ExitStatus::kInput);
    }
    return issuer;
  }
  KeyAndChain issuer(module.tables());
  for (const std::string& path : request.issuerCertificates) {
    for (const CertificateRef& certificate : readCertificates(module, path)) {
      issuer.append(module, certificate.get());
    }
  }
  readKey(module, request.issuerKey, request.issuerPassword, issuer);
  return issuer;
}

// The new key with its chain, up to the issuer's end.
void writeKey(const Module& module, IssueRequest& request, KeyAndChain& made,
              const KeyAndChain& issuer, runtime::Certificate* certificate) {
  made.append(module, certificate);
  for (const auto* record = issuer.certificates.get(); record != nullptr; record = record->next) {
    made.append(module, record->certificate);
  }
  const std::string password = request.newPassword.get("Password of the new key");
  writeFile(request.keyOut, createPkcs12(module, made, request.subject, password), true);
}

}  // namespace

void issue(Options& options, IssueRequest& request) {
  const Module module(options.module);
  Draft draft(module);
  draft.setContent(request);  // before a key is made, which takes its time
  const KeyAndChain issuer = readIssuer(module, request);
  CertificateRef like;
  KeyAndChain made(module.tables());
  if (!request.like.empty()) {
    like = std::move(readCertificates(module, request.like).front());
  } else {
    makeKey(options, module, request, made);
  }
  const runtime::PublicKey* const key =
      like ? like->table->GetPublicKey(like.get()) : &made.key->publicKey;
  if (key == nullptr) {
    throw HostError(request.like + ": holds no public key", ExitStatus::kInput);
  }
  draft.setKey(request, *key);
  const CertificateRef certificate = draft.sign(issuer);

  // The key comes first: what is certified but cannot be used would be of no use to anyone.
  if (made.key) {
    writeKey(module, request, made, issuer, certificate.get());
  }
  writeFile(request.out, toPem(module, *certificate.get()));
  const std::string subject = subjectOf(module, certificate.get());
  options.output.done({{"issued", subject}}, "issued  " + visible(subject));
}

}  // namespace vexahost
