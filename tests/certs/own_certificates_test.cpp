#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "own_certificates_fixture.h"
#include "pal/windows_api.h"
#include "support/sweep.h"
#include "vexa/core.h"

namespace vexa::test {
namespace {

using raw::refresh;
using runtime::AttributeRequest;
using testing::ElementsAre;
using testing::IsEmpty;

// --- The PSE object ---

TEST_F(OwnCertificates, ThePseOpensAContextWithItsParametersAndAsksItForThePse) {
  void* pse = create(kPseClassName, IID_IPse);
  EXPECT_THAT(world.calls, ElementsAre("create context", "get PSE"));
  EXPECT_EQ(world.parameters.version, 1u);
  EXPECT_EQ(world.applicationName, "vexa");
  EXPECT_EQ(world.parameters.reserved3, nullptr);
  EXPECT_EQ(world.parameters.typeOperations, spy.commonTypes.typeOperations);
  EXPECT_EQ(world.parameters.reserved5, nullptr);
  EXPECT_EQ(raw::getContext(pse), &world.context);
  EXPECT_EQ(raw::getPse(pse), &world.pse);
  void* const null = nullptr;
  for (int slotNumber = 6; slotNumber <= 12; ++slotNumber) {
    EXPECT_EQ(call<int32_t>(pse, slotNumber, null, null, null), kNotImplemented);
  }
  raw::release(pse);
  world.calls.clear();
  stop();
  EXPECT_THAT(world.calls, ElementsAre("release PSE", "release context"));
}

TEST_F(OwnCertificates, ThePseIsOneObjectAndBindsNoTable) {
  spy.clearRootCalls();
  void* first = create(kPseClassName, IID_IPse);
  void* second = create(kPseClassName, IID_IPse);
  EXPECT_EQ(first, second);
  EXPECT_THAT(spy.rootCallNames(), IsEmpty());
  raw::release(first);
  raw::release(second);
}

TEST_F(OwnCertificates, WithoutAContextThereIsNoPse) {
  world.hasContext = false;
  void* pse = create(kPseClassName, IID_IPse);
  EXPECT_EQ(raw::getContext(pse), nullptr);
  EXPECT_EQ(raw::getPse(pse), nullptr);
  raw::release(pse);
}

TEST_F(OwnCertificates, AContextThatIsNotThereIsNone) {
  spy.asc.CreateContext = [](const runtime::ContextParameters*, runtime::SecurityContext** out) {
    *out = nullptr;
    return kOk;
  };
  void* pse = create(kPseClassName, IID_IPse);
  EXPECT_EQ(raw::getContext(pse), nullptr);
  EXPECT_EQ(raw::getPse(pse), nullptr);
  raw::release(pse);
}

TEST_F(OwnCertificates, WithoutAPseTheContextStays) {
  world.hasPse = false;
  void* pse = create(kPseClassName, IID_IPse);
  EXPECT_EQ(raw::getContext(pse), &world.context);
  EXPECT_EQ(raw::getPse(pse), nullptr);
  raw::release(pse);
}

TEST_F(OwnCertificates, TheAscListReachesThePse) {
  const void* asc = list(kAscListName);
  EXPECT_EQ(tableEntry<void*()>(asc, 1)(), &world.context);
  EXPECT_EQ(tableEntry<void*()>(asc, 2)(), &world.pse);
  for (const int entry : {3, 4}) {
    EXPECT_EQ((tableEntry<int32_t(void*, void*, void*)>(asc, entry)(nullptr, nullptr, nullptr)),
              kNotImplemented);
  }
  EXPECT_THAT(world.calls, ElementsAre("create context", "get PSE")) << "one object serves all";
}

// --- Binding ---

TEST_F(OwnCertificates, TheFirstRequestBindsThePseTableOnce) {
  spy.clearRootCalls();
  void* first = own();
  void* second = own();
  EXPECT_THAT(spy.rootCallNames(), ElementsAre("SEC_PSE_1"));
  raw::release(first);
  raw::release(second);
  spy.clearRootCalls();
  stop();
  EXPECT_EQ(spy.rootCallNames().front(), "-SEC_PSE_1");
}

TEST_F(OwnCertificates, AFailedBindingIsReturnedAsItStands) {
  for (const int32_t result : {kAccessDenied, int32_t{5}}) {
    spy.failBinding("SEC_PSE_1", result);
    void* out = this;
    EXPECT_EQ(create(kOwnCertificatesClassName, IID_IOwnCertificates, &out), result);
    EXPECT_EQ(out, nullptr);
  }
  spy.allowBindings();
  raw::release(own());
}

TEST_F(OwnCertificates, WhoAsksWhileTheTableIsBoundIsRefused) {
  static const ClassFactoryList* classes;
  static decltype(spy.root.GetInterface) bind;
  classes = list<ClassFactoryList>(kClassFactoryListName);
  bind = spy.root.GetInterface;
  spy.root.GetInterface = [](const char* component, const char* name, const void** table) {
    void* out = &classes;
    EXPECT_EQ(classes->CreateInstance(kOwnCertificatesClassName, &IID_IOwnCertificates, &out),
              kFail);
    EXPECT_EQ(out, nullptr);
    return bind(component, name, table);
  };
  raw::release(own());
  raw::release(own());
  EXPECT_THAT(spy.rootCallNames(), ElementsAre("SEC_PSE_1"));
}

TEST_F(OwnCertificates, ATableThatIsBoundWhileTheModuleEndsIsNotKept) {
  auto* const bind = spy.root.GetInterface;
  spy.root.GetInterface = [](const char*, const char*, const void** table) {
    EXPECT_EQ(module_final(), kOk);
    *table = &SpyRuntime::current().pse;
    return kOk;
  };
  void* out = this;
  EXPECT_EQ(create(kOwnCertificatesClassName, IID_IOwnCertificates, &out), kFail);
  EXPECT_EQ(out, nullptr);
  spy.root.GetInterface = bind;
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  spy.clearRootCalls();
  raw::release(own());
  EXPECT_THAT(spy.rootCallNames(), ElementsAre("SEC_PSE_1")) << "bound anew";
}

// --- Refresh ---

TEST_F(OwnCertificates, TheContainerIsEmptyUntilTheFirstRefresh) {
  void* container = own();
  EXPECT_EQ(count(container), 0u);
  raw::release(container);
}

TEST_F(OwnCertificates, APseWithoutOwnCertificatesLeavesAnEmptyContainer) {
  void* container = own();
  EXPECT_EQ(refresh(container), kOk);
  EXPECT_EQ(count(container), 0u);
  raw::release(container);
}

TEST_F(OwnCertificates, WithoutAPseRefreshWorksOnAnEmptyList) {
  world.hasPse = false;
  void* container = own();
  EXPECT_EQ(refresh(container), kOk);
  EXPECT_EQ(count(container), 0u);
  raw::release(container);
}

TEST_F(OwnCertificates, TheSameRecordKeepsItsObjectAndAVanishedOneIsReleased) {
  void* container = own();
  world.records = {&a, nullptr, &b};
  ASSERT_EQ(refresh(container), kOk);
  ASSERT_EQ(count(container), 2u);
  void* const forA = item(container, 0);
  void* const forB = item(container, 1);
  EXPECT_NE(forA, forB);
  EXPECT_THAT(world.released, IsEmpty()) << "new wrappers took the records over";

  world.records = {&c, &b};
  ASSERT_EQ(refresh(container), kOk);
  ASSERT_EQ(count(container), 2u);
  EXPECT_EQ(item(container, 1), forB);
  EXPECT_THAT(world.released, testing::UnorderedElementsAre(&a, &b))
      << "a's wrapper went; the list's own reference to b went with the list";
  EXPECT_EQ(raw::isSame(item(container, 0), &c), 1);
  EXPECT_EQ(raw::isSame(item(container, 0), &a), 0);
  world.released.clear();
  raw::release(container);
  stop();
  EXPECT_THAT(world.released, testing::UnorderedElementsAre(&b, &c));
}

TEST_F(OwnCertificates, ManyRecordsKeepTheirObjectsInWhateverOrderTheyCome) {
  std::vector<OwnCertificateRecord> records(100);
  for (OwnCertificateRecord& record : records) {
    world.records.push_back(&record);
  }
  void* container = own();
  ASSERT_EQ(refresh(container), kOk);
  std::vector<void*> items;
  for (uint32_t i = 0; i < records.size(); ++i) {
    items.push_back(item(container, i));
  }
  std::rotate(world.records.begin(), world.records.begin() + 30, world.records.end());
  std::reverse(world.records.begin(), world.records.end());
  ASSERT_EQ(refresh(container), kOk);
  ASSERT_EQ(count(container), records.size());
  for (uint32_t i = 0; i < records.size(); ++i) {
    const auto which = static_cast<size_t>(world.records[i] - records.data());
    EXPECT_EQ(item(container, i), items[which]) << i;
  }
  raw::release(container);
  stop();
}

TEST_F(OwnCertificates, ARecordListedTwiceGetsTwoWrappers) {
  void* container = own();
  world.records = {&a};
  ASSERT_EQ(refresh(container), kOk);
  world.records = {&a, &a};
  ASSERT_EQ(refresh(container), kOk);
  ASSERT_EQ(count(container), 2u);
  EXPECT_NE(item(container, 0), item(container, 1));
  raw::release(container);
}

TEST_F(OwnCertificates, OfTwoWrappersOfARecordTheLaterOneStays) {
  void* container = own();
  world.records = {&a, &a, &b};
  ASSERT_EQ(refresh(container), kOk);
  void* const later = item(container, 1);
  world.records = {&b, &a};
  ASSERT_EQ(refresh(container), kOk);
  ASSERT_EQ(count(container), 2u);
  EXPECT_EQ(item(container, 1), later);
  raw::release(container);
}

std::vector<uint64_t> sizes;

TEST_F(OwnCertificates, TheNewArrayHasAPlaceForEachRecord) {
  void* container = own();
  world.records = {&a, nullptr, &b, &c, nullptr};
  static auto* const allocate = spy.root.Allocate;
  static auto* const reallocate = spy.root.Reallocate;
  spy.root.Allocate = [](uint64_t size) {
    sizes.push_back(size);
    return allocate(size);
  };
  spy.root.Reallocate = [](void* block, uint64_t size) {
    sizes.push_back(size);
    return reallocate(block, size);
  };
  sizes.clear();
  ASSERT_EQ(refresh(container), kOk);
  EXPECT_THAT(sizes, testing::Contains(3 * sizeof(void*)));
  EXPECT_THAT(sizes, testing::Each(testing::Le(3 * sizeof(void*))));
  raw::release(container);
}

TEST_F(OwnCertificates, AWrapperThatOutlivesTheEndDropsNothing) {
  void* container = own();
  world.records = {&a};
  ASSERT_EQ(refresh(container), kOk);
  void* kept = nullptr;
  ASSERT_EQ(raw::getItem(container, 0u, &kept), kOk);
  raw::release(container);
  stop();
  EXPECT_THAT(world.released, IsEmpty());
  EXPECT_EQ(raw::release(kept), 0u);
  EXPECT_THAT(world.released, IsEmpty());
}

TEST_F(OwnCertificates, AFailedListingForMemoryChangesNothing) {
  void* container = own();
  world.records = {&a};
  ASSERT_EQ(refresh(container), kOk);
  void* const before = item(container, 0);
  world.listResult = kOutOfMemory;
  EXPECT_EQ(refresh(container), kOutOfMemory);
  EXPECT_EQ(item(container, 0), before);
  raw::release(container);
}

TEST_F(OwnCertificates, RefreshSurvivesEveryFailedAllocation) {
  void* container = own();
  ASSERT_EQ(refresh(container), kOk);
  world.records = {&a, &b};
  for (uint64_t n = 1; n < 20; ++n) {
    allocation_gate::failAt(n, false);
    const int32_t result = refresh(container);
    const bool refused = allocation_gate::refused() != 0;
    allocation_gate::neverFail();
    if (!refused) {
      EXPECT_EQ(result, kOk);
      break;
    }
    EXPECT_EQ(result, kOutOfMemory) << n;
    EXPECT_EQ(count(container), 0u);
  }
  EXPECT_EQ(count(container), 2u);
  raw::release(container);
}

#if !defined(_WIN32)  // the process heap of Windows cannot be made to fail
TEST_F(OwnCertificates, WithoutThePseObjectRefreshThrows) {
  void* container = own();
  allocation_gate::failAt(1, true);
  EXPECT_THROW((void)static_cast<IOwnCertificates*>(container)->Refresh(), _com_error);
  allocation_gate::neverFail();
  try {
    allocation_gate::failAt(1, true);
    (void)static_cast<IOwnCertificates*>(container)->Refresh();
  } catch (const _com_error& error) {
    EXPECT_EQ(error.Error(), kNullPointer);
  }
  allocation_gate::neverFail();
  raw::release(container);
}
#endif

// --- Records ---

TEST_F(OwnCertificates, ANewRecordReleasesTheOneBeforeButNotItself) {
  void* container = own();
  world.records = {&a};
  ASSERT_EQ(refresh(container), kOk);
  void* const wrapper = item(container, 0);
  EXPECT_EQ(raw::setRecord(wrapper, &a), kOk);
  EXPECT_THAT(world.released, IsEmpty());
  EXPECT_EQ(raw::isSame(wrapper, &a), 1);
  EXPECT_EQ(raw::setRecord(wrapper, &b), kOk);
  EXPECT_THAT(world.released, ElementsAre(&a));
  EXPECT_EQ(raw::isSame(wrapper, &a), 0);
  EXPECT_EQ(raw::isSame(wrapper, &b), 1);
  raw::release(container);
}

TEST_F(OwnCertificates, AnItemAnswersForItsAttributesAndNothingElse) {
  void* container = own();
  world.records = {&a};
  ASSERT_EQ(refresh(container), kOk);
  void* found = nullptr;
  EXPECT_EQ(raw::queryItem(container, 0u, IID_IAttributes, &found), kOk);
  EXPECT_EQ(found, item(container, 0));
  raw::release(found);
  EXPECT_EQ(raw::queryItem(container, 0u, IID_IContainerRO, &found), kNoInterface);
  EXPECT_EQ(found, nullptr);
  raw::release(container);
}

// --- Attributes ---

TEST_F(OwnCertificates, WithoutARecordNothingIsServed) {
  void* container = own();
  world.records = {&a};
  ASSERT_EQ(refresh(container), kOk);
  void* const wrapper = item(container, 0);
  EXPECT_EQ(raw::setRecord(wrapper, nullptr), kOk);
  AttributeRequest request{kOwnField1, {}, 7, nullptr};
  EXPECT_EQ(raw::getAttributes(wrapper, &request), kFalse);
  EXPECT_EQ(request.found, 0);
  EXPECT_EQ(request.value.pointer, nullptr);
  raw::release(container);
}

TEST_F(OwnCertificates, AttributesAreDuplicatesOfTheRecordsFields) {
  FakeObject first;
  FakeObject second;
  FakeObject sixth;
  a.field1 = &first.object;
  a.field2 = &second.object;
  a.field6 = &sixth.object;
  void* container = own();
  world.records = {&a};
  ASSERT_EQ(refresh(container), kOk);
  void* const wrapper = item(container, 0);
  AttributeRequest unknown{1, {}, 7, nullptr};
  AttributeRequest request240{240, {}, 7, &unknown};
  AttributeRequest request58{58, {}, 7, &request240};
  AttributeRequest request13{13, {}, 7, &request58};
  EXPECT_EQ(raw::getAttributes(wrapper, &request13), kFalse);
  EXPECT_EQ(request13.found, 1);
  EXPECT_EQ(request13.value.pointer, &sixth);
  EXPECT_EQ(sixth.references, 2u);
  EXPECT_EQ(request58.found, 1);
  EXPECT_EQ(request58.value.pointer, &second);
  EXPECT_EQ(second.references, 2u);
  EXPECT_EQ(request240.found, 1);
  EXPECT_EQ(request240.value.pointer, &first);
  EXPECT_EQ(first.references, 2u);
  EXPECT_EQ(unknown.found, 0);
  EXPECT_EQ(raw::setAttributes(wrapper, &request13), kAccessDenied);
  a.field6 = nullptr;
  request13.next = nullptr;
  EXPECT_EQ(raw::getAttributes(wrapper, &request13), kOk) << "a field that is empty is served, too";
  EXPECT_EQ(request13.found, 1);
  EXPECT_EQ(request13.value.pointer, nullptr);
  raw::release(container);
}

}  // namespace
}  // namespace vexa::test
