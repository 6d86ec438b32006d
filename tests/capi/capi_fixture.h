#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fake_crypt.h"
#include "support/fake_certificate.h"
#include "support/module_fixture.h"
#include "support/slot.h"
#include "vexa/capi.h"

namespace vexa::test {

// A subject with one attribute, "CN".
struct FakeName {
  explicit FakeName(std::string value) : object{&table()}, commonName(std::move(value)) {}
  FakeName(const FakeName&) = delete;
  FakeName& operator=(const FakeName&) = delete;

  runtime::Name object;  // first: the address of the whole
  std::string commonName;

 private:
  static const runtime::NameTable& table() {
    static const runtime::NameTable table = [] {
      runtime::NameTable t{};
      t.GetAttribute = [](runtime::Name* name, const char* attribute,
                          runtime::StringObject* value) {
        EXPECT_STREQ(attribute, "CN");
        return SpyRuntime::current().strings.AssignText(
            value, reinterpret_cast<FakeName*>(name)->commonName.c_str());
      };
      return t;
    }();
    return table;
  }
};

// A certificate for the import: encoding and public key are texts of the test's choice.
class ImportedCertificate {
 public:
  // Keys with the same letter are the same key.
  ImportedCertificate(std::string encoding, char key, bool selfSigned = false)
      : encoding_(std::move(encoding)), keyByte_(static_cast<uint8_t>(key)) {
    fake.encoding = {encoding_.size(), reinterpret_cast<uint8_t*>(encoding_.data())};
    publicKey_.bitLength = 8;
    publicKey_.bytes = &keyByte_;
    fake.publicKey = &publicKey_;
    fake.selfSigned = selfSigned ? 1 : 0;
  }
  ImportedCertificate(const ImportedCertificate&) = delete;
  ImportedCertificate& operator=(const ImportedCertificate&) = delete;
  ~ImportedCertificate() { EXPECT_EQ(fake.references, 1u) << encoding_; }

  void name(const std::string& commonName) {
    subject_ = std::make_unique<FakeName>(commonName);
    fake.subject = &subject_->object;
  }
  operator runtime::Certificate*() { return fake; }

  FakeCertificate fake;

 private:
  std::string encoding_;
  uint8_t keyByte_;
  runtime::PublicKey publicKey_{};
  std::unique_ptr<FakeName> subject_;
};

// A list over certificates that stay the caller's.
class CertificateChain {
 public:
  CertificateChain(std::initializer_list<runtime::Certificate*> certificates)
      : records_(certificates.size()) {
    size_t i = 0;
    for (runtime::Certificate* certificate : certificates) {
      const bool isLast = i + 1 == records_.size();
      records_[i] = {certificate, isLast ? nullptr : &records_[i + 1], 1};
      ++i;
    }
  }
  CertificateChain(const CertificateChain&) = delete;
  CertificateChain& operator=(const CertificateChain&) = delete;

  const runtime::CertificateList* get() const { return records_.data(); }

 private:
  std::vector<runtime::CertificateList> records_;
};

// The list "capi_api" of a started module over fake stores and containers. The key pair of a test
// is the letter 'k'; decoding it gives small numbers.
class CapiTest : public ModuleTest {
 protected:
  void SetUp() override {
    crypt().reset();
    decodedKeys = 0;
    decodeResult = kOk;
    ModuleTest::SetUp();
    list_ = list(kCapiListName);
    ASSERT_NE(list_, nullptr);
    realTypes_ = spy.commonTypes;
    spy.commonTypes.KeyCompare = compareKeys;
    spy.commonTypes.CertificateCompare = compareCertificates;
    spy.commonTypes.RsaPrivateKeyDecode = decodeKey;
    spy.commonTypes.RsaPrivateKeyRelease = [](runtime::RsaPrivateKey*) { --decodedKeys; };
    key_.publicKey.bitLength = 8;
    key_.publicKey.bytes = &keyByte_;
    key_.privateKey.bitLength = 8 * 3;
    key_.privateKey.bytes = encodedKey_;
  }
  void TearDown() override {
    EXPECT_EQ(crypt().errors(), std::vector<std::string>{});
    EXPECT_EQ(crypt().openChains(), 0);
    EXPECT_EQ(decodedKeys, 0);
    ModuleTest::TearDown();
    crypt().reset();
  }

  // The runtime's own comparisons and decoding again, for real keys and certificates.
  void useRealTypes() { spy.commonTypes = realTypes_; }

  static FakeCrypt& crypt() { return FakeCrypt::instance(); }
  const void* capiList() const { return list_; }
  runtime::KeyObject* key() { return &key_; }

  int32_t cspImport(const char16_t* container, const runtime::KeyObject* key,
                    const runtime::CertificateList* certificates, uint32_t checkRoot = 0,
                    uint32_t importFlags = 0) {
    return tableEntry<int32_t(const char16_t*, uint32_t, uint32_t, const runtime::KeyObject*,
                              const runtime::CertificateList*)>(list_, 1)(
        container, importFlags, checkRoot, key, certificates);
  }
  int32_t importCaCerts(const runtime::CertificateList* certificates, uint32_t checkRoot = 0) {
    return tableEntry<int32_t(uint32_t, const runtime::CertificateList*)>(list_, 2)(checkRoot,
                                                                                    certificates);
  }
  int32_t deleteOwnCerts(const char16_t* container) {
    return tableEntry<int32_t(const char16_t*)>(list_, 3)(container);
  }
  int32_t importKey(const char16_t* container, const runtime::KeyObject* key,
                    runtime::Certificate* certificate, uint32_t importFlags = 0) {
    return tableEntry<int32_t(const char16_t*, uint32_t, const runtime::KeyObject*,
                              runtime::Certificate*)>(list_, 4)(container, importFlags, key,
                                                                certificate);
  }
  int32_t deleteCaCertsByName(const char* name) {
    return tableEntry<int32_t(const char*)>(list_, 5)(name);
  }

  // The names of the scopes that were entered, in order.
  std::vector<std::string> scopes() const {
    std::vector<std::string> names;
    for (const std::string& text : spy.traceTexts()) {
      if (text.starts_with("{ ")) {
        names.push_back(text.substr(2));
      }
    }
    return names;
  }
  bool called(const std::string& function) const {
    for (const std::string& call : crypt().calls) {
      if (call.starts_with(function)) {
        return true;
      }
    }
    return false;
  }

  static inline int decodedKeys = 0;
  static inline int32_t decodeResult = kOk;
  static inline std::vector<uint8_t> decodedBytes;

 private:
  static int32_t compareKeys(const runtime::PublicKey* a, const runtime::PublicKey* b) {
    return a->bitLength == 8 && b->bitLength == 8 && *a->bytes == *b->bytes ? 0 : 1;
  }
  static int32_t compareCertificates(runtime::Certificate* a, runtime::Certificate* b) {
    const auto* const left = a->table->GetEncoding(a);
    const auto* const right = b->table->GetEncoding(b);
    return std::string_view(reinterpret_cast<const char*>(left->data), left->length) ==
                   std::string_view(reinterpret_cast<const char*>(right->data), right->length)
               ? 0
               : 1;
  }
  static int32_t decodeKey(const uint8_t* bytes, uint64_t count, runtime::RsaPrivateKey** out) {
    static uint8_t numbers[] = {0x0F, 0xA1, 0x01, 0x00, 0x01, 0x0D, 0x0B};
    static runtime::RsaPrivateKey decoded;
    decodedBytes.assign(bytes, bytes + count);
    if (failed(decodeResult)) {
      return decodeResult;
    }
    decoded = {};
    decoded.modulus = {2, numbers};
    decoded.publicExponent = {3, numbers + 2};
    decoded.privateExponent = {1, numbers + 6};
    decoded.prime1 = {1, numbers + 5};
    decoded.prime2 = {1, numbers + 6};
    *out = &decoded;
    ++decodedKeys;
    return kOk;
  }

  const void* list_ = nullptr;
  runtime::CommonTypes realTypes_{};
  uint8_t keyByte_ = 'k';
  uint8_t encodedKey_[3] = {1, 2, 3};
  runtime::KeyObject key_{};
};

}  // namespace vexa::test
