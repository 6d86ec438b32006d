#pragma once

#include <string>

#include "runtime/crypto_fixture.h"
#include "runtime/der/der_maker.h"

// Certificates made of their parts, whatever these are. The signature is none.
namespace vexa::test {

inline const std::string kRsaSha256 = fromHex("300d06092a864886f70d01010b0500");
inline const std::string kCertificateTime = element("17", "240229120000Z");

// RFC 5280, 4.1, in the order of the encoding.
struct CertificateFields {
  std::string version = fromHex("a003020102");
  std::string serial = fromHex("020107");
  std::string signedAlgorithm = kRsaSha256;
  std::string issuer = fromHex("3000");
  std::string validity = element("30", kCertificateTime + kCertificateTime);
  std::string subject = fromHex("3000");
  std::string key = element("30", kRsaSha256 + fromHex("03020001"));
  std::string uniqueIds;
  std::string extensions;
  std::string algorithm = kRsaSha256;
  std::string signature = fromHex("03020001");

  std::string certificate() const {
    const std::string signedPart = version + serial + signedAlgorithm + issuer + validity +
                                   subject + key + uniqueIds + extensions;
    return element("30", element("30", signedPart) + algorithm + signature);
  }
};

// The extensions field over one extension.
inline std::string extension(const std::string& fields) {
  return element("a3", element("30", element("30", fields)));
}

}  // namespace vexa::test
