#include "certs/asc_list.h"

#include "base/class_registry.h"
#include "base/com_object.h"
#include "base/list_registry.h"
#include "vexa/pse.h"

namespace vexa::certs {
namespace {

// The singleton by its class name, with a reference for the duration of one call.
int32_t getPseObject(base::ComPtr<IPse>& pse) {
  return base::CreateInstance(kPseClassName, &IID_IPse, pse.putVoid());
}

runtime::SecurityContext* GetContext() {
  base::ComPtr<IPse> pse;
  return succeeded(getPseObject(pse)) ? pse->GetContext() : nullptr;
}

runtime::Pse* GetPse() {
  base::ComPtr<IPse> pse;
  return succeeded(getPseObject(pse)) ? pse->GetPSE() : nullptr;
}

int32_t PseReserved10(void* a, void* b, void* c) {
  base::ComPtr<IPse> pse;
  const int32_t result = getPseObject(pse);
  return succeeded(result) ? pse->Reserved10(a, b, c) : result;
}

int32_t PseReserved12(void* a, void* b, void* c) {
  base::ComPtr<IPse> pse;
  const int32_t result = getPseObject(pse);
  return succeeded(result) ? pse->Reserved12(a, b, c) : result;
}

}  // namespace

constinit const AscList kAscList = {
    .GetModuleInfo = base::GetModuleInfo<kAscListName>,
    .GetContext = GetContext,
    .GetPse = GetPse,
    .PseReserved10 = PseReserved10,
    .PseReserved12 = PseReserved12,
};

}  // namespace vexa::certs
