#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "fake_windows_stores.h"
#include "sample_certificates.h"
#include "support/module_fixture.h"
#include "support/sweep.h"
#include "vexa/capi.h"

namespace vexa::test {
namespace {

using runtime::Certificate;
using runtime::CertificateList;
using runtime::KeyObject;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr char16_t kContainer[] = u"box";
constexpr DWORD kError = 0x1234;
constexpr char kErrorText[] = "0x00001234";

std::vector<uint8_t> encodingOf(Certificate* certificate) {
  const runtime::ByteBuffer* const der = certificate->table->GetEncoding(certificate);
  return {der->data, der->data + der->length};
}

class StoreImport : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fake.reset();
    chain[0] = {samples.root, &chain[1], 1};
    chain[1] = {samples.jane, &chain[2], 1};
    chain[2] = {samples.authority, nullptr, 1};
    spy.clearTrace();
  }

  int32_t import(uint32_t checkRoot = 0, const char16_t* container = kContainer) {
    return tableEntry<int32_t(const char16_t*, uint32_t, uint32_t, const KeyObject*,
                              const CertificateList*)>(list(kCapiListName), 1)(
        container, 0x55, checkRoot, samples.janeKey, chain);
  }
  int32_t importAuthorities(uint32_t checkRoot, const CertificateList* certificates) {
    return tableEntry<int32_t(uint32_t, const CertificateList*)>(list(kCapiListName), 2)(
        checkRoot, certificates);
  }
  int32_t deleteOwn(const char16_t* container) {
    return tableEntry<int32_t(const char16_t*)>(list(kCapiListName), 3)(container);
  }
  int32_t importKey(const char16_t* container, const KeyObject* key) {
    return tableEntry<int32_t(const char16_t*, uint32_t, const KeyObject*, Certificate*)>(
        list(kCapiListName), 4)(container, 0x55, key, samples.jane);
  }
  int32_t deleteByIssuer(const char* name) {
    return tableEntry<int32_t(const char*)>(list(kCapiListName), 5)(name);
  }
  // The one message at that level.
  void expectMessage(uint32_t level, const std::string& text) {
    EXPECT_THAT(spy.traceTexts(level), Contains(text));
  }

  const SampleCertificates& samples = SampleCertificates::instance();
  FakeStores& fake = FakeStores::instance();
  CertificateList chain[3]{};
};

// --- The whole import ---

TEST_F(StoreImport, SortsImportsTheAuthoritiesAndThenTheKey) {
  EXPECT_EQ(import(), 0);
  EXPECT_THAT(fake.openedStores, ElementsAre(u"CA", u"MY", u"MY"));
  EXPECT_THAT(fake.addDispositions, ElementsAre(2u, 2u, 3u)) << "use existing, replace existing";
  EXPECT_THAT(fake.left(), ElementsAre(encodingOf(samples.root), encodingOf(samples.authority),
                                       encodingOf(samples.jane)));
  EXPECT_EQ(fake.importFlags, 0x55u);
  ASSERT_GT(fake.importedBlob.size(), 8u);
  EXPECT_EQ(fake.importedBlob[5], 0xA4) << "always a key exchange key";
  EXPECT_TRUE(fake.containers.count(kContainer));
  EXPECT_EQ(fake.chains, 0) << "no chain is built without the check";
}

TEST_F(StoreImport, LeavesOpenExactlyWhatIsMeantToStay) {
  EXPECT_EQ(import(), 0);
  EXPECT_EQ(fake.openStores, 1) << "the last MY";
  EXPECT_THAT(fake.calls, Not(Contains("release provider")));
  EXPECT_THAT(fake.calls, Not(Contains("destroy key")));
  ASSERT_EQ(fake.created.size(), 3u);
  std::vector<int> references;
  for (const auto& certificate : fake.created) {
    references.push_back(certificate.references);
  }
  EXPECT_THAT(references, ElementsAre(0, 0, 1)) << "only the own certificate's context stays";
}

TEST_F(StoreImport, WithoutACertificateOfTheKeyNoStoreIsTouched) {
  chain[1].certificate = nullptr;
  EXPECT_EQ(import(), -1);
  EXPECT_THAT(fake.calls, IsEmpty());
  expectMessage(1, "found no user certificate which belongs to the key");
}

TEST_F(StoreImport, ALaterMatchReplacesAnEarlierOneWhichIsThenNeither) {
  Certificate* const again = decodeAgain(samples.jane);
  chain[0].certificate = again;
  EXPECT_EQ(import(), 0);
  EXPECT_THAT(fake.left(), ElementsAre(encodingOf(samples.authority), encodingOf(samples.jane)));
  auto* const object = reinterpret_cast<runtime::Object*>(again);
  EXPECT_EQ(object->table->Release(object), 0u);
}

TEST_F(StoreImport, AFailedChainEndsItWithItsOwnResult) {
  fake.policyStatus = static_cast<int32_t>(0x800B0109);
  EXPECT_EQ(import(1), kUntrustedRoot);
  expectMessage(3, "Root Certificate not trusted!");
  expectMessage(1, "failed to import the CA chain");
  EXPECT_THAT(fake.left(), ElementsAre(encodingOf(samples.root))) << "the refused root stays";
  EXPECT_THAT(fake.openedStores, ElementsAre(u"CA"));
}

TEST_F(StoreImport, EveryFunctionTracesItsScope) {
  EXPECT_EQ(import(1), 0);
  EXPECT_EQ(deleteOwn(kContainer), 0);
  for (const char* name :
       {"csp_import", "csp_delete_certs", "CspCheckCert", "CspImport", "CspImportKey",
        "CspDeleteOwnCerts", "CspImportCACerts", "aux_convert_RSAPrivateKey_to_PVKBLOB"}) {
    EXPECT_TRUE(spy.traced(std::string("{ ") + name)) << name;
  }
}

// --- Authorities ---

TEST_F(StoreImport, AnEmptyListOfAuthoritiesIsDoneAtOnce) {
  EXPECT_EQ(importAuthorities(1, nullptr), 0);
  EXPECT_THAT(fake.calls, IsEmpty());
}

TEST_F(StoreImport, OnlySelfSignedCertificatesAreCheckedForTrust) {
  chain[1].certificate = samples.authority;
  chain[1].next = nullptr;
  EXPECT_EQ(importAuthorities(1, chain), 0);
  EXPECT_EQ(std::count(fake.calls.begin(), fake.calls.end(), "chain"), 1);
  EXPECT_EQ(fake.chains, 0) << "freed";
  EXPECT_EQ(fake.openStores, 0);
}

TEST_F(StoreImport, TrustNeedsAChainACallAndAStatusThatIsNotNegative) {
  chain[0].next = nullptr;
  const auto check = [this] { return importAuthorities(1, chain); };
  EXPECT_EQ(check(), 0);
  fake.policyStatus = 5;
  EXPECT_EQ(check(), 0) << "positive counts as trusted";
  fake.policyStatus = -1;
  EXPECT_EQ(check(), kUntrustedRoot);
  fake.policyStatus = 0;
  fake.failing["policy"] = kError;
  EXPECT_EQ(check(), kUntrustedRoot);
  fake.failing = {{"chain", kError}};
  EXPECT_EQ(check(), kUntrustedRoot);
  EXPECT_EQ(fake.chains, 0);
  EXPECT_EQ(fake.openStores, 0) << "closed after a refusal too";
  for (const auto& certificate : fake.created) {
    EXPECT_EQ(certificate.references, 0);
  }
}

TEST_F(StoreImport, FailuresOfWindowsLeaveTheAuthorityStoreOpen) {
  const struct {
    const char* call;
    std::string message;
    int openStores;
  } cases[] = {{"open", "CertOpenSystemStore failed (Error: 0x00001234)", 0},
               {"create", "CertCreateCertificateContext failed (Error: 0x00001234)", 1},
               {"add", "CertAddCertificateContextToStore failed (Error: 0x00001234)", 1}};
  for (const auto& [name, message, openStores] : cases) {
    fake.reset();
    spy.clearTrace();
    fake.failing[name] = kError;
    EXPECT_EQ(importAuthorities(0, chain), -1) << name;
    expectMessage(1, message);
    EXPECT_EQ(fake.openStores, openStores) << name;
    for (const auto& certificate : fake.created) {
      EXPECT_EQ(certificate.references, 0);
    }
  }
}

// --- Key and own certificate ---

TEST_F(StoreImport, TheCertificateNamesItsContainerAndProvider) {
  EXPECT_EQ(importKey(kContainer, samples.janeKey), 0);
  ASSERT_EQ(fake.created.size(), 1u);
  EXPECT_EQ(fake.created.front().container, kContainer);
  EXPECT_EQ(fake.created.front().provider, u"Microsoft Enhanced Cryptographic Provider v1.0");
  EXPECT_EQ(fake.lastProviderInfo.dwProvType, 1u);
  EXPECT_EQ(fake.lastProviderInfo.dwFlags, 0u);
  EXPECT_EQ(fake.lastProviderInfo.cProvParam, 0u);
  EXPECT_EQ(fake.lastProviderInfo.dwKeySpec, 1u);
  EXPECT_EQ(fake.created.front().friendlyName, u"Jane");
  EXPECT_EQ(fake.created.front().friendlyNameBytes, 2u * 4 + 2);
  EXPECT_THAT(spy.traceTexts(5),
              ElementsAre("start creating key container box", "Set friendly name Jane"));
}

TEST_F(StoreImport, WithoutAKeyTheProviderIsOurOwnAndNoContainerIsMade) {
  EXPECT_EQ(importKey(kContainer, nullptr), 0);
  EXPECT_EQ(fake.created.front().provider, u"Orlind CSP");
  EXPECT_THAT(fake.acquireFlags, IsEmpty());
  EXPECT_THAT(fake.importedBlob, IsEmpty());
}

TEST_F(StoreImport, ContainersOfThePseAddTheUserToTheFriendlyName) {
  const struct {
    const char16_t* container;
    const char16_t* name;
  } cases[] = {
      {u"\\\\.\\mem://orlind/user\\x", u"Jane (user)"},
      {u"\\\\.\\mem://orlind/user", u"Jane (user)"},
      {u"\\\\.\\mem://orlind/a/b/user\\x\\y", u"Jane (user)"},
      {u"\\\\.\\mem://orlind/", u"Jane"},
      {u"\\\\.\\mem://orlind/\\x", u"Jane"},
      {u"\\\\.\\mem://orlind/\u00FCser\\x", u"Jane (\u00FCser)"},
      {u"\\\\.\\mem://other/user\\x", u"Jane"},
      {u"mem://orlind/user", u"Jane"},
  };
  for (const auto& [container, name] : cases) {
    fake.reset();
    EXPECT_EQ(importKey(container, samples.janeKey), 0);
    EXPECT_EQ(fake.created.front().friendlyName, name);
    EXPECT_EQ(fake.created.front().friendlyNameBytes, 2 * std::u16string(name).size() + 2);
  }
}

TEST_F(StoreImport, WhatTheContainerHeldIsDeletedFirst) {
  fake.add({1}, kContainer);
  fake.add({2}, u"other");
  EXPECT_EQ(importKey(kContainer, samples.janeKey), 0);
  EXPECT_THAT(fake.left(), ElementsAre(std::vector<uint8_t>{2}, encodingOf(samples.jane)));
}

TEST_F(StoreImport, AContainerThatExistsIsDeletedAndMadeAnew) {
  fake.containers.insert(kContainer);
  EXPECT_EQ(importKey(kContainer, samples.janeKey), 0);
  EXPECT_THAT(fake.acquireFlags, ElementsAre(8u, 0x10u, 8u));
}

TEST_F(StoreImport, FailuresOfTheContainerStopTheImport) {
  fake.failing["new container"] = kError;
  EXPECT_EQ(importKey(kContainer, samples.janeKey), -1);
  expectMessage(5, std::string("creating key container box failed with error: ") + kErrorText);
  EXPECT_THAT(fake.left(), IsEmpty());

  fake.reset();
  fake.containers.insert(kContainer);
  fake.failing["delete container"] = kError;
  EXPECT_EQ(importKey(kContainer, samples.janeKey), -1);
  expectMessage(5, "CRYPT_DELETEKEYSET failed");

  fake.reset();
  fake.failing["new container"] = static_cast<DWORD>(NTE_EXISTS);
  fake.containers.insert(kContainer);
  EXPECT_EQ(importKey(kContainer, samples.janeKey), -1);
  expectMessage(5, "CRYPT_NEWKEYSET failed");

  fake.reset();
  fake.failing["import key"] = kError;
  EXPECT_EQ(importKey(kContainer, samples.janeKey), -1);
  expectMessage(5, "creating key in container box failed with error: 00001234");
  EXPECT_TRUE(fake.containers.count(kContainer)) << "nothing is rolled back";
}

TEST_F(StoreImport, OtherFailuresOfWindowsAreNamed) {
  const struct {
    const char* call;
    std::string message;
  } cases[] = {
      {"create", "can not create certificate context, error 0x00001234"},
      {"open", "CertOpenSystemStore failed (Error: 0x00001234)"},
      {"set provider",
       "can not set properties on cert context for own key container, error 0x00001234"},
      {"set name", "Friendly name can not be set"},
      {"add", "import certs into store failed with error 00001234"},
  };
  for (const auto& [name, message] : cases) {
    fake.reset();
    spy.clearTrace();
    fake.failing[name] = kError;
    EXPECT_EQ(importKey(kContainer, samples.janeKey), -1) << name;
    expectMessage(1, message);
  }
}

TEST_F(StoreImport, AKeyThatCannotBeConvertedFailsBeforeAnyStore) {
  spy.commonTypes.RsaPrivateKeyDecode = [](const uint8_t*, uint64_t, runtime::RsaPrivateKey** out) {
    *out = nullptr;
    return kFail;
  };
  EXPECT_EQ(importKey(kContainer, samples.janeKey), -1);
  EXPECT_THAT(fake.calls, IsEmpty());
}

TEST_F(StoreImport, TheBlobIsWipedBeforeItIsFreed) {
  const auto& material = samples.janeKey->privateKey;
  const std::string key(reinterpret_cast<char*>(material.bytes), material.bitLength / 8);
  spy.onFree = [](const uint8_t* block, uint64_t size) {
    EXPECT_FALSE(size >= 12 && std::memcmp(block + 8, "RSA2", 4) == 0);
  };
  EXPECT_EQ(importKey(kContainer, samples.janeKey), 0);
  spy.onFree = nullptr;
}

// --- Deleting ---

TEST_F(StoreImport, EveryCertificateOfTheContainerGoesAndTheContainerToo) {
  fake.containers.insert(kContainer);
  fake.add({1}, kContainer);
  fake.add({2}, kContainer);
  fake.add({3}, u"a much longer name than the first one had");
  fake.add({4}, u"");
  fake.add({5}, u"Box");
  fake.add({6}, kContainer);
  EXPECT_EQ(deleteOwn(kContainer), 0);
  EXPECT_THAT(fake.left(), ElementsAre(std::vector<uint8_t>{3}, std::vector<uint8_t>{4},
                                       std::vector<uint8_t>{5}));
  EXPECT_THAT(fake.containers, IsEmpty());
  EXPECT_THAT(fake.acquireFlags, ElementsAre(0x10u));
  EXPECT_EQ(fake.openStores, 0);
  for (const auto& certificate : fake.stored) {
    EXPECT_EQ(certificate.references, 0);
  }
  const auto texts = spy.traceTexts(5);
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "delete certificate in container box"), 3);
}

TEST_F(StoreImport, DeletingAlwaysAnswers0) {
  fake.failing["open"] = kError;
  EXPECT_EQ(deleteOwn(kContainer), 0);
  expectMessage(5, "Can not open the 'MY' Certificate store");
  EXPECT_EQ(deleteOwn(nullptr), 0);
}

TEST_F(StoreImport, ACertificateThatCannotBeDeletedIsTracedAndTheRestGoes) {
  fake.add({1}, kContainer);
  fake.failing["delete"] = kError;
  EXPECT_EQ(deleteOwn(kContainer), 0);
  expectMessage(5, "Can not delete a Certificate: 0x00001234");
  EXPECT_EQ(fake.left().size(), 1u);
}

TEST_F(StoreImport, AuthoritiesAreDeletedByTheirIssuer) {
  fake.add(encodingOf(samples.jane), u"");
  fake.add(encodingOf(samples.root), u"");
  fake.add(encodingOf(samples.authority), u"");
  fake.add({0x30, 0x00}, u"");  // no certificate
  EXPECT_EQ(deleteByIssuer("CN=Root,O=Orlind"), 0);
  EXPECT_THAT(fake.left(), ElementsAre(encodingOf(samples.jane), std::vector<uint8_t>{0x30, 0x00}));
  EXPECT_THAT(fake.openedStores, ElementsAre(u"CA"));
  EXPECT_EQ(deleteByIssuer("cn=root,o=orlind"), 0);
  EXPECT_EQ(fake.left().size(), 2u) << "compared exactly";
  EXPECT_EQ(deleteByIssuer(nullptr), 0);
  EXPECT_EQ(fake.left().size(), 2u);
  for (const auto& certificate : fake.stored) {
    EXPECT_EQ(certificate.references, 0);
  }
}

TEST_F(StoreImport, AStoreThatCannotBeOpenedFailsTheDeletionByIssuer) {
  fake.failing["open"] = kError;
  EXPECT_EQ(deleteByIssuer("x"), -1);
  expectMessage(5, "Can not open the 'CA' Certificate store");
}

// --- Memory ---

TEST_F(StoreImport, EveryFailedAllocationEndsCleanly) {
  for (uint64_t n = 1; n < 400; ++n) {
    fake.reset();
    fake.add({1}, kContainer);
    const int64_t before = spy.liveBlocks();
    allocation_gate::failAt(n, false);
    const int32_t result = import();
    const bool refused = allocation_gate::refused() != 0;
    allocation_gate::neverFail();
    EXPECT_EQ(spy.liveBlocks(), before) << n;
    if (!refused) {
      EXPECT_EQ(result, 0);
      return;
    }
  }
  ADD_FAILURE() << "too many allocations";
}

}  // namespace
}  // namespace vexa::test
