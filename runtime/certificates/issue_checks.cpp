#include "runtime/certificates/issue_checks.h"

#include <cstring>

#include "runtime/keys/signing.h"

namespace vexa::velmora {
namespace {

bool isAuthority(const CertificateObject& certificate) {
  return certificate.basicConstraints && certificate.basicConstraints->cA != 0;
}

bool maySignCertificates(const CertificateObject& certificate) {
  return !certificate.keyUsage || (*certificate.keyUsage)[runtime::kKeyCertSign] != 0;
}

const char* problemOfContent(const CertificateObject& certificate) {
  if (certificate.notBefore.text[0] == '\0' || certificate.notAfter.text[0] == '\0') {
    return "the certificate has no validity";
  }
  if (std::strcmp(certificate.notBefore.text, certificate.notAfter.text) > 0) {
    return "the validity ends before it begins";
  }
  if (certificate.publicKey.algorithm.identifier == nullptr ||
      certificate.publicKey.bytes == nullptr) {
    return "the certificate has no public key";
  }
  if (isAuthority(certificate) && !certificate.subject) {
    return "an authority needs a name";
  }
  if (isAuthority(certificate) && !maySignCertificates(certificate)) {
    return "the key usage of an authority must include the signing of certificates";
  }
  return nullptr;
}

const char* problemOfIssuer(const CertificateObject& certificate, const CertificateObject& issuer) {
  if (!issuer.isComplete() || !issuer.subject) {
    return "the issuer's certificate is not signed or has no name";
  }
  if (!isAuthority(issuer)) {
    return "the issuer's certificate is not that of an authority";
  }
  if (!maySignCertificates(issuer)) {
    return "the issuer's key usage does not allow the signing of certificates";
  }
  if (isAuthority(certificate) && issuer.pathLength == 0u) {
    return "the issuer's path length allows no further authority";
  }
  return nullptr;
}

const char* problemOfIssue(const CertificateObject& certificate,
                           const runtime::KeyObject& issuerKey, runtime::Certificate* issuer) {
  if (const char* const problem = problemOfContent(certificate)) {
    return problem;
  }
  if (!canSign(issuerKey.privateKey)) {
    return "the issuer's key is neither an RSA key nor one on a known curve";
  }
  return issuer == nullptr ? nullptr : problemOfIssuer(certificate, *implementationOf(issuer));
}

}  // namespace

bool isSelfIssued(const CertificateObject& certificate, runtime::Certificate* issuer) {
  return issuer == nullptr &&
         (!certificate.issuer || equalNames(certificate.issuer.get(), certificate.subject.get()));
}

int32_t checkIssue(const CertificateObject& certificate, const runtime::KeyObject& issuerKey,
                   runtime::Certificate* issuer, const char*& reason) {
  reason = problemOfIssue(certificate, issuerKey, issuer);
  if (reason != nullptr) {
    return kInvalidArgument;
  }
  if (issuer == nullptr && !isSelfIssued(certificate, issuer)) {
    return kOk;
  }
  const runtime::PublicKey& expected =
      issuer != nullptr ? implementationOf(issuer)->publicKey : certificate.publicKey;
  const int32_t result = checkPair(issuerKey.privateKey, expected);
  if (result != kFail) {
    return result;
  }
  reason = issuer != nullptr ? "the key does not belong to the issuer's certificate"
                             : "a self-signed certificate is signed with its own key";
  return kInvalidArgument;
}

}  // namespace vexa::velmora
