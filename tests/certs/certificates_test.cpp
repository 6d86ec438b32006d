#include <gtest/gtest.h>

#include <cstring>
#include <utility>
#include <vector>

#include "certs/certificate.h"
#include "raw_certificates.h"
#include "support/fake_certificate.h"
#include "support/module_fixture.h"
#include "support/sample_certificates.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

using runtime::AttributeRequest;
using runtime::Certificate;

uint32_t referencesOf(Certificate* certificate) {
  auto* const object = reinterpret_cast<runtime::Object*>(certificate);
  object->table->AddRef(object);
  return object->table->Release(object);
}

class Certificates : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    container = create(kCertificatesClassName, IID_IContainerRO);
  }
  void TearDown() override {
    if (container != nullptr) {
      raw::release(container);
    }
    ModuleTest::TearDown();
  }
  uint32_t count() {
    uint32_t number = 99;
    EXPECT_EQ(raw::getCount(container, &number), kOk);
    return number;
  }
  void* findOrAdd(Certificate* certificate) {
    void* wrapper = nullptr;
    EXPECT_EQ(raw::findOrAdd(container, certificate, &wrapper), kOk);
    return wrapper;
  }

  const SampleCertificates& samples = SampleCertificates::instance();
  void* container = nullptr;
};

TEST_F(Certificates, FindOrAddTwiceGivesTheSameWrapper) {
  void* first = findOrAdd(samples.jane);
  void* second = findOrAdd(samples.jane);
  EXPECT_EQ(first, second);
  EXPECT_EQ(count(), 1u);
  EXPECT_EQ(raw::release(first), 2u) << "container and second";
  EXPECT_EQ(raw::release(second), 1u);
}

TEST_F(Certificates, EveryWrapperIsFoundAgainNotTheFirstAlone) {
  void* const first = findOrAdd(samples.jane);
  void* const second = findOrAdd(samples.root);
  EXPECT_NE(first, second);
  void* const third = findOrAdd(samples.authority);
  EXPECT_EQ(findOrAdd(samples.authority), third);
  EXPECT_EQ(findOrAdd(samples.root), second);
  EXPECT_EQ(findOrAdd(samples.jane), first);
  EXPECT_EQ(count(), 3u);
  for (void* const wrapper : {first, first, second, second, third, third}) {
    raw::release(wrapper);
  }
}

TEST_F(Certificates, AnotherObjectOfEqualContentGivesTheFirstWrapper) {
  Certificate* const equal = decodeAgain(samples.jane);
  void* first = findOrAdd(samples.jane);
  EXPECT_EQ(findOrAdd(equal), first);
  EXPECT_EQ(count(), 1u);
  EXPECT_EQ(referencesOf(equal), 1u) << "only a new wrapper takes a reference";
  raw::release(first);
  raw::release(first);
  auto* const object = reinterpret_cast<runtime::Object*>(equal);
  object->table->Release(object);
}

TEST_F(Certificates, AWrapperHoldsOneReferenceUntilTheEnd) {
  const uint32_t before = referencesOf(samples.jane);
  void* wrapper = findOrAdd(samples.jane);
  EXPECT_EQ(referencesOf(samples.jane), before + 1);
  raw::release(wrapper);
  EXPECT_EQ(referencesOf(samples.jane), before + 1) << "the container keeps it";
  raw::release(container);
  container = nullptr;
  stop();
  EXPECT_EQ(referencesOf(samples.jane), before);
}

TEST_F(Certificates, ItemsComeInTheOrderOfTheirComing) {
  void* jane = findOrAdd(samples.jane);
  void* root = findOrAdd(samples.root);
  void* item = nullptr;
  ASSERT_EQ(raw::getItem(container, 1u, &item), kOk);
  EXPECT_EQ(item, root);
  EXPECT_EQ(raw::release(item), 2u) << "GetItem added a reference";
  ASSERT_EQ(raw::queryItem(container, 0u, IID_IAttributes, &item), kOk);
  EXPECT_EQ(item, jane);
  raw::release(item);
  raw::release(jane);
  raw::release(root);
}

TEST_F(Certificates, GetItemAtTheCountIsInvalidAndGivesNull) {
  void* wrapper = findOrAdd(samples.jane);
  void* item = this;
  EXPECT_EQ(raw::getItem(container, 1u, &item), kInvalidArgument);
  EXPECT_EQ(item, nullptr);
  EXPECT_EQ(raw::getCount(container, nullptr), kNullPointer);
  raw::release(wrapper);
}

TEST_F(Certificates, FindOrAddRefusesNull) {
  EXPECT_EQ(raw::findOrAdd(container, samples.jane, nullptr), kNullPointer);
  void* wrapper = this;
  EXPECT_EQ(raw::findOrAdd(container, nullptr, &wrapper), kInvalidArgument);
  EXPECT_EQ(wrapper, nullptr);
  EXPECT_EQ(count(), 0u);
}

TEST_F(Certificates, FindOrAddSurvivesEveryFailedAllocation) {
  const uint32_t before = referencesOf(samples.jane);
  for (uint64_t n = 1; n < 10; ++n) {
    allocation_gate::failAt(n, false);
    void* wrapper = nullptr;
    const int32_t result = raw::findOrAdd(container, samples.jane, &wrapper);
    const bool refused = allocation_gate::refused() != 0;
    allocation_gate::neverFail();
    if (refused) {
      EXPECT_EQ(result, kOutOfMemory) << n;
      EXPECT_EQ(wrapper, nullptr);
      EXPECT_EQ(count(), 0u);
      EXPECT_EQ(referencesOf(samples.jane), before);
    } else {
      EXPECT_EQ(result, kOk);
      raw::release(wrapper);
      return;
    }
  }
}

// --- Attributes of one certificate ---

class CertificateAttributes : public Certificates {
 protected:
  void SetUp() override {
    Certificates::SetUp();
    wrapper = findOrAdd(samples.jane);
  }
  void TearDown() override {
    raw::release(wrapper);
    Certificates::TearDown();
  }

  void* wrapper = nullptr;
};

TEST_F(CertificateAttributes, ServesWhatItKnowsAndSaysWhatItDoesNot) {
  AttributeRequest third{56, {}, 7, nullptr};
  AttributeRequest second{99, {}, 7, &third};
  AttributeRequest first{54, {}, 7, &second};
  second.value.blob = {7, reinterpret_cast<uint8_t*>(this)};
  EXPECT_EQ(raw::getAttributes(wrapper, &first), kFalse);
  EXPECT_EQ(first.found, 1);
  EXPECT_STREQ(spy.strings.GetText(&first.value.string), "CN=Authority,O=Orlind");
  EXPECT_EQ(second.found, 0);
  EXPECT_EQ(second.value.pointer, nullptr) << "the first word is cleared all the same";
  EXPECT_EQ(second.value.blob.data, reinterpret_cast<uint8_t*>(this)) << "and nothing behind it";
  EXPECT_EQ(third.found, 1);
  const runtime::ByteBuffer* const der = samples.jane->table->GetEncoding(samples.jane);
  ASSERT_EQ(third.value.blob.length, der->length);
  EXPECT_EQ(std::memcmp(third.value.blob.data, der->data, der->length), 0);
  spy.strings.Clear(&first.value.string);
}

TEST_F(CertificateAttributes, Attribute55IsTheSubjectAndAllServedGives0) {
  AttributeRequest request{55, {}, 0, nullptr};
  EXPECT_EQ(raw::getAttributes(wrapper, &request), kOk);
  EXPECT_EQ(request.found, 1);
  EXPECT_STREQ(spy.strings.GetText(&request.value.string), "CN=Jane,O=Orlind");
  spy.strings.Clear(&request.value.string);
  EXPECT_EQ(raw::getAttributes(wrapper, nullptr), kOk);
}

TEST_F(CertificateAttributes, TheBlobSetterGetsBytesLengthAndCopyFlag0) {
  static runtime::ByteBuffer* target;
  static uint32_t copyFlag;
  spy.encode.SetBlob = [](runtime::ByteBuffer* value, const uint8_t*, uint32_t, uint32_t copy) {
    target = value;
    copyFlag = copy;
    return kOk;
  };
  copyFlag = 99;
  AttributeRequest request{56, {}, 0, nullptr};
  EXPECT_EQ(raw::getAttributes(wrapper, &request), kOk);
  EXPECT_EQ(target, &request.value.blob);
  EXPECT_EQ(copyFlag, 0u);
}

TEST_F(CertificateAttributes, TheFirstFailureIsTheResultAfterTheWalk) {
  AttributeRequest third{54, {}, 7, nullptr};
  AttributeRequest second{99, {}, 7, &third};
  AttributeRequest first{55, {}, 7, &second};
  spy.failAllocation(1);
  EXPECT_EQ(raw::getAttributes(wrapper, &first), kOutOfMemory);
  spy.allowAllocations();
  EXPECT_EQ(first.found, 0);
  EXPECT_EQ(second.found, 0);
  EXPECT_EQ(third.found, 1);
  spy.strings.Clear(&third.value.string);
}

TEST_F(CertificateAttributes, WithoutAnEncodingTheBlobIsNotServed) {
  FakeCertificate fake;
  fake.isEncoded = false;
  int32_t result = kFail;
  auto* const made = base::CComObject<certs::CCertificate>::Create(&result);
  ASSERT_NE(made, nullptr);
  made->AddRef();
  void* const object = static_cast<ICertificate*>(made);
  AttributeRequest request{kDerEncoding, {}, 7, nullptr};
  EXPECT_EQ(raw::getAttributes(object, &request), kFalse) << "nor without a certificate";
  EXPECT_EQ(request.found, 0);
  made->wrap(fake);
  request.found = 7;
  EXPECT_EQ(raw::getAttributes(object, &request), kFalse);
  EXPECT_EQ(request.found, 0);
  EXPECT_EQ(raw::release(object), 0u);
  EXPECT_EQ(fake.references, 1u);
}

TEST_F(CertificateAttributes, AnEncodingMayBeLong) {
  std::vector<uint8_t> der(0x12345, 0x30);
  FakeCertificate fake;
  fake.encoding = {der.size(), der.data()};
  int32_t result = kFail;
  auto* const made = base::CComObject<certs::CCertificate>::Create(&result);
  ASSERT_NE(made, nullptr);
  made->AddRef();
  made->wrap(fake);
  void* const object = static_cast<ICertificate*>(made);
  AttributeRequest request{kDerEncoding, {}, 0, nullptr};
  EXPECT_EQ(raw::getAttributes(object, &request), kOk);
  EXPECT_EQ(request.value.blob.length, der.size());
  EXPECT_EQ(request.value.blob.data, der.data()) << "not copied";
  EXPECT_EQ(raw::release(object), 0u);
}

TEST_F(CertificateAttributes, NothingCanBeWritten) {
  AttributeRequest request{54, {}, 7, nullptr};
  EXPECT_EQ(raw::setAttributes(wrapper, &request), kAccessDenied);
  EXPECT_EQ(request.found, 7);
  EXPECT_EQ(raw::setAttributes(wrapper, nullptr), kAccessDenied);
}

std::pair<Certificate*, Certificate*> compared;

TEST_F(CertificateAttributes, TheRuntimeComparesTheWrappedCertificateWithTheOther) {
  spy.commonTypes.CertificateCompare = [](Certificate* a, Certificate* b) {
    compared = {a, b};
    return 0;
  };
  EXPECT_EQ(raw::isEqual(wrapper, samples.root), 1);
  EXPECT_EQ(compared, std::pair(samples.jane, samples.root));
}

TEST_F(CertificateAttributes, IsEqualComparesContents) {
  Certificate* const equal = decodeAgain(samples.jane);
  EXPECT_EQ(raw::isEqual(wrapper, equal), 1);
  EXPECT_EQ(raw::isEqual(wrapper, samples.root), 0);
  EXPECT_EQ(raw::isEqual(wrapper, nullptr), 0);
  auto* const object = reinterpret_cast<runtime::Object*>(equal);
  object->table->Release(object);
}

TEST_F(CertificateAttributes, SurvivesEveryFailedAllocation) {
  sweepAllocations(spy, [this] {
    AttributeRequest second{55, {}, 0, nullptr};
    AttributeRequest first{54, {}, 0, &second};
    const int32_t result = raw::getAttributes(wrapper, &first);
    EXPECT_EQ(result == kOk, first.found == 1 && second.found == 1);
    spy.strings.Clear(&first.value.string);
    spy.strings.Clear(&second.value.string);
    return result == kOk;
  });
}

}  // namespace
}  // namespace vexa::test
