#include "runtime/pse/own_records.h"

#include <mutex>

#include "runtime/certificates/certificate.h"

namespace vexa::velmora {
namespace {

// A record with its private part. Counts and the list of live records share one lock, so that a
// record cannot be found while its last reference goes.
struct OwnRecord : runtime::OwnCertificateRecord {
  OwnRecord() : OwnCertificateRecord{} {}

  runtime::Certificate* certificate() const {
    return static_cast<runtime::Certificate*>(static_cast<void*>(field1));
  }

  uint64_t references = 1;
  OwnRecord* next = nullptr;  // live records
};

std::mutex recordsLock;
constinit OwnRecord* liveRecords = nullptr;

OwnRecord* implementationOf(runtime::OwnCertificateRecord* record) {
  return static_cast<OwnRecord*>(record);
}

void unlinkLocked(OwnRecord* record) {
  OwnRecord** link = &liveRecords;
  while (*link != record) {
    link = &(*link)->next;
  }
  *link = record->next;
}

OwnRecord* findLocked(runtime::Certificate* certificate) {
  OwnRecord* record = liveRecords;
  while (record != nullptr && !equalCertificates(record->certificate(), certificate)) {
    record = record->next;
  }
  return record;
}

// The live record of the certificate with one reference more, or a new one.
OwnRecord* recordFor(runtime::Certificate* certificate, runtime::Certificate* issuer) {
  const std::lock_guard<std::mutex> lock(recordsLock);
  if (OwnRecord* const known = findLocked(certificate)) {
    ++known->references;
    return known;
  }
  auto* const record = makeOnHeap<OwnRecord>();
  if (record == nullptr) {
    return nullptr;
  }
  runtime::Name* const subject = certificate->table->GetSubject(certificate);
  record->field1 = asObject(Ref<runtime::Certificate>::share(certificate).release());
  record->field2 = asObject(Ref<runtime::Certificate>::share(issuer).release());
  record->field6 = asObject(Ref<runtime::Name>::share(subject).release());
  record->next = liveRecords;
  liveRecords = record;
  return record;
}

bool equalLocalIds(const runtime::SafeBag& a, const runtime::SafeBag& b) {
  return a.localKeyId != nullptr && b.localKeyId != nullptr &&
         equalBytes(viewOf(*a.localKeyId), viewOf(*b.localKeyId));
}

// Whether the RSA numbers of the key are those of the certificate.
bool equalRsaNumbers(const runtime::PrivateKeyInfo& key, runtime::Certificate* certificate) {
  const runtime::PublicKey* const publicKey = certificate->table->GetPublicKey(certificate);
  const auto theirs = publicKey ? readRsaPublicKey(bytesOf(*publicKey)) : std::nullopt;
  const auto ours = readRsaPrivateKey(viewOf(key.key));
  const auto modulus = ours ? derUnsigned(ours->integers[1]) : std::nullopt;
  const auto exponent = ours ? derUnsigned(ours->integers[2]) : std::nullopt;
  return theirs && modulus && exponent && equalBytes(theirs->modulus, *modulus) &&
         equalBytes(theirs->exponent, *exponent);
}

bool hasKey(const runtime::SafeBag& certificate, const runtime::BagNode* bags) {
  for (; bags != nullptr; bags = bags->next) {
    if (bags->bag->type != runtime::kKeyBag) {
      continue;
    }
    if (equalLocalIds(certificate, *bags->bag) ||
        equalRsaNumbers(*bags->bag->key, certificate.certificate)) {
      return true;
    }
  }
  return false;
}

// Null for a certificate that is its own issuer, or when none of the bags fits.
runtime::Certificate* findIssuer(runtime::Certificate* certificate, const runtime::BagNode* bags) {
  if (certificate->table->IsSelfSigned(certificate) != 0) {
    return nullptr;
  }
  for (; bags != nullptr; bags = bags->next) {
    if (bags->bag->type == runtime::kCertificateBag &&
        !equalCertificates(certificate, bags->bag->certificate) &&
        isIssuedBy(certificate, bags->bag->certificate)) {
      return bags->bag->certificate;
    }
  }
  return nullptr;
}

bool contains(const OwnList* head, runtime::Certificate* certificate) {
  for (; head != nullptr; head = head->next) {
    if (equalCertificates(implementationOf(head->record)->certificate(), certificate)) {
      return true;
    }
  }
  return false;
}

// A node at the end that takes over the reference; null when the record or the node is missing.
OwnList** appendNode(OwnList** end, runtime::OwnCertificateRecord* owned) {
  if (owned == nullptr) {
    return nullptr;
  }
  auto* const node = static_cast<OwnList*>(allocateBlock(sizeof(OwnList)));
  if (node == nullptr) {
    dropOwnRecord(owned);
    return nullptr;
  }
  node->record = owned;
  *end = node;
  return &node->next;
}

}  // namespace

void shareOwnRecord(runtime::OwnCertificateRecord* record) {
  const std::lock_guard<std::mutex> lock(recordsLock);
  ++implementationOf(record)->references;
}

void dropOwnRecord(runtime::OwnCertificateRecord* record) {
  if (record == nullptr) {
    return;
  }
  OwnRecord* const own = implementationOf(record);
  {
    const std::lock_guard<std::mutex> lock(recordsLock);
    if (--own->references != 0) {
      return;
    }
    unlinkLocked(own);
  }
  for (runtime::Object* field : {own->field1, own->field2, own->field6}) {
    Ref<runtime::Object> reference(field);
  }
  destroyOnHeap(own);
}

void releaseOwnNodes(OwnList* head) {
  while (head != nullptr) {
    OwnList* const next = head->next;
    dropOwnRecord(head->record);
    freeBlock(head);
    head = next;
  }
}

int32_t copyOwnNodes(const OwnList* head, OwnList** out) {
  *out = nullptr;
  OwnList** end = out;
  for (; head != nullptr; head = head->next) {
    shareOwnRecord(head->record);
    end = appendNode(end, head->record);
    if (end == nullptr) {
      releaseOwnNodes(std::exchange(*out, nullptr));
      return kOutOfMemory;
    }
  }
  return kOk;
}

int32_t ownRecordsOf(const runtime::BagNode* bags, OwnList** out) {
  *out = nullptr;
  OwnList** end = out;
  for (const runtime::BagNode* node = bags; node != nullptr; node = node->next) {
    if (node->bag->type != runtime::kCertificateBag || !hasKey(*node->bag, bags)) {
      continue;
    }
    runtime::Certificate* const certificate = node->bag->certificate;
    if (contains(*out, certificate)) {
      continue;
    }
    end = appendNode(end, recordFor(certificate, findIssuer(certificate, bags)));
    if (end == nullptr) {
      releaseOwnNodes(std::exchange(*out, nullptr));
      return kOutOfMemory;
    }
  }
  return kOk;
}

}  // namespace vexa::velmora
