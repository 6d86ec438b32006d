#include <ctime>
#include <optional>

#include "certificates.h"
#include "cli/console.h"
#include "files.h"
#include "options.h"
#include "password.h"
#include "vexa/ca.h"
#include "vexa/runtime/reference_crypto.h"

namespace vexahost {
namespace {

namespace runtime = vexa::runtime;

struct IssueRequest {
  std::string issuer;
  std::string subject;
  std::string like;
  std::optional<uint32_t> usage;  // none: what fits
  uint32_t days = 365;
  bool isCa = false;
  uint32_t keyBits = 2048;
  std::string out;
  std::string keyOut;
  Password issuerPassword;
  Password newPassword;
};

template <class Function>
Function* require(const Module& module, const char* name) {
  auto* const function = module.runtimeFunction<Function>(name);
  if (function == nullptr) {
    throw HostError("this runtime issues no certificates", ExitStatus::kUnsupported);
  }
  return function;
}
#define VEXAHOST_RUNTIME(name) require<decltype(name)>(module, #name)

// A library time: UTC, YYYYMMDDThhmmss.
std::string libraryTime(time_t time) {
  char text[16] = {};
  std::strftime(text, sizeof(text), "%Y%m%dT%H%M%S", std::gmtime(&time));
  return text;
}

// The public key that is certified: that of a certificate, or of a new key in `made`.
const runtime::PublicKey* subjectKey(Options& options, const Module& module,
                                     const IssueRequest& request, const CertificateRef& like,
                                     KeyAndChain& made) {
  if (like) {
    return like->table->GetPublicKey(like.get());
  }
  options.output.progress("making a key of " + std::to_string(request.keyBits) + " bits ...");
  check(VEXAHOST_RUNTIME(velmora_key_generate_rsa)(request.keyBits, &made.key), "making a key");
  return &made.key->publicKey;
}

// Throws what the runtime says about a step that it refused.
void checkStep(const Module& module, const CertificateRef& certificate, int32_t result,
               const char* what) {
  const char* const reason =
      result == 0 ? nullptr : VEXAHOST_RUNTIME(velmora_certificate_reason)(certificate.get());
  if (reason != nullptr) {
    throw HostError(std::string(what) + ": " + reason);
  }
  check(result, what);
}

CertificateRef sign(const Module& module, const IssueRequest& request,
                    const runtime::PublicKey* key, const KeyAndChain& issuer) {
  constexpr time_t kDay = 24 * 60 * 60;
  constexpr time_t kClockSlack = 60;
  const time_t now = std::time(nullptr);
  CertificateRef certificate;
  check(VEXAHOST_RUNTIME(velmora_certificate_create)(certificate.put()), "a certificate");
  checkStep(
      module, certificate,
      VEXAHOST_RUNTIME(velmora_certificate_set_subject)(certificate.get(), request.subject.c_str()),
      "the subject");
  check(VEXAHOST_RUNTIME(velmora_certificate_set_validity)(
            certificate.get(), libraryTime(now - kClockSlack).c_str(),
            libraryTime(now + kDay * static_cast<time_t>(request.days)).c_str()),
        "the validity");
  check(VEXAHOST_RUNTIME(velmora_certificate_set_public_key)(certificate.get(), key), "the key");
  check(VEXAHOST_RUNTIME(velmora_certificate_set_basic_constraints)(certificate.get(),
                                                                    request.isCa ? 1 : 0, -1),
        "the basic constraints");
  // The runtime knows the usage of an authority.
  if (request.usage || !request.isCa) {
    check(module.list<vexa::CaList>(vexa::kCaListName)
              .SetKeyUsage(certificate.get(), request.usage.value_or(vexa::kUsageSignature)),
          "the key usage");
  }
  checkStep(module, certificate,
            VEXAHOST_RUNTIME(velmora_certificate_sign)(certificate.get(), issuer.key,
                                                       issuer.certificates->certificate),
            "signing");
  return certificate;
}

void issue(Options& options, IssueRequest& request) {
  if (request.like.empty() == request.keyOut.empty()) {
    throw HostError("one of --like and --p12-out says whose key it is", ExitStatus::kUsage);
  }
  const Module module(options.module);
  const KeyAndChain issuer =
      openPkcs12(module, request.issuer, request.issuerPassword.get("Password of the issuer"));
  if (issuer.certificates == nullptr) {
    throw HostError(request.issuer + ": holds no certificate", ExitStatus::kInput);
  }
  CertificateRef like;
  if (!request.like.empty()) {
    like = std::move(readCertificates(module, request.like).front());
  }
  KeyAndChain made(module);
  const CertificateRef certificate =
      sign(module, request, subjectKey(options, module, request, like, made), issuer);
  writeFile(request.out, toPem(module, *certificate.get()));
  if (made.key != nullptr) {
    made.append(certificate.get());
    for (const auto* record = issuer.certificates; record != nullptr; record = record->next) {
      made.append(record->certificate);
    }
    writeFile(request.keyOut,
              createPkcs12(module, made, request.subject,
                           request.newPassword.get("Password of the new key")),
              true);
  }
  const std::string subject = subjectOf(module, certificate.get());
  options.output.done({{"issued", subject}}, "issued  " + visible(subject));
}

}  // namespace

void addCaCommand(CLI::App& app, Options& options) {
  CLI::App* const command = app.add_subcommand("ca", "Certification authority");
  command->require_subcommand(1);
  CLI::App* const issueCommand = command->add_subcommand("issue", "Issue a certificate");
  const auto request = std::make_shared<IssueRequest>();
  issueCommand->add_option("--issuer", request->issuer, "PKCS#12 file of the issuer")->required();
  issueCommand->add_option("--subject", request->subject, "Name, such as CN=Jane,O=Orlind,C=DE")
      ->required();
  issueCommand->add_option("--usage", request->usage,
                           "Key usage code: 0 to 8 a single flag, 16 signature, 17 encryption, "
                           "18 both; signature, or that of an authority, if none is given");
  issueCommand->add_option("--days", request->days, "Validity")
      ->check(CLI::Range(1, 36500))
      ->capture_default_str();
  issueCommand->add_flag("--ca", request->isCa, "The certificate is itself an authority's");
  issueCommand->add_option("--like", request->like, "Certify the public key of this certificate");
  issueCommand->add_option("--p12-out", request->keyOut,
                           "Certify a new key and write it with its chain (PKCS#12)");
  issueCommand->add_option("--key-bits", request->keyBits, "Size of the new key")
      ->capture_default_str();
  issueCommand->add_option("--out", request->out, "Certificate to write, PEM")->required();
  request->issuerPassword.addOptions(*issueCommand, "issuer-password");
  request->newPassword.addOptions(*issueCommand, "p12-password");
  issueCommand->callback([&options, request] { issue(options, *request); });
}

}  // namespace vexahost
