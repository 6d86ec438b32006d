#include <gtest/gtest.h>

#include "base/com_object.h"
#include "support/module_fixture.h"
#include "support/slot.h"

// The containers of the object model.
namespace vexa::base {
namespace {

constexpr Guid kItemId{1, 2, 3, {4}};
constexpr Guid kUnknownId{13, 14, 15, {16}};

class IItem : public IComponent {
 public:
  virtual void* DeletingDestructor(uint32_t flags) = 0;

 protected:
  ~IItem() = default;
};

class Item : public IItem, public CComObjectRoot {
 public:
  static const InterfaceMapRow* InterfaceMap() {
    static const InterfaceMapRow map[] = {mapRow<Item, IItem>(kItemId), mapEnd()};
    return map;
  }
};

class Items : public CContainerUnkImpl<Item>, public CComObjectRoot {
 public:
  static const InterfaceMapRow* InterfaceMap() {
    static const InterfaceMapRow map[] = {mapRow<Items, IContainerRO>(IID_IContainerRO), mapEnd()};
    return map;
  }
  virtual void* DeletingDestructor(uint32_t flags) = 0;
  using CContainerUnkImpl::append;
};

class BareItems : public CContainerImpl<Item>, public CComObjectRoot {
 public:
  static const InterfaceMapRow* InterfaceMap() {
    static const InterfaceMapRow map[] = {mapRow<BareItems, IContainerRO>(IID_IContainerRO),
                                          mapEnd()};
    return map;
  }
  int32_t QueryItem(uint32_t, const Guid*, void**) override { return kNotImplemented; }
  virtual void* DeletingDestructor(uint32_t flags) = 0;
  int32_t append(Item* item) { return items_.append(item); }
};

class ContainerTest : public test::ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    ASSERT_EQ(createObject(items), kOk);
  }
  void TearDown() override {
    items.reset();
    ModuleTest::TearDown();
  }
  ComPtr<CComObject<Item>> newItem() {
    ComPtr<CComObject<Item>> item;
    EXPECT_EQ(createObject(item), kOk);
    return item;
  }

  ComPtr<CComObject<Items>> items;
};

TEST_F(ContainerTest, NullOutsAreRefused) {
  EXPECT_EQ(test::call<int32_t>(items.get(), 3, static_cast<uint32_t*>(nullptr)), kNullPointer);
  EXPECT_EQ(test::call<int32_t>(items.get(), 4, 0u, &kItemId, static_cast<void**>(nullptr)),
            kNullPointer);
  EXPECT_EQ(test::call<int32_t>(items.get(), 5, 0u, static_cast<void**>(nullptr)), kNullPointer);
}

TEST_F(ContainerTest, Index0OfAnEmptyContainerIsInvalidAndGivesNull) {
  void* out = &spy;
  EXPECT_EQ(test::call<int32_t>(items.get(), 5, 0u, &out), kInvalidArgument);
  EXPECT_EQ(out, nullptr);
  out = &spy;
  EXPECT_EQ(test::call<int32_t>(items.get(), 4, 0u, &kItemId, &out), kInvalidArgument);
  EXPECT_EQ(out, nullptr);
  uint32_t count = 7;
  EXPECT_EQ(test::call<int32_t>(items.get(), 3, &count), kOk);
  EXPECT_EQ(count, 0u);
}

TEST_F(ContainerTest, HandsItemsOutWithAReferenceOfTheirOwn) {
  auto item = newItem();
  ASSERT_EQ(items->append(item.get()), kOk);
  EXPECT_EQ(item->AddRef(), 3u) << "creator, container, this one";
  item->Release();
  void* out = nullptr;
  ASSERT_EQ(test::call<int32_t>(items.get(), 5, 0u, &out), kOk);
  EXPECT_EQ(out, item.get());
  EXPECT_EQ(item->Release(), 2u);
  ASSERT_EQ(test::call<int32_t>(items.get(), 4, 0u, &kItemId, &out), kOk);
  EXPECT_EQ(test::call<uint32_t>(out, 2), 2u);
  EXPECT_EQ(test::call<int32_t>(items.get(), 4, 0u, &kUnknownId, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
}

TEST_F(ContainerTest, ABareContainerHandsItemsOutWithoutAReference) {
  ComPtr<CComObject<BareItems>> bare;
  ASSERT_EQ(createObject(bare), kOk);
  auto item = newItem();
  ASSERT_EQ(bare->append(item.get()), kOk);
  void* out = nullptr;
  ASSERT_EQ(test::call<int32_t>(bare.get(), 5, 0u, &out), kOk);
  EXPECT_EQ(out, item.get());
  EXPECT_EQ(item->AddRef(), 2u);
  EXPECT_EQ(item->Release(), 1u);
}

TEST_F(ContainerTest, AFailedAppendChangesNothing) {
  auto item = newItem();
  spy.failAllocation(1);
  EXPECT_EQ(items->append(item.get()), kOutOfMemory);
  uint32_t count = 7;
  EXPECT_EQ(items->GetCount(&count), kOk);
  EXPECT_EQ(count, 0u);
}

}  // namespace
}  // namespace vexa::base
