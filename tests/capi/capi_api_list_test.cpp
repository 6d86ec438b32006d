#include <gtest/gtest.h>

#include <cstring>

#include "capi_fixture.h"
#include "support/sample_certificates.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

using Texts = std::vector<std::string>;

class StoreImport : public CapiTest {
 protected:
  ImportedCertificate jane_{"jane", 'k'};
  ImportedCertificate older_{"older", 'k'};
  ImportedCertificate authority_{"authority", 'a'};
  ImportedCertificate authorityAgain_{"authority", 'a'};
  ImportedCertificate root_{"root", 'r', true};
};

TEST_F(StoreImport, PartsTheUsersCertificateFromTheOthers) {
  const CertificateChain chain{root_, jane_, authority_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get()), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), (Texts{"root", "authority"}));
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"jane"});
  EXPECT_EQ(crypt().containers.count(u"box"), 1u);
  EXPECT_EQ(scopes(),
            (Texts{"CspImport", "CspImportCACerts", "CspImportKey",
                   "aux_convert_RSAPrivateKey_to_PVKBLOB", "csp_import", "csp_delete_certs"}));
}

TEST_F(StoreImport, PassesItsFlagsOn) {
  const CertificateChain chain{jane_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get(), 0, CRYPT_EXPORTABLE), 0);
  EXPECT_EQ(crypt().containers[u"box"].importFlags, DWORD{CRYPT_EXPORTABLE});
}

TEST_F(StoreImport, TheUsersCertificateAloneNeedsNoAuthorityStore) {
  const CertificateChain chain{jane_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get(), 1), 0);
  EXPECT_FALSE(called("CertOpenSystemStoreW CA"));
}

TEST_F(StoreImport, ACertificateListedTwiceIsAddedOnce) {
  const CertificateChain chain{authority_, jane_, authorityAgain_, authority_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get()), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"authority"});
  int added = 0;
  for (const std::string& call : crypt().calls) {
    added += call == "CertAddCertificateContextToStore CA authority 2" ? 1 : 0;
  }
  EXPECT_EQ(added, 1);
}

TEST_F(StoreImport, RecordsWithoutACertificateAreReadOver) {
  const CertificateChain chain{nullptr, authority_, nullptr, jane_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get()), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"authority"});
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"jane"});
  EXPECT_EQ(importCaCerts(chain.get()), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), (Texts{"authority", "jane"}));
}

TEST_F(StoreImport, ACertificateWithoutAPublicKeyIsAnotherOne) {
  authority_.fake.publicKey = nullptr;
  const CertificateChain chain{authority_, jane_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get()), 0);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"authority"});
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"jane"});
}

TEST_F(StoreImport, ALaterCertificateOfTheKeyReplacesAnEarlierOne) {
  const CertificateChain chain{older_, authority_, jane_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get()), 0);
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"jane"});
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"authority"});
}

TEST_F(StoreImport, WithoutACertificateOfTheKeyNoStoreIsTouched) {
  const CertificateChain chain{authority_, root_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get(), 1), -1);
  EXPECT_EQ(log(), Texts{"1 found no user certificate which belongs to the key"});
  EXPECT_TRUE(crypt().calls.empty());
}

TEST_F(StoreImport, AnEncodingIsAskedForOnlyOnItsWayIntoAStore) {
  const CertificateChain alone{authority_};
  EXPECT_EQ(cspImport(u"box", key(), alone.get()), -1);
  EXPECT_EQ(authority_.fake.encodingCalls, 0u);
  const CertificateChain chain{authority_, jane_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get()), 0);
  EXPECT_EQ(authority_.fake.encodingCalls, 1u);
}

TEST_F(StoreImport, WithoutCertificatesOrKeyNoStoreIsTouched) {
  const CertificateChain chain{jane_};
  EXPECT_EQ(cspImport(u"box", key(), nullptr), -1);
  EXPECT_EQ(cspImport(u"box", nullptr, chain.get()), -1);
  EXPECT_EQ(log(), (Texts{"1 found no user certificate which belongs to the key",
                          "1 found no user certificate which belongs to the key"}));
  EXPECT_TRUE(crypt().calls.empty());
}

TEST_F(StoreImport, AnAuthorityThatFailsEndsTheImport) {
  crypt().fail("CertOpenSystemStoreW", 5);
  const CertificateChain chain{authority_, jane_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get()), -1);
  EXPECT_EQ(log(), (Texts{"1 CertOpenSystemStore failed (Error: 0x00000005)",
                          "1 failed to import the CA chain"}));
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{});
  EXPECT_TRUE(crypt().containers.empty());
}

TEST_F(StoreImport, AnUntrustedRootEndsTheImport) {
  crypt().policyError = 0x800B0109;
  const CertificateChain chain{root_, jane_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get(), 1), static_cast<int32_t>(0x80000042));
  EXPECT_EQ(log(), (Texts{"3 Root Certificate not trusted!", "1 failed to import the CA chain"}));
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"root"});
  EXPECT_FALSE(called("CertOpenSystemStoreW MY"));
}

TEST_F(StoreImport, AuthoritiesStayWhenTheKeyFails) {
  crypt().fail("CryptImportKey", 0x80090005);
  const CertificateChain chain{authority_, jane_};
  EXPECT_EQ(cspImport(u"box", key(), chain.get()), -1);
  EXPECT_EQ(crypt().encodings(u"CA"), Texts{"authority"});
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{});
}

// References of the certificates are counted when they go.
TEST_F(StoreImport, ShortMemoryIsAFailureThatLosesNothing) {
  const CertificateChain chain{authority_, root_, jane_};
  jane_.name("Jane");
  constexpr std::u16string_view kFriendlyName(u"Jane (user)\0", 12);
  const auto* const nameBytes = reinterpret_cast<const uint8_t*>(kFriendlyName.data());
  const std::vector<uint8_t> friendlyName(nameBytes, nameBytes + 2 * kFriendlyName.size());
  sweepAllocations(
      spy,
      [&] {
        crypt().reset();
        const int32_t result = cspImport(u"\\\\.\\mem://orlind/user\\x", key(), chain.get(), 1);
        EXPECT_TRUE(result == 0 || result == -1) << result;
        if (result == 0) {
          EXPECT_EQ(crypt().encodings(u"CA"), (Texts{"authority", "root"}));
          EXPECT_EQ(crypt().encodings(u"MY"), Texts{"jane"});
          EXPECT_EQ(crypt().stored(u"MY", 0).friendlyName, friendlyName);
          EXPECT_EQ(crypt().containers.size(), 1u);
        }
        return result == 0;
      },
      Shortage::kMayDoWithout);
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{"jane"});
}

// --- Real keys and certificates ---

std::string encodingOf(runtime::Certificate* certificate) {
  const runtime::ByteBuffer* const der = certificate->table->GetEncoding(certificate);
  return {reinterpret_cast<const char*>(der->data), der->length};
}

TEST_F(StoreImport, RealCertificatesFindTheirPlaces) {
  useRealTypes();
  const SampleCertificates& samples = SampleCertificates::instance();
  runtime::Certificate* const again = decodeAgain(samples.authority);
  const CertificateChain chain{samples.root, samples.jane, samples.authority, again};
  EXPECT_EQ(cspImport(u"box", samples.janeKey, chain.get(), 1), 0);
  EXPECT_EQ(crypt().encodings(u"CA"),
            (Texts{encodingOf(samples.root), encodingOf(samples.authority)}));
  EXPECT_EQ(crypt().encodings(u"MY"), Texts{encodingOf(samples.jane)});
  EXPECT_EQ(crypt().chains.size(), 1u) << "only the root signed itself";
  EXPECT_EQ(crypt().containers[u"box"].blob.size(), 20u + 128 + 5 * 64 + 128);
  auto* const object = reinterpret_cast<runtime::Object*>(again);
  EXPECT_EQ(object->table->Release(object), 0u);
}

TEST_F(StoreImport, TheBlobOfARealKeyIsWipedBeforeItIsFreed) {
  useRealTypes();
  const SampleCertificates& samples = SampleCertificates::instance();
  const CertificateChain chain{samples.jane};
  spy.onFree = [](const uint8_t* block, uint64_t size) {
    EXPECT_FALSE(size >= 12 && std::memcmp(block + 8, "RSA2", 4) == 0);
  };
  EXPECT_EQ(cspImport(u"box", samples.janeKey, chain.get()), 0);
  spy.onFree = nullptr;
}

TEST_F(StoreImport, TheListsOwnDescription) {
  const auto getInfo = tableEntry<int32_t(const char**, const char**, const char**)>(capiList(), 0);
  const char* name = nullptr;
  EXPECT_EQ(getInfo(&name, nullptr, nullptr), kOk);
  EXPECT_STREQ(name, "capi_api");
}

}  // namespace
}  // namespace vexa::test
