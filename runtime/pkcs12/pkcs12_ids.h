#pragma once

#include "runtime/der/object_id.h"

// The object identifiers of PKCS#12 files (RFC 7292, appendix D).
namespace vexa::velmora::pkcs12 {

inline constexpr KnownId kData = "1.2.840.113549.1.7.1";
inline constexpr KnownId kEncryptedData = "1.2.840.113549.1.7.6";

inline constexpr KnownId kKeyBagId = "1.2.840.113549.1.12.10.1.1";
inline constexpr KnownId kShroudedKeyBagId = "1.2.840.113549.1.12.10.1.2";
inline constexpr KnownId kCertificateBagId = "1.2.840.113549.1.12.10.1.3";
inline constexpr KnownId kSafeContentsBagId = "1.2.840.113549.1.12.10.1.6";
inline constexpr KnownId kX509Certificate = "1.2.840.113549.1.9.22.1";

inline constexpr KnownId kFriendlyName = "1.2.840.113549.1.9.20";
inline constexpr KnownId kLocalKeyId = "1.2.840.113549.1.9.21";

}  // namespace vexa::velmora::pkcs12
