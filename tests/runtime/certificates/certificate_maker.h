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

// The smallest certificate that can be read.
inline CertificateFields smallestFields() {
  CertificateFields fields;
  fields.version.clear();
  fields.signedAlgorithm = fields.algorithm = fromHex("300306012a");
  fields.key = element("30", fromHex("300306012a03020001"));
  return fields;
}

// The extended key usage of as many purposes as there is room for, the shortest ones.
inline std::string manyPurposes(size_t room) {
  const std::string purposes = element("30", asManyOf(fromHex("06012a"), room));
  return extension(fromHex("0603551d25") + element("04", purposes));
}

// Names of one relative name with one attribute.
inline std::string nameOf(const char* typeHex, const std::string& value) {
  return element("30", element("31", element("30", fromHex(typeHex) + value)));
}
inline std::string commonName(const std::string& value) { return nameOf("0603550403", value); }

}  // namespace vexa::test
