#include "base/com_object.h"

#include <gtest/gtest.h>

#include "support/module_fixture.h"
#include "support/slot.h"
#include "support/sweep.h"

namespace vexa::base {
namespace {

constexpr Guid kFirstId{1, 2, 3, {4}};
constexpr Guid kSecondId{5, 6, 7, {8}};
constexpr Guid kHiddenId{9, 10, 11, {12}};
constexpr Guid kUnknownId{13, 14, 15, {16}};

class IFirst : public IComponent {
 public:
  virtual int32_t First() = 0;
  virtual void* DeletingDestructor(uint32_t flags) = 0;

 protected:
  ~IFirst() = default;
};

class ISecond : public IComponent {
 public:
  virtual int32_t Second() = 0;

 protected:
  ~ISecond() = default;
};

class Sample : public IFirst, public ISecond, public CFactoryImpl<Sample>, public CComObjectRoot {
 public:
  static inline int alive = 0;

  static const InterfaceMapRow* InterfaceMap() {
    static const InterfaceMapRow map[] = {
        mapRow<Sample, IFirst>(kFirstId),
        mapRow<Sample, ISecond>(kSecondId),
        {&kHiddenId, 0, 7},  // a kind that names no offset
        {nullptr, 0, kMapOffset},
        mapEnd(),
    };
    return map;
  }

  int32_t First() override { return 1; }
  int32_t Second() override { return 2; }

 protected:
  Sample() { ++alive; }
  ~Sample() { --alive; }
};

class ComObjectTest : public test::ModuleTest {
 protected:
  void TearDown() override {
    EXPECT_EQ(Sample::alive, 0);
    ModuleTest::TearDown();
  }

  void* createSample(const Guid& id = kFirstId) {
    void* object = nullptr;
    EXPECT_EQ(Sample::CreateInstance(&id, &object), kOk);
    return object;
  }
};

TEST_F(ComObjectTest, TheCountLiesDirectlyBehindTheTablePointer) {
  class Plain : public IFirst, public CComObjectRoot {
   public:
    static const InterfaceMapRow* InterfaceMap() {
      static const InterfaceMapRow map[] = {mapRow<Plain, IFirst>(kFirstId), mapEnd()};
      return map;
    }
    int32_t First() override { return 0; }
  };
  ComPtr<CComObject<Plain>> object;
  ASSERT_EQ(createObject(object), kOk);
  const auto* words = reinterpret_cast<const uint32_t*>(object.get());
  EXPECT_EQ(words[2], 1u);
  for (uint32_t count = 2; count < 5; ++count) {
    EXPECT_EQ(object->AddRef(), count);
    EXPECT_EQ(words[2], count);
  }
  while (words[2] > 1) {
    const uint32_t count = object->Release();
    EXPECT_EQ(words[2], count);
  }
}

TEST_F(ComObjectTest, QueryInterfaceForIUnknownGivesThePrimaryInterfaceAndOneReference) {
  void* object = createSample();
  void* unknown = nullptr;
  EXPECT_EQ(test::call<int32_t>(object, 0, &IID_IComponent, &unknown), kOk);
  EXPECT_EQ(unknown, object);
  EXPECT_EQ(test::call<uint32_t>(object, 2), 1u);
  EXPECT_EQ(test::call<uint32_t>(object, 2), 0u);
}

TEST_F(ComObjectTest, QueryInterfaceForAnUnknownIdStoresNullAndLeavesTheCount) {
  void* object = createSample();
  void* out = object;
  EXPECT_EQ(test::call<int32_t>(object, 0, &kUnknownId, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
  out = object;
  EXPECT_EQ(test::call<int32_t>(object, 0, &kHiddenId, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(test::call<uint32_t>(object, 2), 0u);
}

TEST_F(ComObjectTest, EveryByteOfAnIdCounts) {
  const InterfaceMapRow map[] = {{&kFirstId, 0, kMapOffset}, mapEnd()};
  EXPECT_EQ(findInterface(this, map, kFirstId), this);
  for (size_t i = 0; i < sizeof(Guid); ++i) {
    Guid other = kFirstId;
    reinterpret_cast<uint8_t*>(&other)[i] ^= 1;
    EXPECT_EQ(findInterface(this, map, other), nullptr) << "byte " << i;
  }
}

TEST_F(ComObjectTest, IUnknownIsTheFirstRowOrNone) {
  uint8_t object[16] = {};
  const InterfaceMapRow none[] = {mapEnd()};
  const InterfaceMapRow hidden[] = {{&kHiddenId, 0, 7}, {&kFirstId, 8, kMapOffset}, mapEnd()};
  const InterfaceMapRow second[] = {{&kFirstId, 8, kMapOffset}, mapEnd()};
  EXPECT_EQ(findInterface(object, none, IID_IComponent), nullptr);
  EXPECT_EQ(findInterface(object, hidden, IID_IComponent), nullptr);
  EXPECT_EQ(findInterface(object, hidden, kFirstId), object + 8);
  EXPECT_EQ(findInterface(object, second, IID_IComponent), object + 8);
}

TEST_F(ComObjectTest, ASecondInterfaceLiesAtItsOffsetAndSharesTheCount) {
  void* object = createSample();
  void* second = nullptr;
  ASSERT_EQ(test::call<int32_t>(object, 0, &kSecondId, &second), kOk);
  EXPECT_NE(second, object);
  EXPECT_EQ(test::call<int32_t>(second, 3), 2);
  EXPECT_EQ(test::call<int32_t>(object, 3), 1);
  void* unknown = nullptr;
  ASSERT_EQ(test::call<int32_t>(second, 0, &IID_IComponent, &unknown), kOk);
  EXPECT_EQ(unknown, object);
  EXPECT_EQ(test::call<uint32_t>(second, 2), 2u);
  EXPECT_EQ(test::call<uint32_t>(object, 2), 1u);
  EXPECT_EQ(test::call<uint32_t>(second, 2), 0u);
}

TEST_F(ComObjectTest, AddRefAndReleaseReturnTheNewCount) {
  void* object = createSample();
  EXPECT_EQ(test::call<uint32_t>(object, 1), 2u);
  EXPECT_EQ(test::call<uint32_t>(object, 1), 3u);
  EXPECT_EQ(test::call<uint32_t>(object, 2), 2u);
  EXPECT_EQ(test::call<uint32_t>(object, 2), 1u);
  EXPECT_EQ(test::call<uint32_t>(object, 2), 0u);
}

TEST_F(ComObjectTest, TheDestructorKeepsTheMemoryWithoutBit0) {
  for (const uint32_t flags : {0u, 2u, 0xFFFFFFFEu}) {
    ComPtr<CComObject<Sample>> object;
    ASSERT_EQ(createObject(object), kOk);
    void* const block = object.release();
    EXPECT_EQ(test::call<void*>(block, 4, flags), block);
    EXPECT_EQ(Sample::alive, 0);
    processFree(block);
  }
}

TEST_F(ComObjectTest, TheDestructorFreesTheMemoryWithBit0) {
  for (const uint32_t flags : {1u, 3u, 0xFFFFFFFFu}) {
    const int64_t before = test::allocation_gate::liveProcessBlocks();
    void* const object = createSample();
    EXPECT_EQ(test::call<void*>(object, 4, flags), object);
    EXPECT_EQ(test::allocation_gate::liveProcessBlocks(), before);
  }
}

TEST_F(ComObjectTest, AnObjectWithoutTheAskedInterfaceIsDestroyedAgain) {
  void* object = &spy;
  EXPECT_EQ(Sample::CreateInstance(&kUnknownId, &object), kNoInterface);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(Sample::alive, 0);
}

TEST_F(ComObjectTest, AFailedCreationGivesNullAndOutOfMemory) {
  test::sweepAllocations(spy, [] {
    void* object = nullptr;
    const int32_t result = Sample::CreateInstance(&kFirstId, &object);
    if (object == nullptr) {
      EXPECT_EQ(result, kOutOfMemory);
      return false;
    }
    test::call<uint32_t>(object, 2);
    return result == kOk;
  });
}

class Unfinished : public IFirst, public CFactoryImpl<Unfinished>, public CComObjectRoot {
 public:
  static inline int alive = 0;
  static inline int32_t result = kOk;

  static const InterfaceMapRow* InterfaceMap() {
    static const InterfaceMapRow map[] = {mapRow<Unfinished, IFirst>(kFirstId), mapEnd()};
    return map;
  }
  int32_t First() override { return 1; }
  int32_t FinalConstruct() { return result; }

 protected:
  Unfinished() { ++alive; }
  ~Unfinished() { --alive; }
};

TEST_F(ComObjectTest, AnObjectThatCannotBeFinishedIsDestroyedAgain) {
  const int64_t before = test::allocation_gate::liveProcessBlocks();
  Unfinished::result = kAccessDenied;
  void* object = &spy;
  EXPECT_EQ(Unfinished::CreateInstance(&kFirstId, &object), kAccessDenied);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(Unfinished::alive, 0);
  EXPECT_EQ(test::allocation_gate::liveProcessBlocks(), before);
  Unfinished::result = kFalse;
  EXPECT_EQ(Unfinished::CreateInstance(&kFirstId, &object), kOk);
  EXPECT_EQ(test::call<uint32_t>(object, 2), 0u);
}

// --- Singletons ---

class OneOfAKind : public IFirst, public CSingletonFactoryImpl<OneOfAKind>, public CComObjectRoot {
 public:
  static inline int alive = 0;
  static constexpr bool kOutlivesRuntime = true;  // it holds nothing

  static const InterfaceMapRow* InterfaceMap() {
    static const InterfaceMapRow map[] = {mapRow<OneOfAKind, IFirst>(kFirstId), mapEnd()};
    return map;
  }
  int32_t First() override { return 1; }
  int32_t Load() override { return loadResult; }
  static inline int32_t loadResult = kOk;

 protected:
  OneOfAKind() { ++alive; }
  ~OneOfAKind() { --alive; }
};

void* oneOfAKind() {
  void* object = nullptr;
  EXPECT_EQ(OneOfAKind::CreateInstance(&kFirstId, &object), kOk);
  return object;
}

TEST_F(ComObjectTest, TwoCreationsOfASingletonGiveTheSameObject) {
  void* first = oneOfAKind();
  void* second = oneOfAKind();
  EXPECT_EQ(first, second);
  EXPECT_EQ(test::call<uint32_t>(first, 2), 2u) << "one reference is the module's own";
  EXPECT_EQ(test::call<uint32_t>(second, 2), 1u);
  EXPECT_EQ(OneOfAKind::alive, 1);
  stop();
  EXPECT_EQ(OneOfAKind::alive, 0);
}

TEST_F(ComObjectTest, ACallersReferenceKeepsASingletonAliveBeyondTheEnd) {
  void* first = oneOfAKind();
  stop();
  EXPECT_EQ(OneOfAKind::alive, 1);
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  void* second = oneOfAKind();
  EXPECT_NE(first, second) << "a later creation makes a new instance";
  EXPECT_EQ(test::call<uint32_t>(first, 2), 0u);
  EXPECT_EQ(test::call<uint32_t>(second, 2), 1u);
  EXPECT_EQ(module_final(), kOk);
  EXPECT_EQ(OneOfAKind::alive, 0);
}

// What a left-over object holds is nobody's any more; its own memory is.
TEST_F(ComObjectTest, AnObjectOfAnEarlierStartIsFreedWithoutBeingDestroyed) {
  void* object = createSample();
  stop();
  const int64_t blocks = test::allocation_gate::liveProcessBlocks();
  ASSERT_EQ(module_init(&spy.root, nullptr), kOk);
  EXPECT_EQ(test::call<uint32_t>(object, 2), 0u);
  EXPECT_EQ(Sample::alive, 1) << "its destructor did not run";
  Sample::alive = 0;
  EXPECT_EQ(module_final(), kOk);
  EXPECT_EQ(test::allocation_gate::liveProcessBlocks(), blocks != 0 ? blocks - 1 : 0);
}

TEST_F(ComObjectTest, AnObjectThatIsReleasedBetweenEndAndStartIsDestroyed) {
  void* object = createSample();
  stop();
  EXPECT_EQ(test::call<uint32_t>(object, 2), 0u);
  EXPECT_EQ(Sample::alive, 0);
}

// Neither without its memory nor without its place in the registry that ends it.
TEST_F(ComObjectTest, ASingletonThatCannotBeMadeIsMadeByTheNextCall) {
  for (const uint64_t n : {1u, 2u}) {
    void* object = nullptr;
    test::allocation_gate::failAt(n, false);
    const int32_t result = OneOfAKind::CreateInstance(&kFirstId, &object);
    const bool refused = test::allocation_gate::refused() != 0;
    test::allocation_gate::neverFail();
    if (refused) {
      EXPECT_EQ(result, kOutOfMemory) << n;
      EXPECT_EQ(object, nullptr) << n;
      EXPECT_EQ(OneOfAKind::alive, 0) << n;
    } else {
      test::call<uint32_t>(object, 2);
    }
  }
  EXPECT_EQ(test::call<uint32_t>(oneOfAKind(), 2), 1u);
}

TEST_F(ComObjectTest, ASingletonThatDoesNotLoadIsNotThere) {
  OneOfAKind::loadResult = kAccessDenied;
  void* object = &spy;
  EXPECT_EQ(OneOfAKind::CreateInstance(&kFirstId, &object), kAccessDenied);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(OneOfAKind::alive, 0);
  OneOfAKind::loadResult = kFalse;
  EXPECT_EQ(test::call<uint32_t>(oneOfAKind(), 2), 1u) << "a positive result is no failure";
  OneOfAKind::loadResult = kOk;
}

}  // namespace
}  // namespace vexa::base
