#pragma once

#include "runtime/der/object_id.h"

// Extensions of RFC 5280, 4.2.1.
namespace vexa::velmora {

inline constexpr KnownId kSubjectKeyIdentifierId = "2.5.29.14";
inline constexpr KnownId kKeyUsageId = "2.5.29.15";
inline constexpr KnownId kAlternativeNameId = "2.5.29.17";
inline constexpr KnownId kBasicConstraintsId = "2.5.29.19";
inline constexpr KnownId kAuthorityKeyIdentifierId = "2.5.29.35";
inline constexpr KnownId kExtendedKeyUsageId = "2.5.29.37";

}  // namespace vexa::velmora
