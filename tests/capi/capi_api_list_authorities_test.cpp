#include <gtest/gtest.h>

#include "capi/windows_store.h"
#include "capi_fixture.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

using Texts = std::vector<std::string>;

constexpr DWORD kUntrustedRootStatus = 0x800B0109;

class AuthorityImport : public CapiTest {
 protected:
  ImportedCertificate a_{"a", 'a'};
  ImportedCertificate b_{"b", 'b'};
  ImportedCertificate root_{"root", 'r', true};
};

TEST_F(AuthorityImport, AnEmptyListIsASuccessWithoutAStore) {
  EXPECT_EQ(importCaCerts(nullptr, 1), 0);
  EXPECT_TRUE(crypt().calls.empty());
  EXPECT_EQ(scopes(), Texts{"CspImportCACerts"});
}

TEST_F(AuthorityImport, EveryCertificateIsAddedInItsOrder) {
  const CertificateChain chain{a_, b_};
  EXPECT_EQ(importCaCerts(chain.get()), 0);
  EXPECT_EQ(crypt().calls,
            (Texts{"CertOpenSystemStoreW CA", "CertCreateCertificateContext a",
                   "CertAddCertificateContextToStore CA a 2", "CertFreeCertificateContext a",
                   "CertCreateCertificateContext b", "CertAddCertificateContextToStore CA b 2",
                   "CertFreeCertificateContext b", "CertCloseStore CA"}));
  EXPECT_EQ(crypt().encodings(u"CA"), (Texts{"a", "b"}));
  EXPECT_EQ(crypt().contexts(), 0);
  EXPECT_EQ(crypt().openStores(), 0);
  EXPECT_EQ(log(), Texts{});
}

TEST_F(AuthorityImport, WhatTheStoreHasStays) {
  crypt().put(u"CA", "a", u"its container");
  const CertificateChain chain{a_};
  EXPECT_EQ(importCaCerts(chain.get()), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"a"});
  EXPECT_NE(crypt().stored(u"CA", 0).key, nullptr);
}

TEST_F(AuthorityImport, WithoutAStoreNothingIsAdded) {
  crypt().fail("CertOpenSystemStoreW", 5);
  const CertificateChain chain{a_};
  EXPECT_EQ(importCaCerts(chain.get()), -1);
  EXPECT_EQ(log(), Texts{"1 CertOpenSystemStore failed (Error: 0x00000005)"});
  EXPECT_EQ(crypt().calls, Texts{"CertOpenSystemStoreW CA"});
}

TEST_F(AuthorityImport, ACertificateThatWindowsRefusesLeavesTheStoreOpen) {
  crypt().fail("CertCreateCertificateContext", 0x8009310B, 2);
  const CertificateChain chain{a_, b_, root_};
  EXPECT_EQ(importCaCerts(chain.get()), -1);
  EXPECT_EQ(log(), Texts{"1 CertCreateCertificateContext failed (Error: 0x8009310b)"});
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"a"});
  EXPECT_EQ(crypt().contexts(), 0);
  EXPECT_EQ(crypt().openStores(), 1);
}

TEST_F(AuthorityImport, ACertificateThatTheStoreRefusesLeavesTheStoreOpen) {
  crypt().fail("CertAddCertificateContextToStore", 0x80070005, 2);
  const CertificateChain chain{a_, root_, b_};
  EXPECT_EQ(importCaCerts(chain.get(), 1), -1);
  EXPECT_EQ(log(), Texts{"1 CertAddCertificateContextToStore failed (Error: 0x80070005)"});
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"a"});
  EXPECT_EQ(crypt().contexts(), 0);
  EXPECT_EQ(crypt().openStores(), 1);
  EXPECT_FALSE(called("CertGetCertificateChain"));
}

TEST_F(AuthorityImport, ACertificateWithoutEncodingIsAFailure) {
  a_.fake.isEncoded = false;
  const CertificateChain chain{a_, b_};
  EXPECT_EQ(importCaCerts(chain.get()), -1);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{});
  EXPECT_EQ(crypt().openStores(), 1);
}

// --- Trust ---

TEST_F(AuthorityImport, WithoutTheCheckNoChainIsBuilt) {
  crypt().policyError = kUntrustedRootStatus;
  const CertificateChain chain{root_};
  EXPECT_EQ(importCaCerts(chain.get(), 0), 0);
  EXPECT_FALSE(called("CertGetCertificateChain"));
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"root"});
}

TEST_F(AuthorityImport, OnlySelfSignedCertificatesAreChecked) {
  crypt().policyError = kUntrustedRootStatus;
  const CertificateChain chain{a_, b_};
  EXPECT_EQ(importCaCerts(chain.get(), 1), 0);
  EXPECT_FALSE(called("CertGetCertificateChain"));
}

TEST_F(AuthorityImport, ATrustedRootIsAddedBeforeItIsChecked) {
  const CertificateChain chain{root_, a_};
  EXPECT_EQ(importCaCerts(chain.get(), 7), 0);
  EXPECT_EQ(crypt().calls,
            (Texts{"CertOpenSystemStoreW CA", "CertCreateCertificateContext root",
                   "CertAddCertificateContextToStore CA root 2", "CertGetCertificateChain",
                   "CertVerifyCertificateChainPolicy", "CertFreeCertificateChain",
                   "CertFreeCertificateContext root", "CertCreateCertificateContext a",
                   "CertAddCertificateContextToStore CA a 2", "CertFreeCertificateContext a",
                   "CertCloseStore CA"}));
  EXPECT_EQ(log(), Texts{});
  EXPECT_EQ(scopes(), (Texts{"CspImportCACerts", "CspCheckCert"}));
}

TEST_F(AuthorityImport, AnUntrustedRootStopsTheImportAndStays) {
  crypt().policyError = kUntrustedRootStatus;
  const CertificateChain chain{a_, root_, b_};
  EXPECT_EQ(importCaCerts(chain.get(), 1), static_cast<int32_t>(0x80000042));
  EXPECT_EQ(log(), Texts{"3 Root Certificate not trusted!"});
  EXPECT_EQ(crypt().encodings(u"CA"), (Texts{"a", "root"}));
  EXPECT_EQ(crypt().contexts(), 0);
  EXPECT_EQ(crypt().openStores(), 0);
  EXPECT_EQ(spy.traceTexts().back(), "} 80000042");
}

TEST_F(AuthorityImport, TheChainIsAskedForPlainly) {
  const CertificateChain chain{root_};
  EXPECT_EQ(importCaCerts(chain.get(), 1), 0);
  ASSERT_EQ(crypt().chains.size(), 1u);
  const FakeCrypt::ChainCall& call = crypt().chains[0];
  EXPECT_TRUE(call.plain);
  EXPECT_EQ(call.parameterSize, 32u);
  EXPECT_EQ(call.flags, 0u);
  EXPECT_EQ(call.policy, 1u);  // CERT_CHAIN_POLICY_BASE
  EXPECT_EQ(call.policySize, 16u);
  EXPECT_EQ(call.statusSize, 24u);
}

struct TrustCase {
  const char* name;
  const char* failing;  // function, or null
  bool givesChain;
  DWORD policyError;
  int32_t trusted;
};
void PrintTo(const TrustCase& tested, std::ostream* out) { *out << tested.name; }

class Trust : public CapiTest, public testing::WithParamInterface<TrustCase> {};

TEST_P(Trust, IsWhatWindowsSays) {
  crypt().givesChain = GetParam().givesChain;
  crypt().policyError = GetParam().policyError;
  if (GetParam().failing != nullptr) {
    crypt().fail(GetParam().failing, 87);
  }
  const BYTE der[] = {'x'};
  const PCCERT_CONTEXT context = crypt().createContext(X509_ASN_ENCODING, der, sizeof(der));
  EXPECT_EQ(capi::CspCheckCert(context), GetParam().trusted);
  EXPECT_EQ(crypt().openChains(), 0);
  EXPECT_EQ(crypt().contexts(), 1);
  EXPECT_EQ(log(), Texts{});
}

INSTANTIATE_TEST_SUITE_P(
    Answers, Trust,
    testing::Values(TrustCase{"NoError", nullptr, true, 0, 1},
                    TrustCase{"AnErrorThatIsNotNegative", nullptr, true, 0x7FFFFFFF, 1},
                    TrustCase{"UntrustedRoot", nullptr, true, kUntrustedRootStatus, 0},
                    TrustCase{"AnyNegativeError", nullptr, true, 0x80000000, 0},
                    TrustCase{"NoChain", nullptr, false, 0, 0},
                    TrustCase{"TheChainFails", "CertGetCertificateChain", true, 0, 0},
                    TrustCase{"ThePolicyFails", "CertVerifyCertificateChainPolicy", true, 0, 0}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace vexa::test
