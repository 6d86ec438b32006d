#pragma once

#include <string>
#include <vector>

#include "certificates.h"
#include "vexa/own_certificates.h"

namespace vexahost {

// The PKCS#12 file that stands for the user's PSE, given to the reference runtime. Throws HostError
// with a runtime that has its own.
void configurePse(const Module& module, const std::string& path, const std::string& password);

// One own certificate as the module shows it.
struct OwnCertificate {
  std::string subject;
  std::string issuer;
  CertificateUses uses;
};

// Refreshes the container and reads it.
std::vector<OwnCertificate> ownCertificates(const Module& module);

}  // namespace vexahost
