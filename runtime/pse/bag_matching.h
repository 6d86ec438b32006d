#pragma once

#include <vector>

#include "runtime/bytes.h"
#include "vexa/runtime/pkcs12.h"

// Which keys and certificates of a PKCS#12 file belong together. Each index is made once and asked
// in logarithmic time: a file may hold thousands of both. May throw std::bad_alloc.
namespace vexa::velmora {

// The keys among the bags.
class KeyIndex {
 public:
  explicit KeyIndex(const runtime::BagNode* bags);

  // Whether there is a key with the local key id of the certificate bag, or with the RSA numbers of
  // its certificate.
  bool hasKeyOf(const runtime::SafeBag& certificate) const;

 private:
  struct Numbers {
    ByteView modulus;
    ByteView exponent;
  };
  static bool before(const Numbers& a, const Numbers& b);

  std::vector<ByteView> localIds_;  // both sorted
  std::vector<Numbers> numbers_;
};

// The certificates among the bags.
class CertificateIndex {
 public:
  explicit CertificateIndex(const runtime::BagNode* bags);

  // Null for a certificate that is its own issuer, or when none fits. Of certificates with the
  // issuer's name at most kMaxCandidates are tried, each of which costs a signature check.
  runtime::Certificate* issuerOf(runtime::Certificate* certificate) const;

 private:
  static constexpr int kMaxCandidates = 4;
  struct Entry {
    ByteView subject;
    runtime::Certificate* certificate;
  };

  std::vector<Entry> entries_;  // sorted by subject, equal ones in the order of the bags
};

}  // namespace vexa::velmora
