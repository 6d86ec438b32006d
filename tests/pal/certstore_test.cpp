#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "pal/wide.h"
#include "samples.h"

namespace {

using samples::bytes;

const WCHAR kStore[] = PAL_TEXT("VexaPalTest");
constexpr DWORD kAddNew = CERT_STORE_ADD_NEW;
constexpr DWORD kUseExisting = CERT_STORE_ADD_USE_EXISTING;
constexpr DWORD kReplace = CERT_STORE_ADD_REPLACE_EXISTING;

DWORD code(HRESULT error) { return static_cast<DWORD>(error); }

// A context made from DER, freed at the end.
class Loose {
 public:
  explicit Loose(std::string_view sample) : encoded_(bytes(sample)) {
    context_ = CertCreateCertificateContext(X509_ASN_ENCODING, encoded_.data(),
                                            static_cast<DWORD>(encoded_.size()));
  }
  Loose(const Loose&) = delete;
  Loose& operator=(const Loose&) = delete;
  ~Loose() { CertFreeCertificateContext(context_); }
  PCCERT_CONTEXT get() const { return context_; }
  const std::vector<std::uint8_t>& encoded() const { return encoded_; }

 private:
  std::vector<std::uint8_t> encoded_;
  PCCERT_CONTEXT context_;
};

std::u16string nameOf(PCCERT_CONTEXT context) {
  DWORD size = 0;
  if (!CertGetCertificateContextProperty(context, CERT_FRIENDLY_NAME_PROP_ID, nullptr, &size)) {
    return u"";
  }
  std::u16string text(size / 2, u'?');
  CertGetCertificateContextProperty(context, CERT_FRIENDLY_NAME_PROP_ID, text.data(), &size);
  while (!text.empty() && text.back() == u'\0') {
    text.pop_back();
  }
  return text;
}

bool setName(PCCERT_CONTEXT context, std::u16string name) {
  CRYPT_DATA_BLOB blob{static_cast<DWORD>(2 * name.size() + 2),
                       reinterpret_cast<BYTE*>(name.data())};
  return CertSetCertificateContextProperty(context, CERT_FRIENDLY_NAME_PROP_ID, 0, &blob) != FALSE;
}

bool setContainer(PCCERT_CONTEXT context, std::u16string container) {
  std::u16string provider = u"Some Provider";
  CRYPT_KEY_PROV_INFO info{};
  info.pwszContainerName = pal::wide(container.data());
  info.pwszProvName = pal::wide(provider.data());
  info.dwProvType = PROV_RSA_FULL;
  info.dwKeySpec = AT_KEYEXCHANGE;
  return CertSetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, 0, &info) != FALSE;
}

// An empty store of the tests' own, emptied again at the end.
class CertStore : public testing::Test {
 protected:
  void SetUp() override {
    store_ = CertOpenSystemStoreW(0, kStore);
    ASSERT_NE(store_, nullptr);
    empty();
  }
  void TearDown() override {
    empty();
    EXPECT_TRUE(CertCloseStore(store_, 0));
  }

  bool add(const Loose& certificate, DWORD disposition, PCCERT_CONTEXT* stored = nullptr) {
    return CertAddCertificateContextToStore(store_, certificate.get(), disposition, stored) !=
           FALSE;
  }

  std::vector<std::u16string> names() {
    std::vector<std::u16string> result;
    for (PCCERT_CONTEXT at = nullptr; (at = CertEnumCertificatesInStore(store_, at)) != nullptr;) {
      result.push_back(nameOf(at));
    }
    return result;
  }

  void empty() {
    while (PCCERT_CONTEXT first = CertEnumCertificatesInStore(store_, nullptr)) {
      ASSERT_TRUE(CertDeleteCertificateFromStore(first));
    }
  }

  HCERTSTORE store_ = nullptr;
};

}  // namespace

TEST(Certificate, KeepsACopyOfItsEncoding) {
  const Loose one(samples::kOne);
  ASSERT_NE(one.get(), nullptr);
  EXPECT_NE(one.get()->pbCertEncoded, one.encoded().data());
  ASSERT_EQ(one.get()->cbCertEncoded, one.encoded().size());
  EXPECT_EQ(std::memcmp(one.get()->pbCertEncoded, one.encoded().data(), one.encoded().size()), 0);
}

TEST(Certificate, NoPrefixOfACertificateIsOne) {
  const auto whole = bytes(samples::kOne);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::vector<std::uint8_t> cut(whole.begin(),
                                        whole.begin() + static_cast<std::ptrdiff_t>(size));
    SetLastError(0);
    EXPECT_EQ(
        CertCreateCertificateContext(X509_ASN_ENCODING, cut.data(), static_cast<DWORD>(cut.size())),
        nullptr)
        << size;
    EXPECT_EQ(GetLastError() & 0xFFFFF000u, 0x80093000u) << size;
  }
}

TEST(Certificate, OtherBytesAreNone) {
  const BYTE junk[] = {1, 2, 3, 4};
  SetLastError(0);
  EXPECT_EQ(CertCreateCertificateContext(X509_ASN_ENCODING, junk, sizeof(junk)), nullptr);
  EXPECT_EQ(GetLastError(), code(CRYPT_E_ASN1_BADTAG));
}

TEST(Certificate, AnotherEncodingIsRefused) {
  const auto encoded = bytes(samples::kOne);
  SetLastError(0);
  EXPECT_EQ(CertCreateCertificateContext(0, encoded.data(), static_cast<DWORD>(encoded.size())),
            nullptr);
  EXPECT_EQ(GetLastError(), code(E_INVALIDARG));
}

TEST(Certificate, ADuplicateIsTheSameContext) {
  const Loose one(samples::kOne);
  PCCERT_CONTEXT again = CertDuplicateCertificateContext(one.get());
  EXPECT_EQ(again, one.get());
  EXPECT_TRUE(CertFreeCertificateContext(again));
  EXPECT_EQ(CertDuplicateCertificateContext(nullptr), nullptr);
  EXPECT_TRUE(CertFreeCertificateContext(nullptr));
}

TEST(CertificateProperty, IsAbsentAtFirst) {
  const Loose one(samples::kOne);
  DWORD size = 0;
  SetLastError(0);
  EXPECT_FALSE(
      CertGetCertificateContextProperty(one.get(), CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size));
  EXPECT_EQ(GetLastError(), code(CRYPT_E_NOT_FOUND));
}

TEST(CertificateProperty, KeyProviderInfoComesInOneBlock) {
  const Loose one(samples::kOne);
  ASSERT_TRUE(setContainer(one.get(), u"cont"));
  DWORD size = 0;
  ASSERT_TRUE(
      CertGetCertificateContextProperty(one.get(), CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size));
  EXPECT_EQ(size, sizeof(CRYPT_KEY_PROV_INFO) + 2 * 5 + 2 * 14);

  std::vector<std::uint8_t> block(size);
  ASSERT_TRUE(CertGetCertificateContextProperty(one.get(), CERT_KEY_PROV_INFO_PROP_ID, block.data(),
                                                &size));
  CRYPT_KEY_PROV_INFO info;
  std::memcpy(&info, block.data(), sizeof(info));
  EXPECT_EQ(std::u16string(pal::utf16(info.pwszContainerName)), u"cont");
  EXPECT_EQ(std::u16string(pal::utf16(info.pwszProvName)), u"Some Provider");
  EXPECT_GE(reinterpret_cast<BYTE*>(info.pwszContainerName), block.data());
  EXPECT_LT(reinterpret_cast<BYTE*>(info.pwszProvName), block.data() + block.size());
  EXPECT_EQ(info.dwProvType, DWORD{PROV_RSA_FULL});
  EXPECT_EQ(info.dwKeySpec, DWORD{AT_KEYEXCHANGE});
}

TEST(CertificateProperty, ABlockThatIsTooSmallTellsTheSize) {
  const Loose one(samples::kOne);
  ASSERT_TRUE(setName(one.get(), u"Jane"));
  BYTE block[4] = {};
  DWORD size = sizeof(block);
  SetLastError(0);
  EXPECT_FALSE(
      CertGetCertificateContextProperty(one.get(), CERT_FRIENDLY_NAME_PROP_ID, block, &size));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MORE_DATA});
  EXPECT_EQ(size, 10u);
  EXPECT_EQ(block[0], 0);
}

TEST(CertificateProperty, NullDataRemovesIt) {
  const Loose one(samples::kOne);
  ASSERT_TRUE(setName(one.get(), u"Jane"));
  EXPECT_TRUE(CertSetCertificateContextProperty(one.get(), CERT_FRIENDLY_NAME_PROP_ID, 0, nullptr));
  EXPECT_EQ(nameOf(one.get()), u"");
  EXPECT_TRUE(CertSetCertificateContextProperty(one.get(), CERT_FRIENDLY_NAME_PROP_ID, 0, nullptr));
}

TEST_F(CertStore, HandsOutWhatWasAdded) {
  const Loose one(samples::kOne);
  PCCERT_CONTEXT stored = nullptr;
  ASSERT_TRUE(add(one, kAddNew, &stored));
  ASSERT_NE(stored, nullptr);
  EXPECT_NE(stored, one.get());
  EXPECT_EQ(stored->hCertStore, store_);
  CertFreeCertificateContext(stored);

  PCCERT_CONTEXT found = CertEnumCertificatesInStore(store_, nullptr);
  ASSERT_NE(found, nullptr);
  ASSERT_EQ(found->cbCertEncoded, one.encoded().size());
  EXPECT_EQ(std::memcmp(found->pbCertEncoded, one.encoded().data(), one.encoded().size()), 0);
  SetLastError(0);
  EXPECT_EQ(CertEnumCertificatesInStore(store_, found), nullptr);
  EXPECT_EQ(GetLastError(), code(CRYPT_E_NOT_FOUND));
}

TEST_F(CertStore, PropertiesGoInWithTheCertificate) {
  const Loose one(samples::kOne);
  setName(one.get(), u"Jane");
  ASSERT_TRUE(add(one, kReplace));
  EXPECT_EQ(names(), std::vector<std::u16string>{u"Jane"});
}

TEST_F(CertStore, ANewCertificateMayNotBeThere) {
  const Loose one(samples::kOne);
  ASSERT_TRUE(add(one, kAddNew));
  SetLastError(0);
  EXPECT_FALSE(add(one, kAddNew));
  EXPECT_EQ(GetLastError(), code(CRYPT_E_EXISTS));
}

TEST_F(CertStore, AnExistingOneIsUsed) {
  const Loose first(samples::kOne);
  setName(first.get(), u"first");
  const Loose second(samples::kOne);
  setName(second.get(), u"second");
  ASSERT_TRUE(add(first, kUseExisting));
  ASSERT_TRUE(add(second, kUseExisting));
  EXPECT_EQ(names(), std::vector<std::u16string>{u"first"});
}

TEST_F(CertStore, AnExistingOneIsReplaced) {
  const Loose first(samples::kOne);
  setName(first.get(), u"first");
  setContainer(first.get(), u"cont");
  const Loose second(samples::kOne);
  setName(second.get(), u"second");
  ASSERT_TRUE(add(first, kReplace));
  ASSERT_TRUE(add(second, kReplace));
  EXPECT_EQ(names(), std::vector<std::u16string>{u"second"});

  PCCERT_CONTEXT found = CertEnumCertificatesInStore(store_, nullptr);
  DWORD size = 0;
  EXPECT_FALSE(
      CertGetCertificateContextProperty(found, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size));
  CertFreeCertificateContext(found);
}

TEST_F(CertStore, DifferentCertificatesStandSideBySide) {
  ASSERT_TRUE(add(Loose(samples::kOne), kUseExisting));
  ASSERT_TRUE(add(Loose(samples::kTwo), kUseExisting));
  EXPECT_EQ(names().size(), 2u);
}

TEST_F(CertStore, AnotherDispositionIsRefused) {
  const Loose one(samples::kOne);
  SetLastError(0);
  EXPECT_FALSE(add(one, 99));
  EXPECT_EQ(GetLastError(), code(E_INVALIDARG));
}

TEST_F(CertStore, DeletingOneBehindTheEnumerationLeavesTheRest) {
  ASSERT_TRUE(add(Loose(samples::kOne), kUseExisting));
  ASSERT_TRUE(add(Loose(samples::kTwo), kUseExisting));
  PCCERT_CONTEXT first = CertEnumCertificatesInStore(store_, nullptr);
  PCCERT_CONTEXT marked = CertDuplicateCertificateContext(first);
  PCCERT_CONTEXT second = CertEnumCertificatesInStore(store_, first);
  ASSERT_NE(second, nullptr);
  EXPECT_TRUE(CertDeleteCertificateFromStore(marked));
  EXPECT_EQ(CertEnumCertificatesInStore(store_, second), nullptr);
  EXPECT_EQ(names().size(), 1u);
}

TEST_F(CertStore, ADeletedContextStaysUsableForOthers) {
  ASSERT_TRUE(add(Loose(samples::kOne), kUseExisting));
  PCCERT_CONTEXT first = CertEnumCertificatesInStore(store_, nullptr);
  PCCERT_CONTEXT kept = CertDuplicateCertificateContext(first);
  EXPECT_TRUE(CertDeleteCertificateFromStore(first));
  EXPECT_EQ(kept->cbCertEncoded, bytes(samples::kOne).size());
  EXPECT_TRUE(CertDeleteCertificateFromStore(kept)) << "it is gone already, which is no failure";
  EXPECT_TRUE(names().empty());
}

TEST_F(CertStore, ContextsOutliveTheHandle) {
  ASSERT_TRUE(add(Loose(samples::kOne), kUseExisting));
  HCERTSTORE second = CertOpenSystemStoreW(0, kStore);
  PCCERT_CONTEXT found = CertEnumCertificatesInStore(second, nullptr);
  ASSERT_NE(found, nullptr);
  EXPECT_TRUE(CertCloseStore(second, 0));
  EXPECT_EQ(found->cbCertEncoded, bytes(samples::kOne).size());
  EXPECT_TRUE(CertFreeCertificateContext(found));
}

TEST(CertStoreOpening, NeedsAName) {
  SetLastError(0);
  EXPECT_EQ(CertOpenSystemStoreW(0, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), code(E_INVALIDARG));
}

TEST(CertStoreOpening, ClosingNothingSucceeds) { EXPECT_TRUE(CertCloseStore(nullptr, 0)); }

TEST(CertificateChain, OfAStrangersRootIsNotTrusted) {
  const Loose one(samples::kOne);
  CERT_CHAIN_PARA parameters{};
  parameters.cbSize = sizeof(parameters);
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  ASSERT_TRUE(CertGetCertificateChain(nullptr, one.get(), nullptr, nullptr, &parameters, 0, nullptr,
                                      &chain));
  ASSERT_NE(chain, nullptr);
  EXPECT_NE(chain->TrustStatus.dwErrorStatus & CERT_TRUST_IS_UNTRUSTED_ROOT, 0u);

  CERT_CHAIN_POLICY_PARA policy{};
  policy.cbSize = sizeof(policy);
  CERT_CHAIN_POLICY_STATUS status{};
  status.cbSize = sizeof(status);
  EXPECT_TRUE(CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_BASE, chain, &policy, &status));
  EXPECT_EQ(status.dwError, code(CERT_E_UNTRUSTEDROOT));

  SetLastError(0);
  LPCSTR unknown = reinterpret_cast<LPCSTR>(std::uintptr_t{77});
  EXPECT_FALSE(CertVerifyCertificateChainPolicy(unknown, chain, &policy, &status));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
  CertFreeCertificateChain(chain);
}
