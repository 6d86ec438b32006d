#include <gtest/gtest.h>

#include <string>

#include "base/class_registry.h"
#include "base/list_registry.h"
#include "support/module_fixture.h"
#include "vexa/component.h"
#include "vexa/core.h"

namespace vexa::test {
namespace {

const std::string kLongName(40, 'h');
const std::string kKept(32, 'h');

// The name is registered for the life of the process, so this is one story.
class HostName : public ModuleTest {
 protected:
  int32_t ask(const std::string& host) {
    const void* found = nullptr;
    return lookup(host.c_str(), kCoreListName, &found);
  }
};

TEST_F(HostName, TheFirstOfFortyCharactersRegistersThirtyTwo) {
  // A list that is kept before its component turns out to be the host.
  spy.addInterface(kKept.c_str(), kClassFactoryListName, &spy.component.list);
  void* out = nullptr;
  EXPECT_EQ(base::RouteCreateInstance(kKept.c_str(), "a.class", &IID_IComponent, &out), kOk);
  EXPECT_EQ(base::classFactories().count(), 1u);

  EXPECT_EQ(ask(""), kOk);
  EXPECT_STREQ(base::registeredHostName(), "");
  EXPECT_EQ(lookup(kLongName.c_str(), nullptr, nullptr), kNullListArgument)
      << "registered before the arguments are checked";
  EXPECT_EQ(base::registeredHostName(), kKept);

  EXPECT_EQ(ask(kKept + "different"), kOk) << "only 32 characters count";
  EXPECT_EQ(ask(kKept), kOk);
  EXPECT_EQ(ask(kKept.substr(1)), kUnknownList);
  EXPECT_EQ(ask("H" + kKept.substr(1)), kUnknownList) << "case-sensitive";
  EXPECT_EQ(lookup("other", nullptr, nullptr), kUnknownList) << "the host comes first";
  EXPECT_EQ(base::registeredHostName(), kKept) << "never replaced";
  EXPECT_EQ(ask(""), kOk);

  const char* host = nullptr;
  EXPECT_EQ(list<CoreList>(kCoreListName)->GetModuleInfo(nullptr, &host, nullptr), kOk);
  EXPECT_EQ(host, kKept);

  // It stays kept, and is not given back with a creation that names the host.
  spy.clearRootCalls();
  EXPECT_EQ(base::RouteCreateInstance(kKept.c_str(), "a.class", &IID_IComponent, &out), kOk);
  EXPECT_EQ(spy.component.creations.size(), 2u);
  EXPECT_TRUE(spy.rootCallNames().empty());
  EXPECT_EQ(base::classFactories().count(), 1u);
  EXPECT_EQ(base::classFactories().Unload(0), kOk);

  // Now a creation that names this module goes to the host's list, which is not kept; the module's
  // own classes are not tried before.
  static base::FactoryRecord local{kKept.c_str(), "a.class", [](const Guid*, void**) {
                                     ADD_FAILURE() << "a local try";
                                     return kOk;
                                   }};
  spy.clearRootCalls();
  EXPECT_EQ(base::RouteCreateInstance(kKept.c_str(), "a.class", &IID_IComponent, &out), kOk);
  EXPECT_EQ(spy.component.creations.size(), 3u);
  EXPECT_EQ(spy.component.hooksSet, 1) << "when it was kept";
  EXPECT_EQ(base::classFactories().count(), 0u);
  EXPECT_EQ(spy.rootCallNames(), (std::vector<std::string>{"ClassFactory.1", "-ClassFactory.1"}));
}

}  // namespace
}  // namespace vexa::test
