#include <gtest/gtest.h>

#include <string_view>

#include "support/module_fixture.h"
#include "support/watched_locks.h"
#include "vexa/own_certificates.h"
#include "vexa/runtime/pse_table.h"

namespace vexa::test {
namespace {

int heldAtBinding = -1;

using OwnCertificatesLock = ModuleTest;

TEST_F(OwnCertificatesLock, IsHeldWhileThePseTableIsBound) {
  static auto* const bind = spy.root.GetInterface;
  spy.root.GetInterface = [](const char* component, const char* name, const void** table) {
    if (std::string_view(name) == runtime::kPseName) {
      heldAtBinding = heldLocks();
    }
    return bind(component, name, table);
  };
  void* const own = create(kOwnCertificatesClassName, IID_IOwnCertificates);
  EXPECT_EQ(heldAtBinding, 1);
  EXPECT_EQ(heldLocks(), 0);
  call<uint32_t>(own, 2);
}

}  // namespace
}  // namespace vexa::test
