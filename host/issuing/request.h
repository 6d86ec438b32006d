#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "password.h"

namespace vexahost {

// What the command line says of a certificate to be made.
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

}  // namespace vexahost
