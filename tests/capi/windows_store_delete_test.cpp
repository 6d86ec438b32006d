#include <gtest/gtest.h>

#include "capi/windows_store.h"
#include "capi_fixture.h"
#include "support/sample_certificates.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

using Texts = std::vector<std::string>;

class StoreDelete : public CapiTest {
 protected:
  // Nothing of the search stays open.
  void TearDown() override {
    EXPECT_EQ(crypt().contexts(), 0);
    EXPECT_EQ(crypt().openStores(), 0);
    EXPECT_EQ(crypt().openProviders(), 0);
    CapiTest::TearDown();
  }

  static std::string encodingOf(runtime::Certificate* certificate) {
    const runtime::ByteBuffer* const der = certificate->table->GetEncoding(certificate);
    return {reinterpret_cast<const char*>(der->data), der->length};
  }
};

// Letters are the certificates of one store; capitals have a key in the container.
class DeletePattern : public StoreDelete, public testing::WithParamInterface<const char*> {};

TEST_P(DeletePattern, DeletesEveryMatchAndNothingElse) {
  Texts others;
  size_t matches = 0;
  for (const char* letter = GetParam(); *letter != '\0'; ++letter) {
    const bool isMatch = *letter >= 'A' && *letter <= 'Z';
    crypt().put(u"MY", std::string(1, *letter), isMatch ? u"box" : u"another");
    if (isMatch) {
      ++matches;
    } else {
      others.emplace_back(1, *letter);
    }
  }
  EXPECT_EQ(capi::csp_delete_certs(u"MY", u"box", nullptr), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), others);
  EXPECT_EQ(log(), Texts(matches, "5 delete certificate in container box"));
}

INSTANTIATE_TEST_SUITE_P(Stores, DeletePattern,
                         testing::Values("", "a", "A", "aB", "Ab", "AB", "aBCd", "ABcD", "abcD",
                                         "Abcd", "ABCD", "aBcDe", "AbC"));

TEST_F(StoreDelete, ADeletionIsOneStepBehindTheEnumeration) {
  crypt().put(u"MY", "A", u"box");
  crypt().put(u"MY", "B", u"box");
  EXPECT_EQ(capi::csp_delete_certs(u"MY", u"box", nullptr), 0);
  Texts calls;
  for (const std::string& call : crypt().calls) {
    if (!call.starts_with("CertGetCertificateContextProperty")) {
      calls.push_back(call);
    }
  }
  EXPECT_EQ(calls, (Texts{"CertOpenSystemStoreW MY", "CertEnumCertificatesInStore",
                          "CertDuplicateCertificateContext A", "CertEnumCertificatesInStore",
                          "CertDeleteCertificateFromStore A", "CertDuplicateCertificateContext B",
                          "CertEnumCertificatesInStore", "CertDeleteCertificateFromStore B",
                          "CertCloseStore MY"}));
  EXPECT_EQ(scopes(), Texts{"csp_delete_certs"});
}

TEST_F(StoreDelete, OnlyTheExactContainerMatches) {
  for (const char16_t* container : {u"Box", u"box ", u"bo", u"boxes", u" box"}) {
    crypt().put(u"MY", "other", container);
  }
  crypt().put(u"MY", "without a key");
  crypt().put(u"MY", "match", u"box");
  EXPECT_EQ(capi::csp_delete_certs(u"MY", u"box", nullptr), 0);
  EXPECT_EQ(crypt().encodings(u"MY").size(), 6u);
  EXPECT_EQ(crypt().encodings(u"MY").back(), "without a key");
}

TEST_F(StoreDelete, TheBufferGrowsWithTheNames) {
  for (size_t length = 1; length < 3000; length *= 3) {
    crypt().put(u"MY", "long", std::u16string(length, u'x'));
    crypt().put(u"MY", "short", u"box");
  }
  EXPECT_EQ(capi::csp_delete_certs(u"MY", u"box", nullptr), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), Texts(8, "long"));
}

TEST_F(StoreDelete, APropertyThatCannotBeReadIsNoMatch) {
  crypt().put(u"MY", "A", u"box");
  crypt().put(u"MY", "B", u"box");
  crypt().fail("CertGetCertificateContextProperty", 5, 2);
  EXPECT_EQ(capi::csp_delete_certs(u"MY", u"box", nullptr), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"A"});
}

TEST_F(StoreDelete, APropertyWithoutAContainerIsNoMatch) {
  crypt().put(u"MY", "A", u"box");
  crypt().namesContainers = false;
  EXPECT_EQ(capi::csp_delete_certs(u"MY", u"box", nullptr), 0);
  EXPECT_EQ(capi::csp_delete_certs(u"MY", u"", nullptr), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"A"});
}

TEST_F(StoreDelete, APropertyThatIsCutOffIsNoMatch) {
  crypt().put(u"MY", "A", u"box");
  crypt().cutsPropertiesOff = true;
  EXPECT_EQ(capi::csp_delete_certs(u"MY", u"box", nullptr), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"A"});
}

TEST_F(StoreDelete, TheBufferGrowsOnlyWhenItMust) {
  const auto allocationsFor = [this](int certificates) {
    crypt().reset();
    for (int i = 0; i < certificates; ++i) {
      crypt().put(u"MY", std::to_string(i), u"another");
    }
    const uint64_t before = spy.allocations();
    EXPECT_EQ(capi::csp_delete_certs(u"MY", u"box", nullptr), 0);
    return spy.allocations() - before;
  };
  EXPECT_EQ(allocationsFor(1), allocationsFor(0) + 1);
  EXPECT_EQ(allocationsFor(5), allocationsFor(1));
}

TEST_F(StoreDelete, ADeletionThatFailsIsTracedAndNothingElse) {
  for (const char* encoding : {"A", "B", "C"}) {
    crypt().put(u"MY", encoding, u"box");
  }
  crypt().fail("CertDeleteCertificateFromStore", 0x80070005, 2);
  EXPECT_EQ(capi::csp_delete_certs(u"MY", u"box", nullptr), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"B"});
  const std::string deletes = "5 delete certificate in container box";
  EXPECT_EQ(log(),
            (Texts{deletes, deletes, "5 Can not delete a Certificate: 0x80070005", deletes}));
}

TEST_F(StoreDelete, AStoreThatCannotBeOpenedIsAFailure) {
  crypt().fail("CertOpenSystemStoreW", 5);
  EXPECT_EQ(capi::csp_delete_certs(u"MY", u"box", nullptr), -1);
  EXPECT_EQ(log(), Texts{"5 Can not open the 'MY' Certificate store"});
}

TEST_F(StoreDelete, WithoutContainerAndFilterNothingMatches) {
  crypt().put(u"MY", "a", u"box");
  crypt().put(u"MY", "b");
  EXPECT_EQ(capi::csp_delete_certs(u"MY", nullptr, nullptr), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), (Texts{"a", "b"}));
}

TEST_F(StoreDelete, ShortMemoryIsAFailureThatLosesNothing) {
  int runs = 0;
  sweepAllocations(
      spy,
      [&] {
        crypt().reset();
        ++runs;
        crypt().put(u"MY", "A", u"box");
        crypt().put(u"MY", "b", u"a longer name");
        crypt().put(u"MY", "C", u"box");
        const int32_t result = capi::csp_delete_certs(u"MY", u"box", nullptr);
        EXPECT_TRUE(result == 0 || result == -1) << result;
        EXPECT_TRUE(result != 0 || crypt().encodings(u"MY") == Texts{"b"}) << "a match was missed";
        EXPECT_EQ(crypt().contexts(), 0);
        EXPECT_EQ(crypt().openStores(), 0);
        EXPECT_EQ(crypt().errors(), Texts{});
        return result == 0;
      },
      Shortage::kMayDoWithout);
  EXPECT_GT(runs, 2);
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"b"});
}

// --- Own certificates ---

TEST_F(StoreDelete, OwnCertificatesGoWithTheirContainer) {
  crypt().put(u"MY", "A", u"box");
  crypt().put(u"MY", "b", u"another");
  crypt().put(u"CA", "C", u"box");
  crypt().containers[u"box"].blob = "key";
  crypt().containers[u"another"].blob = "key";
  EXPECT_EQ(deleteOwnCerts(u"box"), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"b"});
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"C"});
  EXPECT_EQ(crypt().containers.count(u"box"), 0u);
  EXPECT_EQ(crypt().containers.count(u"another"), 1u);
  EXPECT_EQ(crypt().calls.back(), "CryptAcquireContextW box 16");
  EXPECT_EQ(scopes(), (Texts{"CspDeleteOwnCerts", "csp_delete_certs"}));
}

TEST_F(StoreDelete, DeletingOwnCertificatesNeverFails) {
  EXPECT_EQ(deleteOwnCerts(u"no such box"), 0);
  crypt().containers[u"box"].blob = "key";
  crypt().fail("CertOpenSystemStoreW", 5);
  EXPECT_EQ(deleteOwnCerts(u"box"), 0);
  EXPECT_TRUE(crypt().containers.empty());
}

TEST_F(StoreDelete, NoContainerIsNobodysContainer) {
  crypt().put(u"MY", "a", u"box");
  crypt().put(u"MY", "b");
  EXPECT_EQ(deleteOwnCerts(nullptr), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), (Texts{"a", "b"}));
  EXPECT_FALSE(called("CryptAcquireContextW"));
}

// --- Authorities by their issuer's name, with real certificates ---

class AuthorityDelete : public StoreDelete {
 protected:
  void SetUp() override {
    StoreDelete::SetUp();
    const SampleCertificates& samples = SampleCertificates::instance();
    jane_ = encodingOf(samples.jane);
    authority_ = encodingOf(samples.authority);
    root_ = encodingOf(samples.root);
  }

  std::string jane_, authority_, root_;  // Jane is issued by Authority, both others by Root
};

TEST_F(AuthorityDelete, TheIssuerDecides) {
  for (const std::string& encoding : {root_, authority_, jane_}) {
    crypt().put(u"CA", encoding);
  }
  crypt().put(u"MY", root_);
  EXPECT_EQ(deleteCaCertsByName("CN=Root,O=Orlind"), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{jane_});
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{root_});
  EXPECT_EQ(scopes(), Texts{"csp_delete_certs"});
  EXPECT_EQ(log(), Texts{});
}

TEST_F(AuthorityDelete, TheLastOneIsDeletedAfterTheEnumerationsEnd) {
  crypt().put(u"CA", root_);
  crypt().put(u"CA", jane_);
  EXPECT_EQ(deleteCaCertsByName("CN=Authority,O=Orlind"), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{root_});
}

TEST_F(AuthorityDelete, TheNameIsComparedExactly) {
  crypt().put(u"CA", jane_);
  for (const char* name : {"cn=authority,o=orlind", "CN=Authority", "CN=Authority,O=Orlind ",
                           "CN=Jane,O=Orlind", ""}) {
    EXPECT_EQ(deleteCaCertsByName(name), 0);
    EXPECT_EQ(crypt().encodings(u"CA"), Texts{jane_}) << name;
  }
}

TEST_F(AuthorityDelete, WhatTheRuntimeCannotDecodeStays) {
  crypt().put(u"CA", "no certificate", u"box");
  crypt().put(u"CA", authority_);
  EXPECT_EQ(deleteCaCertsByName("CN=Root,O=Orlind"), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"no certificate"});
}

TEST_F(AuthorityDelete, WhatTheRuntimeDecodesToNothingStays) {
  spy.commonTypes.CertificateDecode = [](const runtime::ByteBuffer*, runtime::Certificate** out) {
    *out = nullptr;
    return kOk;
  };
  crypt().put(u"CA", authority_);
  EXPECT_EQ(deleteCaCertsByName("CN=Root,O=Orlind"), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{authority_});
}

TEST_F(AuthorityDelete, AnIssuerThatCannotBeReadIsAFailure) {
  spy.commonTypes.StringCopy = [](runtime::StringObject*, runtime::Name*) { return kOutOfMemory; };
  crypt().put(u"CA", authority_);
  EXPECT_EQ(deleteCaCertsByName("CN=Root,O=Orlind"), -1);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{authority_});
}

TEST_F(AuthorityDelete, WhereMemoryIsShortTheSearchEnds) {
  static int copies;
  copies = 0;
  static auto* const copy = spy.commonTypes.StringCopy;
  spy.commonTypes.StringCopy = [](runtime::StringObject* target, runtime::Name* name) {
    return ++copies == 2 ? kOutOfMemory : copy(target, name);
  };
  for (const std::string& encoding : {root_, jane_, authority_}) {
    crypt().put(u"CA", encoding);
  }
  EXPECT_EQ(deleteCaCertsByName("CN=Root,O=Orlind"), -1);
  EXPECT_EQ(crypt().encodings(u"CA"), (Texts{jane_, authority_})) << "what was found goes";
}

TEST_F(AuthorityDelete, WithoutMemoryForTheNameNoStoreIsOpened) {
  crypt().put(u"CA", authority_);
  spy.failAllocation(1);
  EXPECT_EQ(deleteCaCertsByName("CN=Root,O=Orlind"), -1);
  spy.allowAllocations();
  EXPECT_TRUE(crypt().calls.empty());
}

TEST_F(AuthorityDelete, NoNameDeletesNothing) {
  crypt().put(u"CA", authority_, u"box");
  EXPECT_EQ(deleteCaCertsByName(nullptr), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{authority_});
}

TEST_F(AuthorityDelete, AFilterGoesBeforeAContainer) {
  crypt().put(u"CA", authority_, u"another");
  crypt().put(u"CA", jane_, u"box");
  EXPECT_EQ(capi::csp_delete_certs(u"CA", u"box", "CN=Root,O=Orlind"), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{jane_});
}

TEST_F(AuthorityDelete, AStoreThatCannotBeOpenedIsAFailure) {
  crypt().fail("CertOpenSystemStoreW", 5);
  EXPECT_EQ(deleteCaCertsByName("CN=Root,O=Orlind"), -1);
  EXPECT_EQ(log(), Texts{"5 Can not open the 'CA' Certificate store"});
}

TEST_F(AuthorityDelete, ShortMemoryLosesNothing) {
  sweepAllocations(
      spy,
      [&] {
        crypt().reset();
        for (const std::string& encoding : {root_, jane_, authority_}) {
          crypt().put(u"CA", encoding);
        }
        const int32_t result = deleteCaCertsByName("CN=Root,O=Orlind");
        EXPECT_TRUE(result == 0 || result == -1) << result;
        EXPECT_EQ(crypt().contexts(), 0);
        EXPECT_EQ(crypt().openStores(), 0);
        return result == 0;
      },
      Shortage::kMayDoWithout);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{jane_});
}

}  // namespace
}  // namespace vexa::test
