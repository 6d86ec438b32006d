#pragma once

#include <string>
#include <vector>

namespace vexahost {

struct StoredCertificate {
  std::string encoding;      // DER
  std::u16string container;  // of its private key; empty without one
};

// The certificates of a store of the current user. Elsewhere than on Windows the stores live in the
// module's own process, so there this throws HostError.
std::vector<StoredCertificate> storedCertificates(const char* store);

}  // namespace vexahost
