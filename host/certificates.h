#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "module.h"
#include "password.h"
#include "texts.h"
#include "vexa/runtime/certificate.h"

// Certificates and keys of the runtime, as the host handles them.
namespace vexahost {

using CertificateRef = vexa::RuntimeObjectHolder<vexa::runtime::Certificate>;

// Every certificate of a PEM text, or the one of a DER encoding. `what` holds them, for the
// message. Throws HostError.
std::vector<CertificateRef> certificatesIn(const Module& module, std::string_view content,
                                           const std::string& what);
// The same for a file.
std::vector<CertificateRef> readCertificates(const Module& module, const std::string& path);
std::string toPem(const Module& module, const vexa::runtime::Certificate& certificate);

std::string subjectOf(const Module& module, vexa::runtime::Certificate* certificate);
std::string issuerOf(const Module& module, vexa::runtime::Certificate* certificate);

// What a certificate may be used for, by the module's predicates.
struct CertificateUses {
  bool encrypt;
  bool sign;
  bool client;
  bool ca;
  bool root;
  bool selfIssued;
};
CertificateUses usesOf(const Module& module, vexa::runtime::Certificate* certificate);

// A key with its certificate list, as PKCS#12 holds them.
struct KeyAndChain {
  explicit KeyAndChain(const vexa::HostTables& tables) : key(tables), certificates(tables) {}

  // Adds a certificate at the end, unless it is there already. Throws HostError.
  void append(const Module& module, vexa::runtime::Certificate* certificate);

  vexa::KeyHolder key;
  vexa::CertificateListHolder certificates;
};

KeyAndChain openPkcs12(const Module& module, const std::string& path, const std::string& password);
std::string createPkcs12(const Module& module, const KeyAndChain& content, const std::string& name,
                         const std::string& password);

// A private key from a PEM file: "PRIVATE KEY", "ENCRYPTED PRIVATE KEY" (RFC 5958), "RSA PRIVATE
// KEY" (RFC 8017) or "EC PRIVATE KEY" (RFC 5915). `password` is asked for when the key is
// encrypted. Throws HostError, also when the key is not that of the first certificate of `out`.
void readKey(const Module& module, const std::string& path, Password& password, KeyAndChain& out);

// A function of the reference runtime, which others do not have. Throws HostError.
template <class Function>
Function* requireRuntime(const Module& module, const char* name, const char* what) {
  auto* const function = module.runtimeFunction<Function>(name);
  if (function == nullptr) {
    throw HostError(std::string("this runtime ") + what, ExitStatus::kUnsupported);
  }
  return function;
}

}  // namespace vexahost
