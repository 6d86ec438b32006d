#include <gtest/gtest.h>

#include "base/class_registry.h"
#include "crowd.h"
#include "support/module_fixture.h"
#include "support/slot.h"
#include "vexa/ca.h"
#include "vexa/capi.h"
#include "vexa/certificates.h"
#include "vexa/client_monitor.h"
#include "vexa/core.h"
#include "vexa/hash_table.h"
#include "vexa/http_request.h"
#include "vexa/http_response.h"
#include "vexa/json.h"
#include "vexa/network.h"
#include "vexa/own_certificates.h"
#include "vexa/pse.h"
#include "vexa/time.h"
#include "vexa/url_parser.h"

namespace vexa::test {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 40;

struct OfferedClass {
  const char* name;
  const Guid& interfaceId;
};

const OfferedClass kClasses[] = {
    {kCertificatesClassName, IID_ICertificates},
    {kClientMonitorClassName, IID_IClientMonitor},
    {kHttpRequestClassName, IID_IHTTPRequest},
    {kHttpResponseClassName, IID_IHTTPResponse},
    {kOwnCertificatesClassName, IID_IOwnCertificates},
    {kPseClassName, IID_IPse},
    {kUrlParserClassName, IID_IURLParser},
};

const char* const kLists[] = {
    kAscListName,     kCoreListName,    kCaListName,   kCertificateListName, kHashTableListName,
    kJsonApiListName, kNetworkListName, kTimeListName, kCapiListName,        kClassFactoryListName,
};

class CreationRace : public ModuleTest {
 protected:
  // One round: every class, beginning with another one in each thread.
  void createAll(int thread) {
    for (size_t i = 0; i < std::size(kClasses); ++i) {
      const OfferedClass& offered =
          kClasses[(i + static_cast<size_t>(thread)) % std::size(kClasses)];
      void* object = nullptr;
      ASSERT_EQ(create(offered.name, offered.interfaceId, &object), kOk) << offered.name;
      ASSERT_NE(object, nullptr);
      call<uint32_t>(object, 2);
    }
  }
};

TEST_F(CreationRace, ObjectsAreCreatedWhileListsAreLookedUp) {
  runCrowd(kThreads, [this](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      for (const char* name : kLists) {
        const void* found = nullptr;
        EXPECT_EQ(lookup(nullptr, name, &found), kOk) << name;
      }
      createAll(thread);
      void* object = nullptr;
      EXPECT_EQ(create("no such class", IID_IComponent, &object), kFail);
    }
  });
}

// Whoever comes first makes the singleton; all others get the same.
TEST_F(CreationRace, ThereIsOneMonitorForEveryThread) {
  void* monitors[kThreads] = {};
  runCrowd(kThreads, [this, &monitors](int thread) {
    EXPECT_EQ(create(kClientMonitorClassName, IID_IClientMonitor, &monitors[thread]), kOk);
  });
  for (void* monitor : monitors) {
    ASSERT_NE(monitor, nullptr);
    EXPECT_EQ(monitor, monitors[0]);
    call<uint32_t>(monitor, 2);
  }
}

TEST_F(CreationRace, TheListOfAnotherComponentIsFetchedOnce) {
  runCrowd(kThreads, [this](int) {
    for (int round = 0; round < kRounds; ++round) {
      EXPECT_EQ(base::classFactories().GetFactory(FakeComponent::kName, true), &spy.component.list);
    }
  });
  EXPECT_EQ(base::classFactories().count(), 1u);
  EXPECT_EQ(spy.component.hooksSet, 1);
  EXPECT_EQ(spy.rootCallNames(), std::vector<std::string>{kClassFactoryListName});
}

// Between two starts all singletons are new; the host serialises starts and ends.
TEST_F(CreationRace, EveryStartBeginsAfresh) {
  stop();
  for (int start = 0; start < 5; ++start) {
    ASSERT_EQ(module_init(&spy.root, &lookup), kOk);
    runCrowd(kThreads, [this](int thread) { createAll(thread); });
    ASSERT_EQ(module_final(), kOk);
    EXPECT_EQ(spy.liveBlocks(), 0);
    EXPECT_EQ(spy.boundInterfaces(), 0);
  }
}

}  // namespace
}  // namespace vexa::test
