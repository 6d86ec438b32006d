#include "base/certificate_chain.h"

#include <array>
#include <deque>

#include "support/bound_fixture.h"
#include "support/fake_certificate.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

using base::appendCertificate;
using base::CertificateCollector;
using Certificates = std::vector<runtime::Certificate*>;

int comparisons = 0;

class CertificateChain : public BoundTest {
 protected:
  void SetUp() override {
    BoundTest::SetUp();
    comparisons = 0;
  }

  // A certificate with an encoding of its own, or of an earlier one.
  FakeCertificate& make(std::array<uint8_t, 2> encoding) {
    encodings.push_back(encoding);
    FakeCertificate& certificate = certificates.emplace_back();
    certificate.encoding = {encoding.size(), encodings.back().data()};
    return certificate;
  }
  template <class List>
  static Certificates contentOf(const List& list) {
    Certificates found;
    for (const auto* record = list.get(); record != nullptr; record = record->next) {
      found.push_back(record->certificate);
    }
    return found;
  }
  void countComparisons() {
    static auto* const compare = spy.commonTypes.CertificateCompare;
    spy.commonTypes.CertificateCompare = [](runtime::Certificate* a, runtime::Certificate* b) {
      ++comparisons;
      return compare(a, b);
    };
  }

  std::deque<std::array<uint8_t, 2>> encodings;
  std::deque<FakeCertificate> certificates;
  FakeCertificate& first = make({1, 1});
  FakeCertificate& second = make({1, 2});
};

TEST_F(CertificateChain, EachCertificateIsListedOnceInItsOrder) {
  {
    base::CertificateList list;
    runtime::CertificateList* head = nullptr;
    for (FakeCertificate* const certificate : {&first, &second, &first, &second}) {
      EXPECT_EQ(appendCertificate(&head, *certificate), kOk);
    }
    list.reset(head);
    EXPECT_EQ(contentOf(list), (Certificates{first, second}));
    EXPECT_EQ(first.references, 2u);
    EXPECT_EQ(second.references, 2u);
  }
  EXPECT_EQ(first.references, 1u);
  EXPECT_EQ(second.references, 1u);
}

TEST_F(CertificateChain, NullIsNotListed) {
  runtime::CertificateList* head = nullptr;
  EXPECT_EQ(appendCertificate(&head, nullptr), kOk);
  EXPECT_EQ(head, nullptr);
}

TEST_F(CertificateChain, WithoutMemoryTheListStaysAsItIs) {
  runtime::CertificateList* head = nullptr;
  EXPECT_EQ(appendCertificate(&head, first), kOk);
  spy.failAllocation(1);
  EXPECT_EQ(appendCertificate(&head, second), kOutOfMemory);
  const base::CertificateList list(head);
  EXPECT_EQ(contentOf(list), (Certificates{first}));
  EXPECT_EQ(second.references, 1u);
}

// --- The collector ---

class Collector : public CertificateChain {
 protected:
  void TearDown() override {
    collector = {};
    CertificateChain::TearDown();
  }

  void addAll(std::initializer_list<FakeCertificate*> candidates) {
    for (FakeCertificate* const certificate : candidates) {
      ASSERT_EQ(collector.addCandidate(*certificate), kOk);
    }
    ASSERT_EQ(collector.arrange(), kOk);
  }
  void listAll() {
    for (uint64_t number = 0; number < collector.size(); ++number) {
      EXPECT_EQ(collector.list(number), kOk);
    }
  }

  CertificateCollector collector;
};

TEST_F(Collector, ListsInTheOrderOfTheCallsAndEachOnce) {
  FakeCertificate& third = make({0, 3});
  addAll({&first, &second, &third});
  EXPECT_EQ(collector.list(1), kOk);
  listAll();
  listAll();
  EXPECT_EQ(contentOf(collector), (Certificates{second, first, third}));
  for (const FakeCertificate* const certificate : {&first, &second, &third}) {
    EXPECT_EQ(certificate->references, 2u);
  }
}

TEST_F(Collector, OfEqualOnesTheOneListedFirstStays) {
  FakeCertificate& equal = make({1, 1});
  FakeCertificate& again = make({1, 1});
  addAll({&first, &second, &equal, &again});
  EXPECT_EQ(collector.list(2), kOk);
  listAll();
  EXPECT_EQ(contentOf(collector), (Certificates{equal, second}));
}

TEST_F(Collector, WithoutEncodingsTheRuntimeTellsWhatIsEqual) {
  FakeCertificate& third = make({});
  for (FakeCertificate* const certificate : {&first, &second, &third}) {
    certificate->isEncoded = false;
  }
  addAll({&first, &second, &first, &third, &second});
  listAll();
  EXPECT_EQ(contentOf(collector), (Certificates{first, second, third}));
}

TEST_F(Collector, OnesWithoutAnEncodingStandAmongOthers) {
  FakeCertificate& third = make({1, 3});
  for (FakeCertificate* const bare : {&first, &third}) {
    bare->isEncoded = false;
  }
  addAll({&first, &second, &third, &first, &second, &third});
  listAll();
  EXPECT_EQ(contentOf(collector), (Certificates{first, second, third}));
}

TEST_F(Collector, AnEmptyEncodingAndOneThatIsLongerDiffer) {
  FakeCertificate& empty = make({});
  FakeCertificate& shorter = make({1, 1});
  empty.encoding = {};
  shorter.encoding.length = 1;
  addAll({&first, &empty, &shorter});
  listAll();
  EXPECT_EQ(contentOf(collector), (Certificates{first, empty, shorter}));
}

TEST_F(Collector, ComparesNoMoreThanOnceForEachCertificate) {
  countComparisons();
  constexpr int kCount = 500;
  for (int i = 0; i < kCount; ++i) {
    // Half of them twice.
    FakeCertificate& certificate = make({static_cast<uint8_t>(i % 250), static_cast<uint8_t>(7)});
    ASSERT_EQ(collector.addCandidate(certificate), kOk);
  }
  ASSERT_EQ(collector.arrange(), kOk);
  listAll();
  EXPECT_EQ(contentOf(collector).size(), 250u);
  EXPECT_LE(comparisons, kCount);
}

TEST_F(Collector, SurvivesEveryFailedAllocation) {
  const int needed = sweepAllocations(spy, [this] {
    CertificateCollector own;
    for (int i = 0; i < 20; ++i) {
      if (failed(own.addCandidate(i % 2 == 0 ? first : second))) {
        return false;
      }
    }
    return succeeded(own.arrange()) && succeeded(own.list(0)) && succeeded(own.list(1));
  });
  EXPECT_EQ(needed, 6) << "three blocks of candidates, one for their order, two records";
  EXPECT_EQ(first.references, 1u);
  EXPECT_EQ(second.references, 1u);
}

}  // namespace
}  // namespace vexa::test
