#pragma once

#include <string>

#include "certificates.h"
#include "issuing/request.h"

namespace vexahost {

// A certificate under construction. The functions throw HostError with the runtime's reason for
// what it refuses.
class Draft {
 public:
  explicit Draft(const Module& module);

  // Everything that the command line says, but for the key.
  void setContent(const IssueRequest& request);
  // The key, and what it may be used for.
  void setKey(const IssueRequest& request, const vexa::runtime::PublicKey& key);
  // Signs it and gives it up.
  CertificateRef sign(const KeyAndChain& issuer);

 private:
  template <class Function, class... Arguments>
  void set(const char* name, const std::string& what, ExitStatus status, Arguments... arguments);
  void setValidity(const IssueRequest& request);
  void setUsage(const IssueRequest& request, const vexa::runtime::PublicKey& key);
  bool isRsa(const vexa::runtime::PublicKey& key) const;

  const Module& module_;
  CertificateRef certificate_;
};

// A function that makes certificates or keys. Throws HostError where the runtime has none.
template <class Function>
Function* requireIssuing(const Module& module, const char* name) {
  return requireRuntime<Function>(module, name, "issues no certificates");
}
#define VEXAHOST_ISSUING(module, name) requireIssuing<decltype(name)>(module, #name)

}  // namespace vexahost
