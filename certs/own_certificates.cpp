#include "certs/own_certificates.h"

#include <algorithm>
#include <functional>
#include <span>
#include <utility>

#include "base/lock.h"
#include "certs/attributes.h"
#include "certs/pse.h"
#include "pal/windows_api.h"

namespace vexa::certs {
namespace {

base::StaticCriticalSection bindLock;
constinit bool isBinding = false;  // under that lock, which lets its own thread in again

int32_t bindPseTable() {
  base::ScopedLock lock(bindLock);
  if (base::bound.pse) {
    return kOk;
  }
  if (isBinding) {
    return kFail;  // the runtime, asked for the table, asks for what needs it
  }
  isBinding = true;
  const uint32_t era = base::bound.era;
  const int32_t result =
      base::bound.root->GetInterface(nullptr, runtime::kPseName, &base::bound.pse.pointer);
  isBinding = false;
  const bool isGone = era != base::bound.era;  // the root list, and with it what it handed out
  if (result != kOk || base::bound.pse.pointer == nullptr || isGone) {
    base::bound.pse = {};
  }
  return isGone ? kFail : result;
}

using Items = base::RootVector<base::ComPtr<COwnCertificate>>;

// The items of a container by the records that they hold.
class KnownItems {
 public:
  struct Known {
    const runtime::OwnCertificateRecord* record;
    uint64_t item;
    bool isClaimed;
  };

  int32_t fill(const Items& items) {
    if (const int32_t result = known_.reserve(items.size()); failed(result)) {
      return result;
    }
    for (uint64_t i = 0; i < items.size(); ++i) {
      (void)known_.append({items[i]->record(), i, false});  // there is room
    }
    std::sort(known_.begin(), known_.end(), [](const Known& a, const Known& b) {
      return a.record != b.record ? isBefore(a, b) : a.item < b.item;
    });
    return kOk;
  }
  // Those of one record, in the order of the container.
  std::span<Known> of(const runtime::OwnCertificateRecord* record) const {
    const auto [first, last] =
        std::equal_range(known_.begin(), known_.end(), Known{record, 0, false}, isBefore);
    return {first, last};
  }

 private:
  static bool isBefore(const Known& a, const Known& b) { return std::less<>()(a.record, b.record); }

  base::RootVector<Known> known_;
};

// A new wrapper for every record that none of the known items holds, or an earlier node has
// claimed; the places of the others stay null.
int32_t makeNewItems(const runtime::OwnCertificateList* list, const KnownItems& known,
                     Items& items) {
  for (const auto* node = list; node != nullptr; node = node->next) {
    if (node->record == nullptr) {
      continue;
    }
    base::ComPtr<COwnCertificate> item;
    const std::span<KnownItems::Known> holders = known.of(node->record);
    if (holders.empty() || std::exchange(holders.front().isClaimed, true)) {
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

// One of these items with the container's reference; a later one replaces an earlier one.
base::ComPtr<COwnCertificate> takeOut(std::span<const KnownItems::Known> holders, Items& items) {
  base::ComPtr<COwnCertificate> candidate;
  for (const KnownItems::Known& holder : holders) {
    candidate = std::move(items[holder.item]);
  }
  return candidate;
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
  // What can fail comes first, so that a failure leaves everything as it was.
  KnownItems known;
  Items items;
  if (const int32_t result = known.fill(items_); failed(result)) {
    return result;
  }
  if (const int32_t result = items.reserve(count); failed(result)) {
    return result;
  }
  if (const int32_t result = makeNewItems(list.get(), known, items); failed(result)) {
    return result;
  }
  uint32_t index = 0;
  for (auto* node = list.get(); node != nullptr; node = node->next) {
    if (node->record == nullptr) {
      continue;
    }
    auto& item = items[index++];
    if (!item) {
      item = takeOut(known.of(node->record), items_);
    } else {
      (void)item->SetRecord(std::exchange(node->record, nullptr));
    }
  }
  items_ = std::move(items);
  return kOk;
}

int32_t CreateOwnCertificates(const Guid* id, void** out) {
  *out = nullptr;
  const int32_t result = bindPseTable();
  return result == kOk ? COwnCertificates::CreateInstance(id, out) : result;
}

}  // namespace vexa::certs
