#include "base/binding.h"

namespace vexa::base {

CUnloadAPI::CUnloadAPI(const void** target) : target_(target) {
  if (failed(RegisterSingleton(this, kReleaseLast))) {
    unloadRegistry().SetIncomplete();
  }
}

int32_t CUnloadAPI::Unload(uint32_t /*pass*/) {
  if (*target_ != nullptr) {
    if (bound.root != nullptr) {
      bound.root->ReleaseInterface(target_);
    }
    *target_ = nullptr;
  }
  return kOk;
}

int32_t CLoadAPI::Load() {
  if (*target_ != nullptr) {
    return kOk;
  }
  if (bound.root == nullptr) {
    return kFail;
  }
  if (bound.root->GetInterface(component_, interfaceName_, target_) != kOk) {
    *target_ = nullptr;
    return kFail;
  }
  return kOk;
}

int32_t CLoadAPI_SEC_PKCS12::Load() {
  const int32_t result = CLoadAPI::Load();
  if (failed(result)) {
    return result;
  }
  return bound.pkcs12->GetTypes(
      reinterpret_cast<const runtime::Pkcs12TypesTable**>(&bound.pkcs12Types.pointer));
}

int32_t CLoadAPI_SEC_PKCS12::Unload(uint32_t pass) {
  bound.pkcs12Types.pointer = nullptr;
  return CUnloadAPI::Unload(pass);
}

}  // namespace vexa::base
