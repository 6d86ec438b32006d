#include "base/asc_list.h"

#include "base/class_registry.h"
#include "base/com_object.h"
#include "vexa/pse.h"

namespace vexa::base {
namespace {

// The singleton by its class name, with a reference for the duration of one call.
int32_t getPseObject(ComPtr<IPse>& pse) {
  return CreateInstance(kPseClassName, &IID_IPse, pse.putVoid());
}

runtime::SecurityContext* GetContext() {
  ComPtr<IPse> pse;
  return succeeded(getPseObject(pse)) ? pse->GetContext() : nullptr;
}

runtime::Pse* GetPse() {
  ComPtr<IPse> pse;
  return succeeded(getPseObject(pse)) ? pse->GetPSE() : nullptr;
}

int32_t PseReserved10(void* a, void* b, void* c) {
  ComPtr<IPse> pse;
  const int32_t result = getPseObject(pse);
  return succeeded(result) ? pse->Reserved10(a, b, c) : result;
}

int32_t PseReserved12(void* a, void* b, void* c) {
  ComPtr<IPse> pse;
  const int32_t result = getPseObject(pse);
  return succeeded(result) ? pse->Reserved12(a, b, c) : result;
}

}  // namespace

constinit const AscList kAscList = {
    .GetModuleInfo = GetModuleInfo<kAscListName>,
    .GetContext = GetContext,
    .GetPse = GetPse,
    .PseReserved10 = PseReserved10,
    .PseReserved12 = PseReserved12,
};

}  // namespace vexa::base
