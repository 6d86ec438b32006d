#pragma once

#include "base/holders.h"
#include "base/root_vector.h"

// The runtime's singly linked list of certificates, in the making.
namespace vexa::base {

// Owns a list.
using CertificateList = Holder<CertificateListPolicy<BoundRuntime>>;

// Adds a reference to the certificate at the end of the list. kOk also when the certificate is null
// or listed already, for which it is compared with each that is. kOutOfMemory: the list stays as it
// is.
[[nodiscard]] int32_t appendCertificate(runtime::CertificateList** head,
                                        runtime::Certificate* certificate);

// Makes a list in which each certificate stands once, out of candidates that are all known before:
// sorted by their encodings, which it asks for, equal ones are found without comparing each with
// each.
class CertificateCollector {
 public:
  // The candidates, numbered from 0, none of them null. They outlive the collector.
  [[nodiscard]] int32_t addCandidate(runtime::Certificate* certificate);
  uint64_t size() const { return candidates_.size(); }
  // When all are added, and before the first is listed.
  [[nodiscard]] int32_t arrange();

  // Adds a reference to the candidate at the end of the list, unless an equal one is listed
  // already.
  [[nodiscard]] int32_t list(uint64_t number);

  runtime::CertificateList* get() const { return list_.get(); }
  runtime::CertificateList* release() { return list_.release(); }

 private:
  struct Candidate {
    runtime::Certificate* certificate;
    const runtime::ByteBuffer* encoding;  // null: it has none
    uint64_t first;                       // the first of those that are equal
    bool isListed;                        // of a first one: it or one that equals it
  };
  static int compareEncodings(const Candidate& a, const Candidate& b);
  void findEqual(const uint64_t* begin, const uint64_t* end);

  RootVector<Candidate, GrowByDoubling<>> candidates_;
  CertificateList list_;
  runtime::CertificateList* last_ = nullptr;
};

}  // namespace vexa::base
