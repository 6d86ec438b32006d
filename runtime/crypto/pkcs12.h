#pragma once

#include "runtime/crypto/certificate.h"
#include "runtime/crypto/password_cipher.h"
#include "vexa/runtime/pkcs12.h"

// PKCS#12 files (RFC 7292).
namespace vexa::velmora {

namespace pkcs12 {

inline constexpr KnownId kData = "1.2.840.113549.1.7.1";
inline constexpr KnownId kEncryptedData = "1.2.840.113549.1.7.6";

inline constexpr KnownId kKeyBagId = "1.2.840.113549.1.12.10.1.1";
inline constexpr KnownId kShroudedKeyBagId = "1.2.840.113549.1.12.10.1.2";
inline constexpr KnownId kCertificateBagId = "1.2.840.113549.1.12.10.1.3";
inline constexpr KnownId kSafeContentsBagId = "1.2.840.113549.1.12.10.1.6";
inline constexpr KnownId kX509Certificate = "1.2.840.113549.1.9.22.1";

inline constexpr KnownId kFriendlyName = "1.2.840.113549.1.9.20";
inline constexpr KnownId kLocalKeyId = "1.2.840.113549.1.9.21";

}  // namespace pkcs12

// The companion table and the records that it makes and releases.
extern const runtime::Pkcs12TypesTable pkcs12TypesTable;
void releaseBagList(runtime::BagNode* head);

// The whole PFX. Key bags without algorithm, certificates without encoding and unknown names of
// algorithms are refused.
int32_t encodePfx(const runtime::PfxParameters& parameters, const Password& password, Bytes& out);

// Appends the bags in the order of the file; shrouded keys come decrypted. Bags other than keys and
// X.509 certificates are left out. `verified`: a MAC is there and fits. The list is only made on
// success.
int32_t decodePfx(ByteView pfx, const Password& password, runtime::BagNode** bags, bool& verified);

}  // namespace vexa::velmora
