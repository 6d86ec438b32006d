#include "base/binding.h"

namespace vexa::base {

CUnloadAPI::CUnloadAPI(const void** target, const void* unbound)
    : target_(target), unbound_(unbound) {
  if (failed(RegisterSingleton(this, kReleaseLast))) {
    unloadRegistry().SetIncomplete();
  }
}

int32_t CUnloadAPI::Unload(uint32_t /*pass*/) {
  if (isTableBound()) {
    bound.root->ReleaseInterface(target_);
    setUnbound();
  }
  return kOk;
}

int32_t CLoadAPI::Load() {
  if (isTableBound()) {
    return kOk;
  }
  *target_ = nullptr;
  const int32_t result = bound.root->GetInterface(component_, interfaceName_, target_);
  if (result != kOk || *target_ == nullptr) {
    setUnbound();
  }
  return result == kOk ? kOk : kFail;
}

int32_t CLoadAPI_SEC_PKCS12::Load() {
  const int32_t result = CLoadAPI::Load();
  if (failed(result)) {
    return result;
  }
  if (bound.pkcs12->GetTypes == nullptr) {
    return kFail;
  }
  auto& companion = bound.pkcs12Types;
  const void* const previous = companion.pointer;
  const int32_t answer = bound.pkcs12->GetTypes(
      reinterpret_cast<const runtime::Pkcs12TypesTable**>(&companion.pointer));
  if (failed(answer) || companion.pointer == nullptr) {
    companion.pointer = previous;
  }
  return answer;
}

int32_t CLoadAPI_SEC_PKCS12::Unload(uint32_t pass) {
  bound.pkcs12Types = {};
  return CUnloadAPI::Unload(pass);
}

}  // namespace vexa::base
