#pragma once

#include <string>
#include <utility>
#include <vector>

#include "fake_winhttp.h"
#include "support/exact_bytes.h"
#include "support/module_fixture.h"
#include "support/slot.h"
#include "vexa/network.h"

namespace vexa::test {

// What GetIEUserSettingProxy answered.
struct Decision {
  int32_t result;
  OptionalText proxy;  // missing: the out pointer was not touched
};

// The network list of a started module over fake Internet settings.
class ProxyTest : public ModuleTest {
 protected:
  void SetUp() override {
    FakeWinHttp::instance().reset({});
    ModuleTest::SetUp();
    list_ = list(kNetworkListName);
    ASSERT_NE(list_, nullptr);
  }

  FakeWinHttp& winHttp() { return FakeWinHttp::instance(); }
  const void* networkList() const { return list_; }

  Decision ask(const std::u16string& url) {
    runtime::WideStringObject untouched{};
    runtime::WideStringObject* proxy = &untouched;
    const ExactWideText exactUrl(url);
    const auto get = tableEntry<int32_t(const char16_t*, runtime::WideStringObject**)>(list_, 2);
    Decision decision{get(exactUrl, &proxy), {}};
    if (proxy != &untouched) {
      decision.proxy = spy.wideStrings.GetText(proxy);
      EXPECT_EQ(spy.wideStrings.GetLength(proxy), decision.proxy->size());
      spy.wideStrings.Destroy(proxy);
    }
    EXPECT_EQ(winHttp().liveTexts(), 0) << "texts of WinHTTP that were not freed";
    EXPECT_EQ(winHttp().openSessions(), 0);
    EXPECT_EQ(winHttp().errors(), 0);
    return decision;
  }

  Decision ask(const ProxyWorld& world, const std::u16string& url) {
    winHttp().reset(world);
    spy.clearTrace();
    return ask(url);
  }

 private:
  const void* list_ = nullptr;
};

}  // namespace vexa::test
