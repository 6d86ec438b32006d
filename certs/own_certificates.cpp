#include "certs/own_certificates.h"

#include <utility>

#include "base/lock.h"
#include "certs/attributes.h"
#include "certs/pse.h"
#include "pal/windows_api.h"

namespace vexa::certs {
namespace {

base::StaticCriticalSection bindLock;

int32_t bindPseTable() {
  base::ScopedLock lock(bindLock);
  if (base::bound.pse) {
    return kOk;
  }
  if (base::bound.root == nullptr) {
    return kFail;
  }
  return base::bound.root->GetInterface(nullptr, runtime::kPseName, &base::bound.pse.pointer);
}

// True when an earlier node of the list holds the same record.
bool isRepeated(const runtime::OwnCertificateList* list, const runtime::OwnCertificateList* node) {
  while (list != node && list->record != node->record) {
    list = list->next;
  }
  return list != node;
}

}  // namespace

// --- COwnCertificate ---

const base::InterfaceMapRow* COwnCertificate::InterfaceMap() {
  static const base::InterfaceMapRow map[] = {
      base::mapRow<COwnCertificate, IAttributes>(IID_IAttributes),
      base::mapEnd(),
  };
  return map;
}

// After the last module_final the table is gone, and the record with the runtime.
COwnCertificate::~COwnCertificate() { (void)COwnCertificate::SetRecord(nullptr); }

int32_t COwnCertificate::SetAttributes(runtime::AttributeRequest* /*list*/) {
  return kAccessDenied;
}

int32_t COwnCertificate::GetAttributes(runtime::AttributeRequest* list) {
  return walkAttributes(list,
                        [this](runtime::AttributeRequest& request) { return serve(request); });
}

int32_t COwnCertificate::serve(runtime::AttributeRequest& request) const {
  if (m_record == nullptr || !base::bound.commonTypes) {
    return kFalse;
  }
  runtime::Object* field = nullptr;
  switch (request.id) {
    case kOwnField6:
      field = m_record->field6;
      break;
    case kOwnField2:
      field = m_record->field2;
      break;
    case kOwnField1:
      field = m_record->field1;
      break;
    default:
      return kFalse;
  }
  return base::bound.commonTypes->typeOperations->Duplicate(field, &request.value.pointer);
}

int32_t COwnCertificate::SetRecord(runtime::OwnCertificateRecord* record) {
  runtime::OwnCertificateRecord* const old = std::exchange(m_record, record);
  if (old != nullptr && old != record && base::bound.pse) {
    base::bound.pse->OwnRecordRelease(old);
  }
  return kOk;
}

int32_t COwnCertificate::IsSame(runtime::OwnCertificateRecord* record) {
  return m_record == record ? 1 : 0;
}

// --- COwnCertificates ---

const base::InterfaceMapRow* COwnCertificates::InterfaceMap() {
  static const base::InterfaceMapRow map[] = {
      base::mapRow<COwnCertificates, IContainerRO>(IID_IContainerRO),
      base::mapRow<COwnCertificates, IOwnCertificates>(IID_IOwnCertificates),
      base::mapEnd(),
  };
  return map;
}

int32_t COwnCertificates::Refresh() {
  base::ComPtr<IPse> pse;
  (void)CPSE::CreateInstance(&IID_IPse, pse.putVoid());
  if (!pse) {
    throw _com_error(kNullPointer);
  }
  base::OwnListHolder list;
  if (runtime::Pse* const source = pse->GetPSE(); source != nullptr) {
    const int32_t result = source->table->ListOwnCertificates(source, nullptr, nullptr, list.put());
    if (result == kOutOfMemory) {
      return result;
    }
  }
  uint32_t count = 0;
  for (const auto* node = list.get(); node != nullptr; node = node->next) {
    count += node->record != nullptr ? 1 : 0;
  }
  auto items = base::RootBlock<COwnCertificate*>::ofBytes(count * sizeof(COwnCertificate*));
  if (!items) {
    return kOutOfMemory;
  }
  // What can fail comes first, so that a failure leaves everything as it was.
  if (const int32_t result = makeNewItems(list.get(), items.get()); failed(result)) {
    return result;
  }
  uint32_t index = 0;
  for (auto* node = list.get(); node != nullptr; node = node->next) {
    if (node->record == nullptr) {
      continue;
    }
    COwnCertificate*& item = items[index++];
    if (item == nullptr) {
      item = takeOut(node->record).release();
    } else {
      (void)item->SetRecord(std::exchange(node->record, nullptr));
    }
  }
  releaseItems();
  base::freeBlock(std::exchange(items_, items.release()));
  count_ = count;
  return kOk;
}

// A new wrapper for every record that none of the items holds; the places of the others stay null.
int32_t COwnCertificates::makeNewItems(runtime::OwnCertificateList* list,
                                       COwnCertificate** items) const {
  uint32_t index = 0;
  for (const auto* node = list; node != nullptr; node = node->next) {
    if (node->record == nullptr) {
      continue;
    }
    items[index] = nullptr;
    if (!isListed(node->record) || isRepeated(list, node)) {
      base::ComPtr<base::CComObject<COwnCertificate>> added;
      if (const int32_t result = base::createObject(added); failed(result)) {
        while (index-- > 0) {
          base::ComPtr<COwnCertificate>(items[index]).reset();
        }
        return result;
      }
      items[index] = added.release();
    }
    ++index;
  }
  return kOk;
}

bool COwnCertificates::isListed(runtime::OwnCertificateRecord* record) const {
  for (uint32_t i = 0; i < count_; ++i) {
    if (items_[i]->IsSame(record) == 1) {
      return true;
    }
  }
  return false;
}

// The item of that record with the container's reference; a later match replaces an earlier one.
base::ComPtr<COwnCertificate> COwnCertificates::takeOut(runtime::OwnCertificateRecord* record) {
  base::ComPtr<COwnCertificate> candidate;
  for (uint32_t i = 0; i < count_; ++i) {
    if (items_[i] != nullptr && items_[i]->IsSame(record) == 1) {
      candidate.reset(std::exchange(items_[i], nullptr));
    }
  }
  return candidate;
}

int32_t CreateOwnCertificates(const Guid* id, void** out) {
  *out = nullptr;
  const int32_t result = bindPseTable();
  return result == kOk ? COwnCertificates::CreateInstance(id, out) : result;
}

}  // namespace vexa::certs
