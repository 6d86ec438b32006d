#include "runtime/pse/bag_matching.h"

#include <algorithm>

#include "runtime/certificates/certificate.h"

namespace vexa::velmora {
namespace {

ByteView subjectOf(runtime::Certificate* certificate) {
  const runtime::Name* const name = certificate->table->GetSubject(certificate);
  return name == nullptr ? ByteView() : encodingOf(name);
}

}  // namespace

bool KeyIndex::before(const Numbers& a, const Numbers& b) {
  return equalBytes(a.modulus, b.modulus) ? beforeBytes(a.exponent, b.exponent)
                                          : beforeBytes(a.modulus, b.modulus);
}

KeyIndex::KeyIndex(const runtime::BagNode* bags) {
  for (; bags != nullptr; bags = bags->next) {
    const runtime::SafeBag& bag = *bags->bag;
    if (bag.type != runtime::kKeyBag) {
      continue;
    }
    if (bag.localKeyId != nullptr) {
      localIds_.push_back(viewOf(*bag.localKeyId));
    }
    const auto key = readRsaPrivateKey(viewOf(bag.key->key));
    const auto modulus = key ? derUnsigned(key->integers[1]) : std::nullopt;
    const auto exponent = key ? derUnsigned(key->integers[2]) : std::nullopt;
    if (modulus && exponent) {
      numbers_.push_back({*modulus, *exponent});
    }
  }
  std::sort(localIds_.begin(), localIds_.end(), beforeBytes);
  std::sort(numbers_.begin(), numbers_.end(), before);
}

bool KeyIndex::hasKeyOf(const runtime::SafeBag& certificate) const {
  if (certificate.localKeyId != nullptr &&
      std::binary_search(localIds_.begin(), localIds_.end(), viewOf(*certificate.localKeyId),
                         beforeBytes)) {
    return true;
  }
  runtime::Certificate* const object = certificate.certificate;
  const runtime::PublicKey* const publicKey = object->table->GetPublicKey(object);
  const auto numbers = publicKey != nullptr ? readRsaPublicKey(bytesOf(*publicKey)) : std::nullopt;
  return numbers && std::binary_search(numbers_.begin(), numbers_.end(),
                                       Numbers{numbers->modulus, numbers->exponent}, before);
}

CertificateIndex::CertificateIndex(const runtime::BagNode* bags) {
  for (; bags != nullptr; bags = bags->next) {
    if (bags->bag->type == runtime::kCertificateBag) {
      runtime::Certificate* const certificate = bags->bag->certificate;
      entries_.push_back({subjectOf(certificate), certificate});
    }
  }
  std::stable_sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) {
    return beforeBytes(a.subject, b.subject);
  });
}

runtime::Certificate* CertificateIndex::issuerOf(runtime::Certificate* certificate) const {
  const runtime::Name* const issuer = certificate->table->GetIssuer(certificate);
  if (issuer == nullptr || certificate->table->IsSelfSigned(certificate) != 0) {
    return nullptr;
  }
  const ByteView name = encodingOf(issuer);
  auto entry = std::lower_bound(
      entries_.begin(), entries_.end(), name,
      [](const Entry& each, ByteView sought) { return beforeBytes(each.subject, sought); });
  for (int tried = 0; entry != entries_.end() && tried < kMaxCandidates; ++entry) {
    if (!equalBytes(entry->subject, name)) {
      break;
    }
    if (equalCertificates(certificate, entry->certificate)) {
      continue;
    }
    if (isIssuedBy(certificate, entry->certificate)) {
      return entry->certificate;
    }
    ++tried;
  }
  return nullptr;
}

}  // namespace vexa::velmora
