#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "support/fake_certificate.h"
#include "support/module_fixture.h"
#include "support/sample_certificates.h"
#include "vexa/core.h"

// Slots 15 and 16 of the core list, with an encoder that can be watched and a decoder that can be
// scripted.
namespace vexa::test {

using runtime::BagNode;
using runtime::ByteBuffer;
using runtime::Certificate;
using runtime::CertificateList;
using runtime::KeyObject;
using runtime::SafeBag;
using runtime::StringObject;

// What the encoder was given, bag by bag.
struct SeenBag {
  uint32_t type;
  uint8_t shrouded;
  std::string name;
  std::string localKeyId;  // "-" when absent
  Certificate* certificate;
  std::string keyBytes;
};
struct Seen {
  uint32_t version = 0;
  uint32_t iterations = 0;
  std::string names;
  std::vector<SeenBag> bags;
  const StringObject* password = nullptr;
  int calls = 0;
};
inline Seen seen;

inline std::string bytesOf(const ByteBuffer* buffer) {
  return buffer == nullptr ? "-"
                           : std::string(reinterpret_cast<char*>(buffer->data), buffer->length);
}

inline int32_t watchEncode(const runtime::PfxParameters* parameters, const StringObject* password,
                           ByteBuffer**) {
  ++seen.calls;
  seen.version = parameters->version;
  seen.iterations = parameters->iterations;
  seen.names = std::string(parameters->macDigest) + "|" + parameters->bagEncryption1 + "|" +
               parameters->bagEncryption2;
  seen.password = password;
  for (const BagNode* node = parameters->contents; node != nullptr; node = node->next) {
    const SafeBag& bag = *node->bag;
    const bool isKey = bag.type == runtime::kKeyBag;
    seen.bags.push_back({bag.type, bag.shrouded,
                         SpyRuntime::current().strings.GetText(bag.friendlyName),
                         bytesOf(bag.localKeyId), isKey ? nullptr : bag.certificate,
                         isKey ? bytesOf(&bag.key->key) : ""});
  }
  return kOk;
}

class Pkcs12 : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    seen = {};
    ASSERT_EQ(spy.strings.AssignText(&name, "Jane's key"), 0);
    ASSERT_EQ(spy.strings.AssignText(&password, "secret"), 0);
    chain[0] = {samples.jane, &chain[1], 1};
    chain[1] = {samples.authority, &chain[2], 1};
    chain[2] = {samples.root, nullptr, 1};
  }
  void TearDown() override {
    spy.strings.Clear(&name);
    spy.strings.Clear(&password);
    spy.commonTypes.BufferRelease(file);
    ModuleTest::TearDown();
  }

  int32_t createFile(const StringObject* nameArgument, const KeyObject* key,
                     const CertificateList* certificates, const StringObject* passwordArgument,
                     ByteBuffer** out) {
    return tableEntry<int32_t(const StringObject*, const KeyObject*, const CertificateList*,
                              const StringObject*, ByteBuffer**)>(list(kCoreListName), 15)(
        nameArgument, key, certificates, passwordArgument, out);
  }
  int32_t createFile() { return createFile(&name, samples.janeKey, chain, &password, &file); }
  int32_t openFile(const ByteBuffer* data, const StringObject* passwordArgument, KeyObject** key,
                   CertificateList** certificates) {
    return tableEntry<int32_t(const ByteBuffer*, const StringObject*, KeyObject**,
                              CertificateList**)>(list(kCoreListName), 16)(data, passwordArgument,
                                                                           key, certificates);
  }
  int32_t openFile() { return openFile(file, &password, &openedKey, &openedChain); }
  std::vector<std::string> subjects() {
    std::vector<std::string> texts;
    for (const auto* record = openedChain; record != nullptr; record = record->next) {
      StringObject text{};
      spy.commonTypes.StringCopy(&text,
                                 record->certificate->table->GetSubject(record->certificate));
      texts.emplace_back(spy.strings.GetText(&text));
      spy.strings.Clear(&text);
    }
    return texts;
  }
  void releaseOpened() {
    spy.commonTypes.KeyRelease(std::exchange(openedKey, nullptr));
    spy.commonTypes.CertificateListRelease(std::exchange(openedChain, nullptr));
  }

  const SampleCertificates& samples = SampleCertificates::instance();
  StringObject name{};
  StringObject password{};
  CertificateList chain[3]{};
  ByteBuffer* file = nullptr;
  KeyObject* openedKey = nullptr;
  CertificateList* openedChain = nullptr;
};

// The decoder's answers.
struct Decoded {
  BagNode* head = nullptr;
  uint8_t verified = 1;
  int32_t result = kOk;
};
inline Decoded decoded;

class Pkcs12Decoded : public Pkcs12 {
 protected:
  void SetUp() override {
    Pkcs12::SetUp();
    decoded = {};
    spy.pkcs12.Decode = [](const ByteBuffer*, const void*, const StringObject*, BagNode** bags,
                           uint8_t* verified) {
      *bags = decoded.head;
      *verified = decoded.verified;
      return decoded.result;
    };
  }

  void addKey(const char* bytes, const char* keyId) {
    SafeBag* bag = add(keyId);
    ASSERT_EQ(spy.pkcs12Types.PrivateKeyInfoCreate(&bag->key), 0);
    bag->key->key.length = std::strlen(bytes);
    bag->key->key.data = static_cast<uint8_t*>(spy.root.Allocate(std::strlen(bytes)));
    std::memcpy(bag->key->key.data, bytes, std::strlen(bytes));
  }
  void addCertificate(Certificate* certificate, const char* keyId) {
    SafeBag* bag = add(keyId);
    bag->type = runtime::kCertificateBag;
    auto* const object = reinterpret_cast<runtime::Object*>(certificate);
    object->table->AddRef(object);
    bag->certificate = certificate;
  }
  void addEmpty(uint32_t type) { add(nullptr)->type = type; }
  void addNode() { EXPECT_EQ(spy.pkcs12Types.BagNodeCreate(end()), 0); }
  int32_t open() {
    const ByteBuffer data{};
    return openFile(&data, &password, &openedKey, &openedChain);
  }

 private:
  static BagNode** end() {
    BagNode** link = &decoded.head;
    while (*link != nullptr) {
      link = &(*link)->next;
    }
    return link;
  }
  SafeBag* add(const char* keyId) {
    BagNode** const link = end();
    EXPECT_EQ(spy.pkcs12Types.BagNodeCreate(link), 0);
    EXPECT_EQ(spy.pkcs12Types.BagCreate(&(*link)->bag), 0);
    if (keyId != nullptr) {
      EXPECT_EQ(spy.commonTypes.BufferFromHex(keyId, &(*link)->bag->localKeyId), 0);
    }
    return (*link)->bag;
  }
};

}  // namespace vexa::test
