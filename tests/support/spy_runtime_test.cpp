#include "support/spy_runtime.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include "pal/windows_api.h"
#include "support/allocation_gate.h"
#include "support/slot.h"

namespace vexa::test {
namespace {

using ::testing::ElementsAre;

template <class Table>
const Table* get(SpyRuntime& spy, const char* component, const char* name) {
  const void* table = nullptr;
  spy.root.GetInterface(component, name, &table);
  return static_cast<const Table*>(table);
}

TEST(SpyRuntime, HandsOutItsOwnCopies) {
  SpyRuntime spy;
  EXPECT_EQ(get<runtime::EncodeTable>(spy, nullptr, runtime::kEncodeName), &spy.encode);
  EXPECT_EQ(get<runtime::StringTable>(spy, "vexastring", runtime::kStringName), &spy.strings);
  EXPECT_EQ(spy.commonTypes.typeOperations, &spy.typeOperations);
}

TEST(SpyRuntime, ReplacedEntriesAreReached) {
  SpyRuntime spy;
  spy.random.GetBytes = [](uint32_t, uint64_t, uint64_t, uint8_t*) -> int32_t { return -7; };
  const auto* table = get<runtime::RandomTable>(spy, nullptr, runtime::kRandomName);
  auto* entry = tableEntry<int32_t(uint32_t, uint64_t, uint64_t, uint8_t*)>(table, 1);
  EXPECT_EQ(entry(2, 0, 0, nullptr), -7);
}

TEST(SpyRuntime, HandsOutTheCompanionCopy) {
  SpyRuntime spy;
  const runtime::Pkcs12TypesTable* companion = nullptr;
  EXPECT_EQ(spy.pkcs12.GetTypes(&companion), kOk);
  EXPECT_EQ(companion, &spy.pkcs12Types);
}

TEST(SpyRuntime, RecordsBindingsInOrder) {
  SpyRuntime spy;
  const void* table = nullptr;
  spy.root.GetInterface(nullptr, runtime::kIoName, &table);
  spy.root.ReleaseInterface(&table);
  spy.root.ReleaseRoot(&spy.root);
  EXPECT_EQ(table, nullptr);
  EXPECT_THAT(spy.rootCallNames(), ElementsAre("SEC_IO_1", "-SEC_IO_1", "-root"));
  EXPECT_EQ(spy.rootCalls()[0].component, std::nullopt);
  EXPECT_EQ(spy.rootCalls()[1].holder, &table);
  EXPECT_EQ(spy.boundInterfaces(), 0);
}

TEST(SpyRuntime, AnUnknownInterfaceLeavesNull) {
  SpyRuntime spy;
  const void* table = &spy;
  EXPECT_LT(spy.root.GetInterface("vexastring", runtime::kIoName, &table), 0);
  EXPECT_EQ(table, nullptr);
}

TEST(SpyRuntime, FailsTheChosenBindingOnly) {
  SpyRuntime spy;
  spy.failBinding(2, 1);
  const void* table = nullptr;
  EXPECT_EQ(spy.root.GetInterface(nullptr, runtime::kIoName, &table), kOk);
  EXPECT_EQ(spy.root.GetInterface(nullptr, runtime::kIoName, &table), 1);
  EXPECT_EQ(table, nullptr);
  EXPECT_EQ(spy.root.GetInterface(nullptr, runtime::kIoName, &table), kOk);
}

TEST(SpyRuntime, FailsBindingsByName) {
  SpyRuntime spy;
  spy.failBinding(runtime::kIoName, -3);
  const void* table = nullptr;
  EXPECT_EQ(spy.root.GetInterface(nullptr, runtime::kIoName, &table), -3);
  EXPECT_EQ(spy.root.GetInterface(nullptr, runtime::kUrlName, &table), kOk);
  spy.allowBindings();
  EXPECT_EQ(spy.root.GetInterface(nullptr, runtime::kIoName, &table), kOk);
}

TEST(SpyRuntime, ServesTheFakeComponent) {
  SpyRuntime spy;
  int object = 0;
  spy.component.object = &object;
  const auto* list = get<ClassFactoryList>(spy, FakeComponent::kName, kClassFactoryListName);
  ASSERT_NE(list, nullptr);
  const Guid id{1, 2, 3, {}};
  void* out = nullptr;
  EXPECT_EQ(list->CreateInstance("Thing", &id, &out), kOk);
  EXPECT_EQ(out, &object);
  ASSERT_EQ(spy.component.creations.size(), 1u);
  EXPECT_EQ(spy.component.creations[0].className, "Thing");
  EXPECT_EQ(list->SetCreateHook(nullptr), kFail);
  EXPECT_EQ(spy.component.hooksSet, 1);
}

TEST(SpyRuntime, CountsLiveBlocks) {
  SpyRuntime spy;
  void* const block = spy.root.Allocate(8);
  char* const text = spy.strings.TextDuplicate("x");
  EXPECT_EQ(spy.liveBlocks(), 2);
  spy.root.Free(block);
  spy.root.Free(text);
  EXPECT_EQ(spy.liveBlocks(), 0);
  EXPECT_EQ(spy.allocations(), 2u);
}

TEST(SpyRuntime, FailsOneAllocation) {
  SpyRuntime spy;
  spy.failAllocation(2);
  void* const first = spy.root.Allocate(1);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(spy.strings.TextDuplicate("x"), nullptr);
  void* const third = spy.root.Allocate(1);
  EXPECT_NE(third, nullptr);
  spy.root.Free(first);
  spy.root.Free(third);
}

TEST(SpyRuntime, FailsAllFollowingAllocations) {
  SpyRuntime spy;
  spy.failAllocationsFrom(1);
  EXPECT_EQ(spy.root.Allocate(1), nullptr);
  EXPECT_EQ(spy.root.Reallocate(nullptr, 1), nullptr);
  spy.allowAllocations();
  void* const block = spy.root.Allocate(1);
  EXPECT_NE(block, nullptr);
  spy.root.Free(block);
}

TEST(SpyRuntime, FillsTheGrowthOfABlock) {
  SpyRuntime spy;
  auto* block = static_cast<uint8_t*>(spy.root.Allocate(1));
  block = static_cast<uint8_t*>(spy.root.Reallocate(block, 3));
  EXPECT_EQ(block[0], 0);
  EXPECT_EQ(block[1], 0xCC);
  EXPECT_EQ(block[2], 0xCC);
  spy.root.Free(block);
}

TEST(SpyRuntime, ShowsBlocksBeforeTheyAreFreed) {
  SpyRuntime spy;
  std::vector<uint8_t> seen;
  spy.onFree = [&](const uint8_t* block, uint64_t size) { seen.assign(block, block + size); };
  auto* const block = static_cast<uint8_t*>(spy.root.Allocate(2));
  block[1] = 5;
  spy.root.Free(block);
  EXPECT_THAT(seen, ElementsAre(0, 5));
}

TEST(SpyRuntime, TakesWrongReleases) {
  SpyRuntime spy;
  spy.root.Free(spy.commonTypes.TextDuplicate("x"));
  EXPECT_EQ(spy.takeHeapErrors().size(), 1u);
  EXPECT_EQ(spy.liveBlocks(), 0);
}

TEST(SpyRuntime, WrongReleasesFailTheTest) {
  EXPECT_NONFATAL_FAILURE(
      {
        SpyRuntime spy;
        spy.root.Free(spy.commonTypes.TextDuplicate("x"));
      },
      "TextRelease");
}

TEST(SpyRuntime, RendersMessages) {
  SpyRuntime spy;
  spy.notify.Message(4, "vexabase", 0, "{ %s", "scope");
  spy.notify.Message(3, "vexabase", 0, "%d of %d", 1, 2);
  spy.notify.Message(0, "vexabase", 0, "} %8x", 0x80004005u);
  EXPECT_THAT(spy.trace(),
              ElementsAre(TraceLine{4, "vexabase", "{ scope"}, TraceLine{3, "vexabase", "1 of 2"},
                          TraceLine{0, "vexabase", "} 80004005"}));
  EXPECT_THAT(spy.messages(), ElementsAre(TraceLine{3, "vexabase", "1 of 2"}));
  EXPECT_THAT(spy.traceTexts(3), ElementsAre("1 of 2"));
  EXPECT_TRUE(spy.traced("1 of 2"));
  spy.clearTrace();
  EXPECT_FALSE(spy.traced("1 of 2"));
}

TEST(SpyRuntime, AnswersTheTraceLevel) {
  SpyRuntime spy;
  EXPECT_EQ(spy.notify.GetLevel("a", 4), 0u);
  spy.setTraceLevel(4);
  spy.setTraceLevel("b", 2);
  EXPECT_EQ(spy.notify.GetLevel("a", 1), 4u);
  EXPECT_EQ(spy.notify.GetLevel("b", 1), 2u);
}

// The process heap is replaced only where it is not Windows' own.
TEST(FakeHeap, CountsAndFailsOnDemand) {
  const int64_t base = allocation_gate::liveProcessBlocks();
  allocation_gate::failAt(2, false);
  void* const block = HeapAlloc(GetProcessHeap(), 0, 1);
  ASSERT_NE(block, nullptr);
  const bool replaced = allocation_gate::passed() == 1;
  void* const second = HeapAlloc(GetProcessHeap(), 0, 1);
  allocation_gate::neverFail();
  EXPECT_EQ(second == nullptr, replaced);
  EXPECT_EQ(allocation_gate::liveProcessBlocks(), base + (replaced ? 1 : 0));
  HeapFree(GetProcessHeap(), 0, block);
  if (second != nullptr) {
    HeapFree(GetProcessHeap(), 0, second);
  }
  EXPECT_EQ(allocation_gate::liveProcessBlocks(), base);
}

}  // namespace
}  // namespace vexa::test
