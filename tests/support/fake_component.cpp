#include "support/fake_component.h"

namespace vexa::test {
namespace {

int32_t getModuleInfo(const char** listName, const char** hostName, const char** extra) {
  for (const char** const out : {listName, hostName, extra}) {
    if (out != nullptr) {
      *out = "";
    }
  }
  return kOk;
}

int32_t createInstance(const char* className, const Guid* interfaceId, void** object) {
  FakeComponent& component = FakeComponent::instance();
  component.creations.push_back({className, *interfaceId});
  *object = component.createResult < 0 ? nullptr : component.object;
  return component.createResult;
}

int32_t setCreateHook(CreateHookFunction hook) {
  FakeComponent::instance().hook = hook;
  ++FakeComponent::instance().hooksSet;
  return kFail;
}

}  // namespace

FakeComponent& FakeComponent::instance() {
  static FakeComponent component;
  return component;
}

void FakeComponent::reset() {
  *this = {};
  list = {getModuleInfo, createInstance, setCreateHook};
}

}  // namespace vexa::test
