#include "issuing/draft.h"

#include <chrono>
#include <utility>

#include "library_time.h"
#include "vexa/ca.h"
#include "vexa/runtime/reference_crypto.h"

namespace vexahost {
namespace {

namespace runtime = vexa::runtime;
using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;

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

std::string timeOf(const char* option, const std::string& text) {
  std::string time = libraryTime(text);
  const auto read = fromLibraryTime(time);
  if (!read || libraryTime(*read) != time) {
    throw HostError(std::string(option) + ": " + text +
                        " is no time such as 2030-01-31 or 2030-01-31T12:00:00Z",
                    ExitStatus::kUsage);
  }
  return time;
}

// So many days behind the beginning; behind now, when nothing was said of that.
std::string endOf(const std::string& start, const IssueRequest& request, sys_seconds now) {
  constexpr sys_days kTooLate = std::chrono::year(10000) / 1 / 1;  // X.509 has four digits
  const sys_seconds end =
      (request.notBefore.empty() ? now : fromLibraryTime(start).value_or(now)) + days(request.days);
  if (end >= kTooLate) {
    throw HostError("the validity: it ends after the year 9999", ExitStatus::kUsage);
  }
  return libraryTime(end);
}

}  // namespace

Draft::Draft(const Module& module) : module_(module) {
  check(VEXAHOST_ISSUING(module_, velmora_certificate_create)(certificate_.put()), "a certificate");
}

// Runs a setter of the runtime's; throws its reason for a refusal.
template <class Function, class... Arguments>
void Draft::set(const char* name, const std::string& what, ExitStatus status,
                Arguments... arguments) {
  const int32_t result = requireIssuing<Function>(module_, name)(certificate_.get(), arguments...);
  const char* const reason =
      result == 0 ? nullptr
                  : VEXAHOST_ISSUING(module_, velmora_certificate_reason)(certificate_.get());
  if (reason != nullptr) {
    throw HostError(what + ": " + reason, status);
  }
  check(result, what.c_str());
}
#define VEXAHOST_SET(name, ...) set<decltype(name)>(#name, __VA_ARGS__)

void Draft::setContent(const IssueRequest& request) {
  VEXAHOST_SET(velmora_certificate_set_subject, "the subject", ExitStatus::kUsage,
               request.subject.c_str());
  setValidity(request);
  const uint8_t isAuthority = request.isAuthority() ? 1 : 0;
  VEXAHOST_SET(velmora_certificate_set_basic_constraints, "the basic constraints",
               ExitStatus::kUsage, isAuthority, -1);
  const auto& purposes = request.purposes.empty() ? profileOf(request).purposes : request.purposes;
  for (const std::string& purpose : purposes) {
    VEXAHOST_SET(velmora_certificate_add_extended_key_usage, purpose, ExitStatus::kUsage,
                 purpose.c_str());
  }
  for (const std::string& name : request.alternativeNames) {
    VEXAHOST_SET(velmora_certificate_add_alternative_name, name, ExitStatus::kUsage, name.c_str());
  }
}

void Draft::setValidity(const IssueRequest& request) {
  constexpr seconds kClockSlack(60);
  const auto now = std::chrono::floor<seconds>(std::chrono::system_clock::now());
  const std::string start = request.notBefore.empty() ? libraryTime(now - kClockSlack)
                                                      : timeOf("--not-before", request.notBefore);
  const std::string end = request.notAfter.empty() ? endOf(start, request, now)
                                                   : timeOf("--not-after", request.notAfter);
  VEXAHOST_SET(velmora_certificate_set_validity, "the validity", ExitStatus::kUsage, start.c_str(),
               end.c_str());
}

void Draft::setKey(const IssueRequest& request, const runtime::PublicKey& key) {
  VEXAHOST_SET(velmora_certificate_set_public_key, "the key", ExitStatus::kInput, &key);
  setUsage(request, key);
}

void Draft::setUsage(const IssueRequest& request, const runtime::PublicKey& key) {
  const Profile& profile = profileOf(request);
  if (!request.usage && !profile.usage.empty()) {
    uint8_t flags[runtime::kDecipherOnly + 1] = {};
    for (const runtime::KeyUsageFlag flag : profile.usage) {
      // A key on a curve enciphers no other key (RFC 8813, 3).
      flags[flag] = flag != runtime::kKeyEncipherment || isRsa(key) ? 1 : 0;
    }
    check(certificate_->table->SetKeyUsage(certificate_.get(), flags, 1), "the key usage");
  } else if (request.usage || !request.isAuthority()) {
    check(module_.list<vexa::CaList>().SetKeyUsage(certificate_.get(),
                                                   request.usage.value_or(vexa::kUsageSignature)),
          "the key usage");
  }
}

bool Draft::isRsa(const runtime::PublicKey& key) const {
  constexpr char kRsaEncryption[] = "1.2.840.113549.1.1.1";
  vexa::RuntimeObjectHolder<runtime::ObjectId> rsa;
  check(module_.commonTypes().ObjectIdFromText(kRsaEncryption, rsa.put()), "making an identifier");
  return module_.commonTypes().ObjectIdCompare(rsa.get(), key.algorithm.identifier) == 0;
}

CertificateRef Draft::sign(const KeyAndChain& issuer) {
  VEXAHOST_SET(velmora_certificate_sign, "signing", ExitStatus::kInput, issuer.key.get(),
               issuer.certificates->certificate);
  return std::move(certificate_);
}

}  // namespace vexahost
