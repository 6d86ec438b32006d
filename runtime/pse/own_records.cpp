#include "runtime/pse/own_records.h"

#include <map>
#include <mutex>
#include <set>
#include <vector>

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
  OwnRecord* next = nullptr;   // live records
  OwnRecord** link = nullptr;  // what points here
};

Lock recordsLock;
constinit OwnRecord* liveRecords = nullptr;

OwnRecord* implementationOf(runtime::OwnCertificateRecord* record) {
  return static_cast<OwnRecord*>(record);
}

void linkLocked(OwnRecord* record) {
  record->next = liveRecords;
  record->link = &liveRecords;
  if (record->next != nullptr) {
    record->next->link = &record->next;
  }
  liveRecords = record;
}

void unlinkLocked(OwnRecord* record) {
  *record->link = record->next;
  if (record->next != nullptr) {
    record->next->link = record->link;
  }
}

ByteView encodingOf(runtime::Certificate* certificate) {
  return viewOf(*certificate->table->GetEncoding(certificate));
}

// What is to be listed.
struct Listed {
  runtime::Certificate* certificate;
  runtime::Certificate* issuer;  // null: unknown
};

// Null when memory is short.
OwnRecord* makeRecordLocked(const Listed& listed) {
  auto* const record = makeOnHeap<OwnRecord>();
  if (record == nullptr) {
    return nullptr;
  }
  runtime::Name* const subject = listed.certificate->table->GetSubject(listed.certificate);
  record->field1 = asObject(Ref<runtime::Certificate>::share(listed.certificate).release());
  record->field2 = asObject(Ref<runtime::Certificate>::share(listed.issuer).release());
  record->field6 = asObject(Ref<runtime::Name>::share(subject).release());
  linkLocked(record);
  return record;
}

// For each certificate, of which there are no two alike, its live record with one reference more,
// or a new one; null where memory was short.
std::vector<OwnRecord*> recordsFor(const std::vector<Listed>& all) {
  std::vector<OwnRecord*> records;
  records.reserve(all.size());  // here, because nothing may throw once a record is held
  const std::lock_guard lock(recordsLock);
  std::map<ByteView, OwnRecord*, decltype(&beforeBytes)> live(&beforeBytes);
  for (OwnRecord* record = liveRecords; record != nullptr; record = record->next) {
    live.emplace(encodingOf(record->certificate()), record);
  }
  for (const Listed& listed : all) {
    const auto known = live.find(encodingOf(listed.certificate));
    if (known != live.end()) {
      ++known->second->references;
    }
    records.push_back(known != live.end() ? known->second : makeRecordLocked(listed));
  }
  return records;
}

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
  std::set<ByteView, decltype(&beforeBytes)> seen(&beforeBytes);
  std::vector<Listed> listed;
  for (const runtime::BagNode* node = bags; node != nullptr; node = node->next) {
    if (node->bag->type != runtime::kCertificateBag || !keys.hasKeyOf(*node->bag)) {
      continue;
    }
    runtime::Certificate* const certificate = node->bag->certificate;
    if (seen.insert(encodingOf(certificate)).second) {
      listed.push_back({certificate, certificates.issuerOf(certificate)});
    }
  }
  Chain<OwnNodes> list;
  bool isWhole = true;
  for (OwnRecord* const record : recordsFor(listed)) {
    isWhole = append(list, record) && isWhole;
  }
  if (!isWhole) {
    return kOutOfMemory;
  }
  *out = list.release();
  return kOk;
}

}  // namespace vexa::velmora
