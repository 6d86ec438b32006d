#include "certs/certificates.h"

namespace vexa::certs {
namespace {

const base::InterfaceMapRow kMap[] = {
    base::mapRow<CCertificates, IContainerRO>(IID_IContainerRO),
    base::mapRow<CCertificates, ICertificates>(IID_ICertificates),
    base::mapEnd(),
};

}  // namespace

const base::InterfaceMapRow* CCertificates::InterfaceMap() { return kMap; }

int32_t CCertificates::FindOrAdd(runtime::Certificate* certificate, ICertificate** wrapper) {
  if (wrapper == nullptr) {
    return kNullPointer;
  }
  *wrapper = nullptr;
  if (certificate == nullptr) {
    return kInvalidArgument;
  }
  for (const auto& item : items_) {
    if (item->IsEqual(certificate) == 1) {
      item->AddRef();
      *wrapper = item.get();
      return kOk;
    }
  }
  base::ComPtr<base::CComObject<CCertificate>> added;
  if (const int32_t result = base::createObject(added); failed(result)) {
    return result;
  }
  added->wrap(certificate);
  if (const int32_t result = append(added.get()); failed(result)) {
    return result;
  }
  *wrapper = added.release();
  return kOk;
}

}  // namespace vexa::certs
