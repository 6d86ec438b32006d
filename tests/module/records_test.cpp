#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/class_registry.h"
#include "support/module_fixture.h"
#include "vexa/all.h"
#include "vexa/holders.h"

namespace vexa::test {
namespace {

using testing::Contains;
using testing::Not;

class Records : public ModuleTest {
 protected:
  // The result of a creation that another component routes back.
  static int32_t route(const char* component, const char* className) {
    InterfaceHolder<IComponent> object;
    return base::RouteCreateInstance(component, className, &IID_IComponent, object.putVoid());
  }
};

TEST_F(Records, EveryClassIsOneOfVexabase) {
  forEachType(AllClasses(), [](auto type) {
    const char* const name = ClassTraits<typename decltype(type)::type>::kName;
    EXPECT_EQ(route("vexabase", name), kOk) << name;
  });
  EXPECT_THAT(spy.rootCallNames(), Not(Contains("ClassFactory.1"))) << "nobody else was asked";
}

TEST_F(Records, NoClassIsOneOfAnotherComponent) {
  forEachType(AllClasses(), [](auto type) {
    const char* const name = ClassTraits<typename decltype(type)::type>::kName;
    for (const char* component : {"vexa", "Vexabase", "vexabas", "vexastring", ""}) {
      EXPECT_EQ(route(component, name), kFail) << component << ' ' << name;
    }
  });
}

// It is bound when own certificates are first asked for, and was registered behind all the others.
TEST_F(Records, ThePseTableIsGivenBackBeforeTheTablesOfTheStart) {
  InterfaceHolder<IComponent> own(
      static_cast<IComponent*>(create(kOwnCertificatesClassName, IID_IComponent)));
  EXPECT_THAT(spy.rootCallNames(), testing::ElementsAre("SEC_PSE_1"));
  own.reset();
  spy.clearRootCalls();
  stop();
  const auto released = spy.rootCallNames();
  ASSERT_GE(released.size(), 2u);
  EXPECT_EQ(released[0], "-SEC_PSE_1");
  EXPECT_EQ(released[1], "-SEC_NOTIFY_1");
}

}  // namespace
}  // namespace vexa::test
