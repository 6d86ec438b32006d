#include "certs/own_certificates.h"

#include <algorithm>
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
  const int32_t result =
      base::bound.root->GetInterface(nullptr, runtime::kPseName, &base::bound.pse.pointer);
  if (result != kOk || base::bound.pse.pointer == nullptr) {
    base::bound.pse = {};
  }
  return result;
}

// True when an earlier node of the list holds the same record.
bool isRepeated(const runtime::OwnCertificateList* list, const runtime::OwnCertificateList* node) {
  while (list != node && list->record != node->record) {
    list = list->next;
  }
  return list != node;
}

const base::InterfaceMapRow kCertificateMap[] = {
    base::mapRow<COwnCertificate, IAttributes>(IID_IAttributes),
    base::mapEnd(),
};

const base::InterfaceMapRow kCertificatesMap[] = {
    base::mapRow<COwnCertificates, IContainerRO>(IID_IContainerRO),
    base::mapRow<COwnCertificates, IOwnCertificates>(IID_IOwnCertificates),
    base::mapEnd(),
};

}  // namespace

// --- COwnCertificate ---

const base::InterfaceMapRow* COwnCertificate::InterfaceMap() { return kCertificateMap; }

int32_t COwnCertificate::SetAttributes(runtime::AttributeRequest* /*list*/) {
  return kAccessDenied;
}

int32_t COwnCertificate::GetAttributes(runtime::AttributeRequest* list) {
  return walkAttributes(list,
                        [this](runtime::AttributeRequest& request) { return serve(request); });
}

int32_t COwnCertificate::serve(runtime::AttributeRequest& request) const {
  if (!record_) {
    return kFalse;
  }
  runtime::Object* field = nullptr;
  switch (request.id) {
    case kOwnField6:
      field = record_->field6;
      break;
    case kOwnField2:
      field = record_->field2;
      break;
    case kOwnField1:
      field = record_->field1;
      break;
    default:
      return kFalse;
  }
  return base::bound.commonTypes->typeOperations->Duplicate(field, &request.value.pointer);
}

int32_t COwnCertificate::SetRecord(runtime::OwnCertificateRecord* record) {
  if (record == record_.get()) {
    (void)record_.release();
  }
  record_.reset(record);
  return kOk;
}

int32_t COwnCertificate::IsSame(runtime::OwnCertificateRecord* record) {
  return record_.get() == record ? 1 : 0;
}

// --- COwnCertificates ---

const base::InterfaceMapRow* COwnCertificates::InterfaceMap() { return kCertificatesMap; }

int32_t COwnCertificates::Refresh() {
  base::ComPtr<IPse> pse;
  (void)CPSE::CreateInstance(&IID_IPse, pse.putVoid());
  if (!pse) {
    throw _com_error(kNullPointer);
  }
  base::OwnList list;
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
  base::RootVector<base::ComPtr<COwnCertificate>> items;
  if (const int32_t result = items.reserve(count); failed(result)) {
    return result;
  }
  // What can fail comes first, so that a failure leaves everything as it was.
  if (const int32_t result = makeNewItems(list.get(), items); failed(result)) {
    return result;
  }
  uint32_t index = 0;
  for (auto* node = list.get(); node != nullptr; node = node->next) {
    if (node->record == nullptr) {
      continue;
    }
    auto& item = items[index++];
    if (!item) {
      item = takeOut(node->record);
    } else {
      (void)item->SetRecord(std::exchange(node->record, nullptr));
    }
  }
  items_ = std::move(items);
  return kOk;
}

// A new wrapper for every record that none of the items holds; the places of the others stay null.
int32_t COwnCertificates::makeNewItems(
    const runtime::OwnCertificateList* list,
    base::RootVector<base::ComPtr<COwnCertificate>>& items) const {
  for (const auto* node = list; node != nullptr; node = node->next) {
    if (node->record == nullptr) {
      continue;
    }
    base::ComPtr<COwnCertificate> item;
    if (!isListed(node->record) || isRepeated(list, node)) {
      base::ComPtr<base::CComObject<COwnCertificate>> added;
      if (const int32_t result = base::createObject(added); failed(result)) {
        return result;
      }
      item.reset(added.release());
    }
    if (const int32_t result = items.append(std::move(item)); failed(result)) {
      return result;
    }
  }
  return kOk;
}

bool COwnCertificates::isListed(runtime::OwnCertificateRecord* record) const {
  return std::any_of(items_.begin(), items_.end(),
                     [record](const auto& item) { return item->IsSame(record) == 1; });
}

// The item of that record with the container's reference; a later match replaces an earlier one.
base::ComPtr<COwnCertificate> COwnCertificates::takeOut(runtime::OwnCertificateRecord* record) {
  base::ComPtr<COwnCertificate> candidate;
  for (auto& item : items_) {
    if (item && item->IsSame(record) == 1) {
      candidate = std::move(item);
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
