#include <gtest/gtest.h>

#include <cstring>

#include "capi/windows_store.h"
#include "capi_fixture.h"

namespace vexa::test {
namespace {

using Texts = std::vector<std::string>;

const std::u16string kEnhanced = u"Microsoft Enhanced Cryptographic Provider v1.0";

class KeyImport : public CapiTest {
 protected:
  void SetUp() override {
    CapiTest::SetUp();
    jane_.name("Jane");
  }

  std::u16string friendlyName(size_t index = 0) const {
    const auto& bytes = crypt().stored(u"MY", index).friendlyName;
    EXPECT_EQ(bytes.size() % 2, 0u);
    std::u16string text(bytes.size() / 2, u'\0');
    std::memcpy(text.data(), bytes.data(), bytes.size());
    return text;
  }

  ImportedCertificate jane_{"jane", 'k'};
};

TEST_F(KeyImport, MakesAContainerAndAddsTheCertificate) {
  EXPECT_EQ(importKey(u"box", key(), jane_, CRYPT_EXPORTABLE), 0);
  EXPECT_EQ(crypt().calls,
            (Texts{"CertOpenSystemStoreW MY", "CertEnumCertificatesInStore", "CertCloseStore MY",
                   "CertCreateCertificateContext jane", "CertOpenSystemStoreW MY",
                   "CryptAcquireContextW box 8", "CryptImportKey 29",
                   "CertSetCertificateContextProperty 2", "CertSetCertificateContextProperty 11",
                   "CertAddCertificateContextToStore MY jane 3"}));
  EXPECT_EQ(log(), (Texts{"5 start creating key container box", "5 Set friendly name Jane"}));
  EXPECT_EQ(scopes(), (Texts{"CspImportKey", "aux_convert_RSAPrivateKey_to_PVKBLOB", "csp_import",
                             "csp_delete_certs"}));
}

TEST_F(KeyImport, LeavesOpenWhatItOpened) {
  EXPECT_EQ(importKey(u"box", key(), jane_), 0);
  EXPECT_EQ(crypt().contexts(), 1);
  EXPECT_EQ(crypt().openStores(), 1);
  EXPECT_EQ(crypt().openProviders(), 1);
  EXPECT_EQ(crypt().openKeys(), 1);
}

TEST_F(KeyImport, TellsTheStoreWhereTheKeyLies) {
  EXPECT_EQ(importKey(u"box", key(), jane_), 0);
  ASSERT_NE(crypt().stored(u"MY", 0).key, nullptr);
  EXPECT_EQ(*crypt().stored(u"MY", 0).key, (KeyInfo{u"box", kEnhanced, 1, 0, 0, 1}));
}

TEST_F(KeyImport, TheBlobIsAlwaysForKeyExchange) {
  EXPECT_EQ(importKey(u"box", key(), jane_, 0x4001), 0);
  EXPECT_EQ(decodedBytes, (std::vector<uint8_t>{1, 2, 3}));  // the bits' worth of bytes
  const FakeCrypt::Container& container = crypt().containers[u"box"];
  ASSERT_EQ(container.blob.size(), 20u + 2 + 5 + 2);
  EXPECT_EQ(container.blob.substr(0, 12), std::string("\x07\x02\0\0\x00\xA4\0\0RSA2", 12));
  EXPECT_EQ(container.blob.substr(12, 10), std::string("\x10\0\0\0\x01\0\x01\0\xA1\x0F", 10));
  EXPECT_EQ(container.importFlags, 0x4001u);
  EXPECT_EQ(container.publicKey, 0u);
}

TEST_F(KeyImport, WithoutAKeyOnlyTheCertificateIsAdded) {
  EXPECT_EQ(importKey(u"box", nullptr, jane_), 0);
  EXPECT_FALSE(called("Crypt"));
  ASSERT_NE(crypt().stored(u"MY", 0).key, nullptr);
  EXPECT_EQ(*crypt().stored(u"MY", 0).key, (KeyInfo{u"box", u"Orlind CSP", 1, 0, 0, 1}));
  EXPECT_EQ(friendlyName(), std::u16string(u"Jane\0", 5));
  EXPECT_EQ(crypt().contexts(), 1);
  EXPECT_EQ(crypt().openStores(), 1);
  EXPECT_EQ(scopes(), (Texts{"CspImportKey", "csp_import", "csp_delete_certs"}));
}

TEST_F(KeyImport, WhatTheContainerHadIsDeletedFirst) {
  crypt().put(u"MY", "old", u"box");
  crypt().put(u"MY", "other", u"another box");
  EXPECT_EQ(importKey(u"box", key(), jane_), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), (Texts{"other", "jane"}));
}

TEST_F(KeyImport, TheSameCertificateIsReplaced) {
  crypt().put(u"MY", "jane", u"another box");
  EXPECT_EQ(importKey(u"box", key(), jane_), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"jane"});
  EXPECT_EQ(crypt().stored(u"MY", 0).key->container, u"box");
}

TEST_F(KeyImport, ADeletionThatFailsDoesNotMatter) {
  crypt().fail("CertOpenSystemStoreW", 5, 1);
  EXPECT_EQ(importKey(u"box", key(), jane_), 0);
  EXPECT_EQ(log(),
            (Texts{"5 start creating key container box",
                   "5 Can not open the 'MY' Certificate store", "5 Set friendly name Jane"}));
}

TEST_F(KeyImport, AContainerThatExistsIsMadeAnew) {
  crypt().containers[u"box"].blob = "old key";
  EXPECT_EQ(importKey(u"box", key(), jane_), 0);
  Texts acquired;
  for (const std::string& call : crypt().calls) {
    if (call.starts_with("CryptAcquireContextW")) {
      acquired.push_back(call);
    }
  }
  EXPECT_EQ(acquired, (Texts{"CryptAcquireContextW box 8", "CryptAcquireContextW box 16",
                             "CryptAcquireContextW box 8"}));
  EXPECT_EQ(crypt().containers[u"box"].blob.size(), 29u);
  EXPECT_EQ(log(), (Texts{"5 start creating key container box", "5 Set friendly name Jane"}));
}

TEST_F(KeyImport, TextsAreTracedInUtf8) {
  jane_.name("J\xC3\xBCrgen");
  EXPECT_EQ(importKey(u"b\u00F6x", nullptr, jane_), 0);
  EXPECT_EQ(log(), (Texts{"5 start creating key container b\xC3\xB6x",
                          "5 Set friendly name J\xC3\xBCrgen"}));
}

// --- Failures ---

struct FailureCase {
  const char* name;
  const char* function;
  int call;
  DWORD error;
  const char* message;
  int contexts, stores, providers, keys;  // left open
};
void PrintTo(const FailureCase& tested, std::ostream* out) { *out << tested.name; }

class KeyImportFailure : public KeyImport, public testing::WithParamInterface<FailureCase> {};

TEST_P(KeyImportFailure, EndsTheImport) {
  const FailureCase& tested = GetParam();
  crypt().fail(tested.function, tested.error, tested.call);
  EXPECT_EQ(importKey(u"box", key(), jane_), -1);
  EXPECT_EQ(log().back(), tested.message);
  EXPECT_EQ(spy.traceTexts().back(), "} ffffffff");
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{});
  EXPECT_EQ(crypt().contexts(), tested.contexts);
  EXPECT_EQ(crypt().openStores(), tested.stores);
  EXPECT_EQ(crypt().openProviders(), tested.providers);
  EXPECT_EQ(crypt().openKeys(), tested.keys);
  // The call that failed was the last one.
  EXPECT_TRUE(crypt().calls.back().starts_with(tested.function)) << crypt().calls.back();
}

INSTANTIATE_TEST_SUITE_P(
    Steps, KeyImportFailure,
    testing::Values(
        FailureCase{"TheCertificate", "CertCreateCertificateContext", 1, 0x8009310B,
                    "1 can not create certificate context, error 0x8009310b", 0, 0, 0, 0},
        FailureCase{"TheStore", "CertOpenSystemStoreW", 2, 5,
                    "1 CertOpenSystemStore failed (Error: 0x00000005)", 1, 0, 0, 0},
        FailureCase{"TheContainer", "CryptAcquireContextW", 1, 0x80090016,
                    "5 creating key container box failed with error: 0x80090016", 1, 1, 0, 0},
        FailureCase{"TheKey", "CryptImportKey", 1, 0x90005,
                    "5 creating key in container box failed with error: 00090005", 1, 1, 1, 0},
        FailureCase{"TheKeysPlace", "CertSetCertificateContextProperty", 1, 0x80070057,
                    "1 can not set properties on cert context for own key container, error "
                    "0x80070057",
                    1, 1, 1, 1},
        FailureCase{"TheFriendlyName", "CertSetCertificateContextProperty", 2, 0x80070057,
                    "1 Friendly name can not be set", 1, 1, 1, 1},
        FailureCase{"TheAddition", "CertAddCertificateContextToStore", 1, 0x80070005,
                    "1 import certs into store failed with error 80070005", 1, 1, 1, 1}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(KeyImport, AContainerThatCannotBeDeletedEndsTheImport) {
  crypt().containers[u"box"].blob = "old key";
  crypt().fail("CryptAcquireContextW", 0x80090010, 2);
  EXPECT_EQ(importKey(u"box", key(), jane_), -1);
  EXPECT_EQ(log().back(), "5 CRYPT_DELETEKEYSET failed");
  EXPECT_EQ(crypt().containers[u"box"].blob, "old key");
  EXPECT_FALSE(called("CryptImportKey"));
}

TEST_F(KeyImport, AContainerThatCannotBeMadeAnewEndsTheImport) {
  crypt().containers[u"box"].blob = "old key";
  crypt().fail("CryptAcquireContextW", 0x80090010, 3);
  EXPECT_EQ(importKey(u"box", key(), jane_), -1);
  EXPECT_EQ(log().back(), "5 CRYPT_NEWKEYSET failed");
  EXPECT_TRUE(crypt().containers.empty());
}

TEST_F(KeyImport, AContainerStaysWhenALaterStepFails) {
  crypt().fail("CertSetCertificateContextProperty", 5, 1);
  EXPECT_EQ(importKey(u"box", key(), jane_), -1);
  EXPECT_EQ(crypt().containers[u"box"].blob.size(), 29u);
}

TEST_F(KeyImport, AKeyThatCannotBeDecodedIsASilentFailure) {
  decodeResult = kFail;
  EXPECT_EQ(importKey(u"box", key(), jane_), -1);
  EXPECT_EQ(log(), Texts{});
  EXPECT_TRUE(crypt().calls.empty());
}

TEST_F(KeyImport, AKeyThatDecodesToNothingIsASilentFailure) {
  spy.commonTypes.RsaPrivateKeyDecode = [](const uint8_t*, uint64_t, runtime::RsaPrivateKey** out) {
    *out = nullptr;
    return kOk;
  };
  EXPECT_EQ(importKey(u"box", key(), jane_), -1);
  EXPECT_EQ(log(), Texts{});
  EXPECT_TRUE(crypt().calls.empty());
}

TEST_F(KeyImport, BitsThatFillNoByteAreNotDecoded) {
  key()->privateKey.bitLength = 8 * 2 + 7;
  EXPECT_EQ(importKey(u"box", key(), jane_), 0);
  EXPECT_EQ(decodedBytes, (std::vector<uint8_t>{1, 2}));
}

TEST_F(KeyImport, AKeyThatCannotBeConvertedTouchesNothing) {
  static runtime::RsaPrivateKey zero{};
  spy.commonTypes.RsaPrivateKeyDecode = [](const uint8_t*, uint64_t, runtime::RsaPrivateKey** out) {
    *out = &zero;
    ++decodedKeys;
    return kOk;
  };
  EXPECT_EQ(importKey(u"box", key(), jane_), -1);
  EXPECT_EQ(log(), Texts{"1 error converting BLOB (only supports small public exponents)"});
  EXPECT_TRUE(crypt().calls.empty());
}

TEST_F(KeyImport, WithoutACertificateNothingIsTouched) {
  EXPECT_EQ(importKey(u"box", key(), nullptr), -1);
  jane_.fake.isEncoded = false;
  EXPECT_EQ(importKey(u"box", key(), jane_), -1);
  EXPECT_TRUE(crypt().calls.empty());
}

TEST_F(KeyImport, TheKeysCopiesAreWiped) {
  bool sawNumbers = false;
  // The modulus in either order, in any block that is freed.
  spy.onFree = [&sawNumbers](const uint8_t* block, uint64_t size) {
    for (uint64_t i = 0; i + 1 < size; ++i) {
      sawNumbers = sawNumbers || (block[i] == 0xA1 && block[i + 1] == 0x0F);
    }
  };
  EXPECT_EQ(importKey(u"box", key(), jane_), 0);
  spy.onFree = nullptr;
  EXPECT_FALSE(sawNumbers);
}

// --- The friendly name ---

struct NameCase {
  const char* name;
  const char* commonName;  // null: no subject
  std::u16string container;
  std::u16string friendlyName;
};
void PrintTo(const NameCase& tested, std::ostream* out) { *out << tested.name; }

class FriendlyName : public KeyImport, public testing::WithParamInterface<NameCase> {};

TEST_P(FriendlyName, IsSetWithItsTerminator) {
  if (GetParam().commonName != nullptr) {
    jane_.name(GetParam().commonName);
  } else {
    jane_.fake.subject = nullptr;
  }
  EXPECT_EQ(importKey(GetParam().container.c_str(), nullptr, jane_), 0);
  EXPECT_EQ(friendlyName(), GetParam().friendlyName + u'\0');
  EXPECT_EQ(crypt().stored(u"MY", 0).key->container, GetParam().container);
}

INSTANTIATE_TEST_SUITE_P(
    Containers, FriendlyName,
    testing::Values(
        NameCase{"TheCommonName", "Jane", u"box", u"Jane"},
        NameCase{"NoSubject", nullptr, u"box", u""}, NameCase{"NoCommonName", "", u"box", u""},
        NameCase{"Utf8", "J\xC3\xBCrgen", u"box", u"J\u00FCrgen"},
        NameCase{"SurrogatePair", "\xF0\x9F\x94\x91", u"box", u"\U0001F511"},
        NameCase{"AUser", "Jane", u"\\\\.\\mem://orlind/user\\x", u"Jane (user)"},
        NameCase{"AUserWithoutBackslash", "Jane", u"\\\\.\\mem://orlind/user", u"Jane (user)"},
        NameCase{"BehindTheLastSlash", "Jane", u"\\\\.\\mem://orlind/a/b/user\\x\\y",
                 u"Jane (user)"},
        NameCase{"ASlashBehindTheUser", "Jane", u"\\\\.\\mem://orlind/user\\x/z", u"Jane (z)"},
        NameCase{"NoUser", "Jane", u"\\\\.\\mem://orlind/", u"Jane"},
        NameCase{"AnEmptyUser", "Jane", u"\\\\.\\mem://orlind/\\x", u"Jane"},
        NameCase{"AnEmptyLastPart", "Jane", u"\\\\.\\mem://orlind/user/", u"Jane"},
        NameCase{"AUserWithoutSubject", nullptr, u"\\\\.\\mem://orlind/user\\x", u" (user)"},
        NameCase{"AUserInUtf16", "Jane", u"\\\\.\\mem://orlind/\u00FCser\\x", u"Jane (\u00FCser)"},
        NameCase{"AnotherPrefix", "Jane", u"\\\\.\\mem://other/user\\x", u"Jane"},
        NameCase{"ThePrefixInCapitals", "Jane", u"\\\\.\\MEM://orlind/user\\x", u"Jane"},
        NameCase{"ThePrefixLater", "Jane", u"x\\\\.\\mem://orlind/user\\x", u"Jane"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(KeyImport, TheRuntimeIsAskedForTheCommonNameOnly) {
  // FakeName refuses every other attribute.
  EXPECT_EQ(importKey(u"box", nullptr, jane_), 0);
  EXPECT_EQ(crypt().stored(u"MY", 0).friendlyName.size(), 10u);
}

// --- csp_import itself ---

TEST_F(KeyImport, WithoutAFriendlyNameNoneIsSet) {
  const runtime::ByteBuffer encoding = {4, reinterpret_cast<uint8_t*>(const_cast<char*>("jane"))};
  EXPECT_EQ(capi::csp_import({.container = u"box",
                              .friendlyName = nullptr,
                              .blob = nullptr,
                              .encoding = &encoding,
                              .deleteFirst = true,
                              .importFlags = 0}),
            0);
  EXPECT_FALSE(called("CertSetCertificateContextProperty 11"));
  EXPECT_TRUE(crypt().stored(u"MY", 0).friendlyName.empty());
}

TEST_F(KeyImport, OnlyWhoAsksForItDeletesFirst) {
  crypt().put(u"MY", "old", u"box");
  const runtime::ByteBuffer encoding = {4, reinterpret_cast<uint8_t*>(const_cast<char*>("jane"))};
  EXPECT_EQ(capi::csp_import({.container = u"box",
                              .friendlyName = "Jane",
                              .blob = nullptr,
                              .encoding = &encoding,
                              .deleteFirst = false,
                              .importFlags = 0}),
            0);
  EXPECT_EQ(crypt().encodings(u"MY"), (Texts{"old", "jane"}));
  EXPECT_EQ(scopes(), Texts{"csp_import"});
}

}  // namespace
}  // namespace vexa::test
