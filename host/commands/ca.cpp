#include <chrono>
#include <cstdio>
#include <optional>

#include "certificates.h"
#include "cli/console.h"
#include "files.h"
#include "options.h"
#include "vexa/ca.h"
#include "vexa/runtime/reference_crypto.h"

namespace vexahost {
namespace {

namespace runtime = vexa::runtime;
using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;
using std::chrono::year_month_day;

struct IssueRequest {
  std::string issuer;  // PKCS#12, or else:
  std::string issuerKey;
  std::vector<std::string> issuerCertificates;
  std::string subject;
  std::string like;
  std::string profile;
  std::optional<uint32_t> usage;  // none: what fits
  std::vector<std::string> purposes;
  std::vector<std::string> alternativeNames;
  uint32_t days = 365;
  std::string notBefore;
  std::string notAfter;
  bool isCa = false;
  uint32_t keyBits = 2048;
  std::string curve;
  bool allowsWeakKey = false;
  std::string out;
  std::string keyOut;
  Password issuerPassword;
  Password newPassword;

  bool isAuthority() const { return isCa || profile == "ca"; }
};

// What a certificate for somebody is good for. That of an authority is known to the runtime.
struct Profile {
  std::string_view name;
  std::vector<runtime::KeyUsageFlag> usage;
  std::vector<std::string> purposes;
};

const Profile& profileOf(const IssueRequest& request) {
  static const Profile kProfiles[] = {
      {"server", {runtime::kDigitalSignature, runtime::kKeyEncipherment}, {"serverAuth"}},
      {"client", {runtime::kDigitalSignature}, {"clientAuth"}},
      {"person",
       {runtime::kDigitalSignature, runtime::kNonRepudiation, runtime::kKeyEncipherment},
       {"emailProtection", "clientAuth"}},
      {"", {}, {}},
  };
  for (const Profile& profile : kProfiles) {
    if (profile.name == request.profile) {
      return profile;
    }
  }
  return std::end(kProfiles)[-1];
}

template <class Function>
Function* require(const Module& module, const char* name) {
  return requireRuntime<Function>(module, name, "issues no certificates");
}
#define VEXAHOST_RUNTIME(name) require<decltype(name)>(module, #name)

// A library time: UTC, YYYYMMDDThhmmss.
std::string libraryTime(sys_seconds time) {
  const auto day = std::chrono::floor<days>(time);
  const year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  char text[64] = {};
  std::snprintf(text, sizeof(text), "%04d%02u%02uT%02d%02d%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

// The same from "2030-12-31", "2030-12-31T23:59:59Z" or a library time. What is none of these the
// runtime refuses.
std::string libraryTime(const std::string& text) {
  constexpr size_t kDateDigits = 8;
  std::string time;
  for (const char c : text) {
    if (c != '-' && c != ':' && c != 'Z') {
      time += c;
    }
  }
  return time.size() == kDateDigits ? time + "T000000" : time;
}

// The other way round; nothing for what is no library time.
std::optional<sys_seconds> timeOf(const std::string& text) {
  int year = 0;
  unsigned month = 0;
  unsigned day = 0;
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  if (std::sscanf(text.c_str(), "%4d%2u%2uT%2u%2u%2u", &year, &month, &day, &hour, &minute,
                  &second) != 6) {
    return std::nullopt;
  }
  const year_month_day date{std::chrono::year(year), std::chrono::month(month),
                            std::chrono::day(day)};
  return date.ok() ? std::optional<sys_seconds>(sys_days(date) + std::chrono::hours(hour) +
                                                std::chrono::minutes(minute) + seconds(second))
                   : std::nullopt;
}

// A certificate under construction.
class Draft {
 public:
  explicit Draft(const Module& module) : module_(module) {
    check(call<decltype(velmora_certificate_create)>("velmora_certificate_create")(
              certificate_.put()),
          "a certificate");
  }

  // Runs a setter of the runtime's; throws its reason for a refusal.
  template <class Function, class... Arguments>
  void set(const char* name, const std::string& what, ExitStatus status, Arguments... arguments) {
    const int32_t result = call<Function>(name)(certificate_.get(), arguments...);
    const char* const reason = result == 0 ? nullptr
                                           : call<decltype(velmora_certificate_reason)>(
                                                 "velmora_certificate_reason")(certificate_.get());
    if (reason != nullptr) {
      throw HostError(what + ": " + reason, status);
    }
    check(result, what.c_str());
  }

  runtime::Certificate* get() const { return certificate_.get(); }
  CertificateRef take() { return std::move(certificate_); }

 private:
  template <class Function>
  Function* call(const char* name) const {
    return require<Function>(module_, name);
  }

  const Module& module_;
  CertificateRef certificate_;
};
#define VEXAHOST_SET(draft, name, ...) (draft).set<decltype(name)>(#name, __VA_ARGS__)

// So many days behind the beginning; behind now, when nothing was said of that.
std::string endOf(const std::string& start, const IssueRequest& request, sys_seconds now) {
  constexpr sys_days kTooLate = std::chrono::year(10000) / 1 / 1;  // X.509 has four digits
  const sys_seconds end =
      (request.notBefore.empty() ? now : timeOf(start).value_or(now)) + days(request.days);
  if (end >= kTooLate) {
    throw HostError("the validity: it ends after the year 9999", ExitStatus::kUsage);
  }
  return libraryTime(end);
}

void setValidity(Draft& draft, const IssueRequest& request) {
  constexpr seconds kClockSlack(60);
  const auto now = std::chrono::floor<seconds>(std::chrono::system_clock::now());
  const std::string start =
      request.notBefore.empty() ? libraryTime(now - kClockSlack) : libraryTime(request.notBefore);
  const std::string end =
      request.notAfter.empty() ? endOf(start, request, now) : libraryTime(request.notAfter);
  VEXAHOST_SET(draft, velmora_certificate_set_validity, "the validity", ExitStatus::kUsage,
               start.c_str(), end.c_str());
}

// Everything that the command line says, before a key is made, which takes its time.
void setContent(Draft& draft, const IssueRequest& request) {
  VEXAHOST_SET(draft, velmora_certificate_set_subject, "the subject", ExitStatus::kUsage,
               request.subject.c_str());
  setValidity(draft, request);
  const uint8_t isAuthority = request.isAuthority() ? 1 : 0;
  VEXAHOST_SET(draft, velmora_certificate_set_basic_constraints, "the basic constraints",
               ExitStatus::kUsage, isAuthority, -1);
  const auto& purposes = request.purposes.empty() ? profileOf(request).purposes : request.purposes;
  for (const std::string& purpose : purposes) {
    VEXAHOST_SET(draft, velmora_certificate_add_extended_key_usage, purpose, ExitStatus::kUsage,
                 purpose.c_str());
  }
  for (const std::string& name : request.alternativeNames) {
    VEXAHOST_SET(draft, velmora_certificate_add_alternative_name, name, ExitStatus::kUsage,
                 name.c_str());
  }
}

bool isRsa(const Module& module, const runtime::PublicKey& key) {
  constexpr char kRsaEncryption[] = "1.2.840.113549.1.1.1";
  vexa::RuntimeObjectHolder<runtime::ObjectId> rsa;
  check(module.commonTypes().ObjectIdFromText(kRsaEncryption, rsa.put()), "making an identifier");
  return module.commonTypes().ObjectIdCompare(rsa.get(), key.algorithm.identifier) == 0;
}

void setUsage(const Module& module, const Draft& draft, const IssueRequest& request,
              const runtime::PublicKey& key) {
  const Profile& profile = profileOf(request);
  if (!request.usage && !profile.usage.empty()) {
    uint8_t flags[runtime::kDecipherOnly + 1] = {};
    for (const runtime::KeyUsageFlag flag : profile.usage) {
      // A key on a curve enciphers no other key (RFC 8813, 3).
      flags[flag] = flag != runtime::kKeyEncipherment || isRsa(module, key) ? 1 : 0;
    }
    check(draft.get()->table->SetKeyUsage(draft.get(), flags, 1), "the key usage");
  } else if (request.usage || !request.isAuthority()) {
    check(module.list<vexa::CaList>().SetKeyUsage(draft.get(),
                                                  request.usage.value_or(vexa::kUsageSignature)),
          "the key usage");
  }
}

void makeKey(Options& options, const Module& module, const IssueRequest& request,
             KeyAndChain& made) {
  if (!request.curve.empty()) {
    check(VEXAHOST_RUNTIME(velmora_key_generate_ec)(request.curve.c_str(), made.key.put()),
          "making a key");
    return;
  }
  options.output.progress("making a key of " + std::to_string(request.keyBits) + " bits ...");
  const uint32_t flags = request.allowsWeakKey ? kVelmoraShortKey | kVelmoraUnevenKey : 0;
  const int32_t result =
      VEXAHOST_RUNTIME(velmora_key_generate_weak_rsa)(request.keyBits, flags, made.key.put());
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

void checkRequest(const IssueRequest& request) {
  const auto refuse = [](const char* text) { throw HostError(text, ExitStatus::kUsage); };
  if (request.like.empty() == request.keyOut.empty()) {
    refuse("one of --like and --p12-out says whose key it is");
  }
  if (request.issuer.empty() == request.issuerKey.empty() ||
      request.issuerKey.empty() != request.issuerCertificates.empty()) {
    refuse("either --issuer, or --issuer-key and --issuer-cert say who signs");
  }
  if (request.isCa && !request.profile.empty() && request.profile != "ca") {
    refuse("--ca does not go with this --for");
  }
  if (request.profile == "server" && request.alternativeNames.empty()) {
    refuse("--for server needs the names of the server, such as --san DNS:www.example.org");
  }
  if (request.subject.empty() && (request.isAuthority() || request.alternativeNames.empty())) {
    refuse(request.isAuthority() ? "an authority needs a name: --subject is empty"
                                 : "nobody is named: --subject is empty, and there is no --san");
  }
}

void issue(Options& options, IssueRequest& request) {
  checkRequest(request);
  const Module module(options.module);
  Draft draft(module);
  setContent(draft, request);
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
  VEXAHOST_SET(draft, velmora_certificate_set_public_key, "the key", ExitStatus::kInput, key);
  setUsage(module, draft, request, *key);
  VEXAHOST_SET(draft, velmora_certificate_sign, "signing", ExitStatus::kInput, issuer.key.get(),
               issuer.certificates->certificate);
  const CertificateRef certificate = draft.take();

  // The key comes first: what is certified but cannot be used would be of no use to anyone.
  if (made.key) {
    made.append(module, certificate.get());
    for (const auto* record = issuer.certificates.get(); record != nullptr; record = record->next) {
      made.append(module, record->certificate);
    }
    writeFile(request.keyOut,
              createPkcs12(module, made, request.subject,
                           request.newPassword.get("Password of the new key")),
              true);
  }
  writeFile(request.out, toPem(module, *certificate.get()));
  const std::string subject = subjectOf(module, certificate.get());
  options.output.done({{"issued", subject}}, "issued  " + visible(subject));
}

void addContentOptions(CLI::App& command, IssueRequest& request) {
  command.add_option("--subject", request.subject, "Name, such as CN=Jane,O=Orlind,C=DE")
      ->required();
  command
      .add_option("--for", request.profile,
                  "Whom the certificate is for: sets key usage and purposes")
      ->check(CLI::IsMember({"server", "client", "ca", "person"}));
  command
      .add_option("--usage", request.usage,
                  "Key usage code: 0 to 8 a single flag, 16 signature, 17 encryption, 18 both; "
                  "without it and --for signature, or that of an authority")
      ->check(CLI::IsMember({0, 1, 2, 3, 4, 5, 6, 7, 8, 16, 17, 18}));
  command.add_option("--eku", request.purposes,
                     "Purpose: serverAuth, clientAuth, codeSigning, emailProtection, timeStamping, "
                     "OCSPSigning or an object identifier; repeatable");
  command.add_option("--san", request.alternativeNames,
                     "Alternative name: DNS:www.example.org, email:jane@example.org, "
                     "URI:https://example.org/ or IP:192.0.2.1; repeatable");
  CLI::Option* const daysOption =
      command.add_option("--days", request.days, "Validity, from its beginning on")
          ->check(CLI::Range(1, 36500))
          ->capture_default_str();
  command.add_option("--not-before", request.notBefore,
                     "Valid from, such as 2030-01-31 or 2030-01-31T12:00:00Z; from now on if not "
                     "given");
  command.add_option("--not-after", request.notAfter, "Valid until")->excludes(daysOption);
  command.add_flag("--ca", request.isCa, "The certificate is itself an authority's (--for ca)");
}

void addKeyOptions(CLI::App& command, IssueRequest& request) {
  command.add_option("--like", request.like, "Certify the public key of this certificate");
  command.add_option("--p12-out", request.keyOut,
                     "Certify a new key and write it with its chain (PKCS#12)");
  command.add_option("--key-bits", request.keyBits, "Size of the new key")->capture_default_str();
  command.add_option("--curve", request.curve, "Make the new key on this curve instead")
      ->check(CLI::IsMember({"P-256", "P-384", "P-521"}));
  command.add_flag("--weak-key", request.allowsWeakKey,
                   "Allow --key-bits from 1024, and such as are no multiple of 8");
}

}  // namespace

void addCaCommand(CLI::App& app, Options& options) {
  CLI::App* const command = app.add_subcommand("ca", "Certification authority");
  command->require_subcommand(1);
  CLI::App* const issueCommand = command->add_subcommand("issue", "Issue a certificate");
  const auto request = std::make_shared<IssueRequest>();
  issueCommand->add_option("--issuer", request->issuer, "PKCS#12 file of the issuer");
  issueCommand->add_option("--issuer-key", request->issuerKey,
                           "Or the issuer's private key, PEM; it may be encrypted");
  issueCommand->add_option("--issuer-cert", request->issuerCertificates,
                           "... with its certificate first, PEM; repeatable");
  addContentOptions(*issueCommand, *request);
  addKeyOptions(*issueCommand, *request);
  issueCommand->add_option("--out", request->out, "Certificate to write, PEM")->required();
  request->issuerPassword.addOptions(*issueCommand, "issuer-password");
  request->newPassword.addOptions(*issueCommand, "p12-password");
  issueCommand->callback([&options, request] { issue(options, *request); });
}

}  // namespace vexahost
