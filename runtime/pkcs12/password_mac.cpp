#include "runtime/pkcs12/password_mac.h"

#include "runtime/keys/key.h"

namespace vexa::velmora {
namespace {

constexpr MacDigest kMacDigests[] = {
    {"SHA-1", "1.3.14.3.2.26", GCRY_MD_SHA1},
    {"SHA-224", "2.16.840.1.101.3.4.2.4", GCRY_MD_SHA224},
    {"SHA-256", "2.16.840.1.101.3.4.2.1", GCRY_MD_SHA256},
    {"SHA-384", "2.16.840.1.101.3.4.2.2", GCRY_MD_SHA384},
    {"SHA-512", "2.16.840.1.101.3.4.2.3", GCRY_MD_SHA512},
};

}  // namespace

const MacDigest* findMacDigest(std::string_view name) {
  for (const MacDigest& digest : kMacDigests) {
    if (name == digest.name) {
      return &digest;
    }
  }
  return nullptr;
}

const MacDigest* findMacDigestByAlgorithm(ByteView algorithm) {
  const auto identifier = readAlgorithm(algorithm);
  return identifier ? findByObjectId(kMacDigests, identifier->objectId) : nullptr;
}

int32_t passwordMac(const MacDigest& digest, const DerivationInput& input, ByteView data,
                    DerivationBudget& budget, Bytes& out) {
  if (!libraryReady()) {
    return kFail;
  }
  uint8_t key[64];
  uint8_t code[64];
  const size_t length = gcry_md_get_algo_dlen(digest.digest);
  int32_t result =
      derivePkcs12(digest.digest, KeyPurpose::kMac, input, budget, std::span(key).first(length));
  if (!failed(result) && !hmac(digest.digest, {key, length}, data, code)) {
    result = kFail;
  }
  wipe(key, sizeof(key));
  if (failed(result)) {
    return result;
  }
  out.append({code, length});
  return out.failed() ? kOutOfMemory : kOk;
}

}  // namespace vexa::velmora
