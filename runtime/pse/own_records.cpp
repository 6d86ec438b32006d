#include "runtime/pse/own_records.h"

#include <mutex>
#include <set>

#include "runtime/certificates/certificate.h"
#include "runtime/lock.h"
#include "runtime/pse/bag_matching.h"

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

Lock recordsLock;
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
  const std::lock_guard lock(recordsLock);
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

// By encoding.
struct CertificateBefore {
  bool operator()(ByteView a, ByteView b) const { return compareBytes(a, b) < 0; }
};

// Puts a record, whose reference it takes over, at the end; false when there is none, or no node.
bool append(Chain<OwnNodes>& list, runtime::OwnCertificateRecord* owned) {
  auto* const node = owned == nullptr ? nullptr : makeBlock<OwnList>().release();
  if (node == nullptr) {
    dropOwnRecord(owned);
    return false;
  }
  node->record = owned;
  list.append(node);
  return true;
}

}  // namespace

void shareOwnRecord(runtime::OwnCertificateRecord* record) {
  const std::lock_guard lock(recordsLock);
  ++implementationOf(record)->references;
}

void dropOwnRecord(runtime::OwnCertificateRecord* record) {
  if (record == nullptr) {
    return;
  }
  OwnRecord* const own = implementationOf(record);
  {
    const std::lock_guard lock(recordsLock);
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
  releaseChain(head, [](const OwnList& node) { dropOwnRecord(node.record); });
}

int32_t copyOwnNodes(const OwnList* head, OwnList** out) {
  *out = nullptr;
  Chain<OwnNodes> list;
  for (; head != nullptr; head = head->next) {
    shareOwnRecord(head->record);
    if (!append(list, head->record)) {
      return kOutOfMemory;
    }
  }
  *out = list.release();
  return kOk;
}

int32_t ownRecordsOf(const runtime::BagNode* bags, OwnList** out) {
  *out = nullptr;
  const KeyIndex keys(bags);
  const CertificateIndex certificates(bags);
  std::set<ByteView, CertificateBefore> listed;
  Chain<OwnNodes> list;
  for (const runtime::BagNode* node = bags; node != nullptr; node = node->next) {
    if (node->bag->type != runtime::kCertificateBag || !keys.hasKeyOf(*node->bag)) {
      continue;
    }
    runtime::Certificate* const certificate = node->bag->certificate;
    if (!listed.insert(viewOf(*certificate->table->GetEncoding(certificate))).second) {
      continue;
    }
    if (!append(list, recordFor(certificate, certificates.issuerOf(certificate)))) {
      return kOutOfMemory;
    }
  }
  *out = list.release();
  return kOk;
}

}  // namespace vexa::velmora
