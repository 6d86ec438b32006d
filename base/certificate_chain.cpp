#include "base/certificate_chain.h"

#include <algorithm>

#include "base/buffer.h"
#include "vexa/results.h"

namespace vexa::base {
namespace {

bool areEqual(runtime::Certificate* a, runtime::Certificate* b) {
  return bound.commonTypes->CertificateCompare(a, b) == 0;
}

// Null when memory is short.
runtime::CertificateList* makeRecord(runtime::Certificate* certificate) {
  auto* const record =
      static_cast<runtime::CertificateList*>(allocate(sizeof(runtime::CertificateList)));
  if (record != nullptr) {
    *record = {RuntimeRef<runtime::Certificate>::share(certificate).release(), nullptr, 1};
  }
  return record;
}

}  // namespace

int32_t appendCertificate(runtime::CertificateList** head, runtime::Certificate* certificate) {
  if (certificate == nullptr) {
    return kOk;
  }
  runtime::CertificateList** link = head;
  for (; *link != nullptr; link = &(*link)->next) {
    if (areEqual((*link)->certificate, certificate)) {
      return kOk;
    }
  }
  *link = makeRecord(certificate);
  return *link == nullptr ? kOutOfMemory : kOk;
}

int32_t CertificateCollector::addCandidate(runtime::Certificate* certificate) {
  const uint64_t number = candidates_.size();
  return candidates_.append(
      {certificate, certificate->table->GetEncoding(certificate), number, false});
}

int32_t CertificateCollector::arrange() {
  RootVector<uint64_t> order;
  if (const int32_t result = order.reserve(size()); failed(result)) {
    return result;
  }
  for (uint64_t number = 0; number < size(); ++number) {
    (void)order.append(number);  // there is room
  }
  std::sort(order.begin(), order.end(), [this](uint64_t a, uint64_t b) {
    const int difference = compareEncodings(candidates_[a], candidates_[b]);
    return difference != 0 ? difference < 0 : a < b;
  });
  for (const uint64_t* begin = order.begin(); begin != order.end();) {
    const uint64_t* const end = std::find_if(
        begin, static_cast<const uint64_t*>(order.end()), [this, begin](uint64_t number) {
          return compareEncodings(candidates_[number], candidates_[*begin]) != 0;
        });
    findEqual(begin, end);
    begin = end;
  }
  return kOk;
}

// None comes first.
int CertificateCollector::compareEncodings(const Candidate& a, const Candidate& b) {
  if (a.encoding == nullptr || b.encoding == nullptr) {
    return (a.encoding != nullptr ? 1 : 0) - (b.encoding != nullptr ? 1 : 0);
  }
  return compareBytes(*a.encoding, *b.encoding);
}

// Of candidates with one encoding, or without any. What is equal the runtime says: those with one
// encoding are as a rule, and each is compared once.
void CertificateCollector::findEqual(const uint64_t* begin, const uint64_t* end) {
  for (const uint64_t* at = begin; at != end; ++at) {
    Candidate& candidate = candidates_[*at];
    const uint64_t* const equal = std::find_if(begin, at, [this, &candidate](uint64_t other) {
      return candidates_[other].first == other &&
             areEqual(candidates_[other].certificate, candidate.certificate);
    });
    candidate.first = *equal;
  }
}

int32_t CertificateCollector::list(uint64_t number) {
  Candidate& first = candidates_[candidates_[number].first];
  if (first.isListed) {
    return kOk;
  }
  runtime::CertificateList* const record = makeRecord(candidates_[number].certificate);
  if (record == nullptr) {
    return kOutOfMemory;
  }
  first.isListed = true;
  if (last_ == nullptr) {
    list_.reset(record);
  } else {
    last_->next = record;
  }
  last_ = record;
  return kOk;
}

}  // namespace vexa::base
