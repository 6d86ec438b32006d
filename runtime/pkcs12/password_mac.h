#pragma once

#include <string_view>

#include "runtime/der/object_id.h"
#include "runtime/pkcs12/password_derivation.h"

// Authentication of PKCS#12 files by a password (RFC 7292, 4 and appendix B.4).
namespace vexa::velmora {

struct MacDigest {
  const char* name;  // in a parameter record
  KnownId objectId;
  int digest;
};
// Null when not known.
const MacDigest* findMacDigest(std::string_view name);
// `algorithm` is the content of the AlgorithmIdentifier.
const MacDigest* findMacDigestByAlgorithm(ByteView algorithm);

// HMAC. Appends the code to `out`. Results are those of the derivation.
int32_t passwordMac(const MacDigest& digest, const DerivationInput& input, ByteView data,
                    DerivationBudget& budget, Bytes& out);

}  // namespace vexa::velmora
