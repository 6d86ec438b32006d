#include "support/allocation_gate.h"
#include "support/module_fixture.h"
#include "vexa/pse.h"

// The PSE object when memory runs short.
namespace vexa::test {
namespace {

class PseMemory : public ModuleTest {};

TEST_F(PseMemory, TheObjectIsMadeByALaterRequest) {
  for (uint64_t n = 1; n < 30; ++n) {
    allocation_gate::failAt(n, true);
    void* pse = nullptr;
    const int32_t result = create(kPseClassName, IID_IPse, &pse);
    const bool refused = allocation_gate::refused() != 0;
    allocation_gate::neverFail();
    EXPECT_EQ(pse != nullptr, result == kOk) << n;
    if (pse != nullptr) {
      call<uint32_t>(pse, 2);
    }
    if (!refused) {
      EXPECT_EQ(result, kOk);
      return;
    }
    stop();
    TearDown();
    SetUp();
  }
  FAIL() << "the PSE object needs more allocations than it should";
}

}  // namespace
}  // namespace vexa::test
