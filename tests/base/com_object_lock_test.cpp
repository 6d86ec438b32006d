#include <gtest/gtest.h>

#include "base/com_object.h"
#include "support/module_fixture.h"
#include "support/watched_locks.h"

namespace vexa::base {
namespace {

constexpr Guid kSharedId{1, 2, 3, {4}};

class IShared : public IComponent {
 public:
  virtual void* DeletingDestructor(uint32_t flags) = 0;

 protected:
  ~IShared() = default;
};

// Notes which locks are held when it is made and when it goes; -1: neither has happened.
class Shared : public IShared, public CSingletonFactoryImpl<Shared>, public CComObjectRoot {
 public:
  static inline int heldAtStart = -1;
  static inline int heldAtEnd = -1;

  static const InterfaceMapRow* InterfaceMap() {
    static const InterfaceMapRow map[] = {mapRow<Shared, IShared>(kSharedId), mapEnd()};
    return map;
  }
  int32_t Load() override {
    heldAtStart = test::heldLocks();
    return kOk;
  }

 protected:
  ~Shared() { heldAtEnd = test::heldLocks(); }
};

using SingletonLock = test::ModuleTest;

TEST_F(SingletonLock, IsHeldWhileTheInstanceIsMadeAndWhileItIsLetGo) {
  ComPtr<IShared> shared;
  ASSERT_EQ(Shared::CreateInstance(&kSharedId, shared.putVoid()), kOk);
  EXPECT_EQ(Shared::heldAtStart, 1);
  EXPECT_EQ(test::heldLocks(), 0);
  shared.reset();
  stop();
  EXPECT_EQ(Shared::heldAtEnd, 1);
  EXPECT_EQ(test::heldLocks(), 0);
}

}  // namespace
}  // namespace vexa::base
