#include "base/certificate_chain.h"

#include "support/bound_fixture.h"
#include "support/fake_certificate.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

using base::appendCertificate;
using base::CertificateList;

class CertificateChain : public BoundTest {
 protected:
  static std::vector<runtime::Certificate*> contentOf(const CertificateList& list) {
    std::vector<runtime::Certificate*> found;
    for (const auto* record = list.get(); record != nullptr; record = record->next) {
      found.push_back(record->certificate);
    }
    return found;
  }

  FakeCertificate first, second;
  uint8_t bytes[2] = {1, 2};
};

TEST_F(CertificateChain, EachCertificateIsListedOnceInItsOrder) {
  first.encoding = {1, &bytes[0]};
  second.encoding = {1, &bytes[1]};
  {
    CertificateList list;
    for (runtime::Certificate* const certificate :
         {first.operator runtime::Certificate*(), second.operator runtime::Certificate*(),
          first.operator runtime::Certificate*(), second.operator runtime::Certificate*()}) {
      EXPECT_EQ(appendCertificate(list, certificate), kOk);
    }
    EXPECT_EQ(contentOf(list), (std::vector<runtime::Certificate*>{first, second}));
    EXPECT_EQ(first.references, 2u);
    EXPECT_EQ(second.references, 2u);
  }
  EXPECT_EQ(first.references, 1u);
  EXPECT_EQ(second.references, 1u);
}

TEST_F(CertificateChain, NullIsNotListed) {
  CertificateList list;
  EXPECT_EQ(appendCertificate(list, nullptr), kOk);
  EXPECT_EQ(list.get(), nullptr);
}

TEST_F(CertificateChain, WithoutMemoryTheListStaysAsItIs) {
  first.encoding = {1, &bytes[0]};
  second.encoding = {1, &bytes[1]};
  CertificateList list;
  EXPECT_EQ(appendCertificate(list, first), kOk);
  spy.failAllocation(1);
  EXPECT_EQ(appendCertificate(list, second), kOutOfMemory);
  EXPECT_EQ(contentOf(list), (std::vector<runtime::Certificate*>{first}));
  EXPECT_EQ(second.references, 1u);
}

}  // namespace
}  // namespace vexa::test
