#include <gtest/gtest.h>

#include <string>

#include "base/string.h"
#include "support/module_fixture.h"
#include "support/sample_certificates.h"
#include "support/sweep.h"
#include "vexa/certificates.h"
#include "vexa/core.h"

// The certificate functions when memory runs short, over the real runtime.
namespace vexa::test {
namespace {

using runtime::Certificate;

class CertificateMemory : public ModuleTest {
 protected:
  template <class Signature>
  auto* function(int slotNumber) {
    return tableEntry<Signature>(list(kCertificateListName), slotNumber);
  }
  const SampleCertificates& samples = SampleCertificates::instance();
};

TEST_F(CertificateMemory, AnAppendedCertificateIsListedOrNotAtAll) {
  auto* const append =
      function<runtime::CertificateList*(runtime::CertificateList*, Certificate*)>(10);
  const int swept = sweepAllocations(spy, [&] {
    runtime::CertificateList* head = nullptr;
    int count = 0;
    for (Certificate* const certificate : {samples.jane, samples.authority, samples.root}) {
      head = append(head, certificate);
    }
    for (const auto* record = head; record != nullptr; record = record->next) {
      ++count;
    }
    spy.commonTypes.CertificateListRelease(head);
    return count == 3;
  });
  EXPECT_EQ(swept, 3);
}

TEST_F(CertificateMemory, NamesAreCopiedOrTheTextStays) {
  for (const int slotNumber : {11, 12}) {
    auto* const copyName = function<void(Certificate*, runtime::StringObject*)>(slotNumber);
    const int swept = sweepAllocations(spy, [&] {
      base::String name;
      copyName(samples.jane, name.get());
      return !name.empty();
    });
    EXPECT_GE(swept, 1) << slotNumber;
  }
}

TEST_F(CertificateMemory, ACertificateIsDecodedOrNull) {
  // Base64 holds no zero byte, so the text is the whole encoding.
  const auto* const core = list<CoreList>(kCoreListName);
  runtime::ByteBuffer* encoded = nullptr;
  ASSERT_EQ(core->EncodeBase64(samples.jane->table->GetEncoding(samples.jane), &encoded), kOk);
  const std::string text(reinterpret_cast<char*>(encoded->data), encoded->length);
  spy.commonTypes.BufferRelease(encoded);
  auto* const decode = function<void(const char*, Certificate**)>(13);
  const int swept = sweepAllocations(spy, [&] {
    Certificate* certificate = nullptr;
    decode(text.c_str(), &certificate);
    if (certificate == nullptr) {
      return false;
    }
    EXPECT_EQ(spy.commonTypes.CertificateCompare(certificate, samples.jane), 0);
    reinterpret_cast<runtime::Object*>(certificate)
        ->table->Release(reinterpret_cast<runtime::Object*>(certificate));
    return true;
  });
  EXPECT_GE(swept, 2);
}

TEST_F(CertificateMemory, PredicatesAnswerWithoutMemory) {
  sweepAllocations(
      spy,
      [&] {
        for (int slotNumber = 1; slotNumber <= 6; ++slotNumber) {
          for (Certificate* const certificate : {samples.jane, samples.root}) {
            const int32_t answer = function<int32_t(Certificate*)>(slotNumber)(certificate);
            EXPECT_TRUE(answer == 0 || answer == 1) << slotNumber;
          }
        }
        return true;
      },
      Shortage::kMayDoWithout);
}

}  // namespace
}  // namespace vexa::test
