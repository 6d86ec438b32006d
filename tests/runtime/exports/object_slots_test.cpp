#include <string>
#include <vector>

#include "runtime/crypto_fixture.h"
#include "runtime/samples.h"
#include "support/slot.h"

// What the objects of the runtime have in common, by the numbers of their slots.
namespace vexa::test {
namespace {

class ObjectSlots : public CryptoTest {
 protected:
  void SetUp() override {
    certificate_ = certificate(samples::kRoot);
    ASSERT_EQ(types.ObjectIdFromText("1.2.3", identifier_.put()), kOk);
    uint32_t algorithm = 12;
    uint32_t bits = 256;
    runtime::CipherItem second{
        runtime::kCipherAlgorithm, 0, &algorithm, 0, 0, {}, nullptr, nullptr};
    const runtime::CipherItem first{runtime::kCipherKeyBits, 0, &bits, 0, 0, {}, nullptr, &second};
    runtime::CipherItem out{runtime::kCipherKey, 0, nullptr, 0, 0, {}, nullptr, nullptr};
    ASSERT_EQ(spy.crypt.GenerateKey(&first, &out, algorithm), kOk);
    *key_.put() = static_cast<runtime::SymmetricKey*>(out.value);
    draft_ = draft("CN=x");
    objects_ = {{certificate_.get(), "Certificate"},
                {draft_.get(), "Certificate"},
                {certificate_->table->GetSubject(certificate_.get()), "Name"},
                {identifier_.get(), "ObjectId"},
                {key_.get(), "SymmetricKey"}};
  }
  void TearDown() override {
    certificate_.reset();
    draft_.reset();
    identifier_.reset();
    key_.reset();
    CryptoTest::TearDown();
  }

  struct Each {
    void* object;
    const char* type;
  };
  std::vector<Each> objects_;

 private:
  OwnedCertificate certificate_;
  OwnedCertificate draft_;
  Owned<runtime::ObjectId> identifier_;
  Owned<runtime::SymmetricKey> key_;
};

TEST_F(ObjectSlots, AreCountedFromOne) {
  for (const Each& each : objects_) {
    EXPECT_EQ(call<uint32_t>(each.object, 1), 2u) << each.type;
    EXPECT_EQ(call<uint32_t>(each.object, 1), 3u) << each.type;
    EXPECT_EQ(call<uint32_t>(each.object, 2), 2u) << each.type;
    EXPECT_EQ(call<uint32_t>(each.object, 2), 1u) << each.type;
  }
}

TEST_F(ObjectSlots, HaveTheNameOfTheirType) {
  for (const Each& each : objects_) {
    EXPECT_STREQ(call<const char*>(each.object, 3), each.type);
  }
}

TEST_F(ObjectSlots, AreDuplicatedToAPlaceAlone) {
  for (const Each& each : objects_) {
    EXPECT_EQ(call<int32_t>(each.object, 4, static_cast<void**>(nullptr)), kNullPointer)
        << each.type;
    void* copy = nullptr;
    EXPECT_EQ(call<int32_t>(each.object, 4, &copy), kOk) << each.type;
    ASSERT_NE(copy, nullptr) << each.type;
    EXPECT_EQ(call<uint32_t>(copy, 2), copy == each.object ? 1u : 0u) << each.type;
    EXPECT_EQ(call<uint32_t>(each.object, 1), 2u) << "no reference of the failure is left";
    EXPECT_EQ(call<uint32_t>(each.object, 2), 1u);
  }
}

TEST_F(ObjectSlots, AreNotDuplicatedWithoutMemory) {
  for (const Each& each : objects_) {
    void* copy = each.object;
    spy.failAllocation(1);
    const int32_t result = call<int32_t>(each.object, 4, &copy);
    spy.allowAllocations();
    if (copy == each.object) {
      EXPECT_EQ(result, kOk) << each.type << " is shared";
      EXPECT_EQ(call<uint32_t>(copy, 2), 1u);
    } else {
      EXPECT_EQ(result, kOutOfMemory) << each.type;
      EXPECT_EQ(copy, nullptr) << each.type;
    }
  }
}

TEST_F(ObjectSlots, HaveThreeWithoutAMeaningThatSucceed) {
  void* const none = nullptr;
  for (const Each& each : objects_) {
    EXPECT_EQ(call<int32_t>(each.object, 0, none, none, none), kOk) << each.type;
    EXPECT_EQ(call<int32_t>(each.object, 5, none), kOk) << each.type;
    EXPECT_EQ(call<int32_t>(each.object, 6, none, none, none), kOk) << each.type;
  }
}

}  // namespace
}  // namespace vexa::test
