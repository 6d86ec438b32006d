#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "runtime/crypto_fixture.h"
#include "vexa/runtime/pkcs12.h"

namespace vexa::test {

// PKCS#12 files opened, and made of what a test puts into them.
class PfxTest : public CryptoTest {
 protected:
  struct Opened {
    int32_t result = 0;
    uint8_t verified = 0xFF;
    HeldBags bags;

    int count() const {
      int bagCount = 0;
      for (auto* node = bags.get(); node != nullptr; node = node->next) {
        ++bagCount;
      }
      return bagCount;
    }
  };

  // The file in a block of its exact size. Null is no password.
  Opened open(std::string_view pfx, const char* password = "secret") {
    Opened opened;
    const ExactBytes exact(pfx);
    const runtime::ByteBuffer data = exact.buffer();
    String secret(password == nullptr ? "" : password);
    opened.result = spy.pkcs12.Decode(&data, nullptr, password == nullptr ? nullptr : secret.get(),
                                      opened.bags.put(), &opened.verified);
    return opened;
  }

  // A file of these parameters. Null is no password.
  std::string encode(runtime::PfxParameters* from, const char* password) {
    HeldBuffer out;
    String secret(password == nullptr ? "" : password);
    EXPECT_EQ(spy.pkcs12.Encode(from, password == nullptr ? nullptr : secret.get(), out.put()),
              kOk);
    return bytesOf(out.get());
  }

  // Parameters as a creator of files fills them, with no bags yet.
  HeldParameters parameters(const char* first = "pbeWithSHA1And128BitRC4",
                            const char* second = "pbeWithSHA1And3-KeyTripleDES-CBC") {
    HeldParameters made;
    EXPECT_EQ(spy.pkcs12Types.ParametersCreate(made.put()), kOk);
    made->version = 3;
    made->iterations = 2048;
    made->macDigest = types.TextDuplicate("SHA-1");
    made->bagEncryption1 = types.TextDuplicate(first);
    made->bagEncryption2 = types.TextDuplicate(second);
    return made;
  }

  runtime::SafeBag* addBag(runtime::PfxParameters* to, uint32_t type) {
    runtime::BagNode** end = &to->contents;
    while (*end != nullptr) {
      end = &(*end)->next;
    }
    EXPECT_EQ(spy.pkcs12Types.BagNodeCreate(end), kOk);
    EXPECT_EQ(spy.pkcs12Types.BagCreate(&(*end)->bag), kOk);
    (*end)->bag->type = type;
    return (*end)->bag;
  }

  // A key bag with the bytes of a private key, whose algorithm is left to the caller.
  runtime::SafeBag* addPrivateKey(runtime::PfxParameters* to, std::string_view der,
                                  uint8_t shrouded) {
    runtime::SafeBag* const bag = addBag(to, runtime::kKeyBag);
    bag->shrouded = shrouded;
    EXPECT_EQ(spy.pkcs12Types.PrivateKeyInfoCreate(&bag->key), kOk);
    bag->key->key = {der.size(), static_cast<uint8_t*>(spy.root.Allocate(der.size()))};
    std::copy(der.begin(), der.end(), bag->key->key.data);
    return bag;
  }
  runtime::SafeBag* addRsaKey(runtime::PfxParameters* to, std::string_view der, uint8_t shrouded) {
    runtime::SafeBag* const bag = addPrivateKey(to, der, shrouded);
    EXPECT_EQ(types.ObjectIdFromText("1.2.840.113549.1.1.1", &bag->key->algorithm.identifier), kOk);
    return bag;
  }

  runtime::SafeBag* addCertificate(runtime::PfxParameters* to, std::string_view der) {
    runtime::SafeBag* const bag = addBag(to, runtime::kCertificateBag);
    EXPECT_EQ(decode(der, &bag->certificate), kOk);
    return bag;
  }

  void setName(runtime::SafeBag* bag, const char* name) {
    EXPECT_EQ(spy.strings.Create(&bag->friendlyName), kOk);
    EXPECT_EQ(spy.strings.AssignText(bag->friendlyName, name), kOk);
  }

  // The bytes of a key's private half.
  static std::string_view privateBytes(const runtime::KeyObject& key) {
    return {reinterpret_cast<const char*>(key.privateKey.bytes), key.privateKey.bitLength / 8};
  }
};

}  // namespace vexa::test
