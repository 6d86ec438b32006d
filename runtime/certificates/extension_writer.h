#pragma once

#include "runtime/certificates/certificate.h"

// The extensions of a certificate under construction (RFC 5280, 4.2.1).
namespace vexa::velmora {

// The key identifiers that a new certificate carries. Empty: none.
struct KeyIdentifiers {
  Bytes subject;
  Bytes authority;
};

// The subject's from its public key; the authority's from the extension of the issuer's
// certificate, or else from the issuer's key. `issuer` null: the certificate's own, when
// `selfSigned`, or else none. kOutOfMemory or kFail.
int32_t identifyKeys(const CertificateObject& certificate, runtime::Certificate* issuer,
                     bool selfSigned, KeyIdentifiers& out);

// The content of the Extensions.
void writeExtensions(const CertificateObject& certificate, const KeyIdentifiers& identifiers,
                     DerWriter& writer);

}  // namespace vexa::velmora
