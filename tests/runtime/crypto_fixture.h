#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "runtime/runtime_fixture.h"
#include "support/exact_bytes.h"
#include "support/spy_runtime.h"
#include "vexa/holders.h"
#include "vexa/runtime/reference_crypto.h"

namespace vexa::test {

// The bytes that hexadecimal digits stand for.
inline std::string fromHex(std::string_view digits) {
  const auto value = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
  std::string bytes;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(static_cast<char>(value(digits[i]) * 16 + value(digits[i + 1])));
  }
  return bytes;
}

inline std::string toHex(const void* bytes, uint64_t length) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (uint64_t i = 0; i < length; ++i) {
    const uint8_t byte = static_cast<const uint8_t*>(bytes)[i];
    text += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return text;
}

// A buffer record that borrows.
inline runtime::ByteBuffer bufferOf(std::string_view bytes) {
  return {bytes.size(), reinterpret_cast<uint8_t*>(const_cast<char*>(bytes.data()))};
}
inline std::string bytesOf(const runtime::ByteBuffer* buffer) {
  return buffer == nullptr || buffer->length == 0
             ? std::string()
             : std::string(reinterpret_cast<const char*>(buffer->data), buffer->length);
}

template <class T>
using Owned = RuntimeObjectHolder<T>;
using OwnedCertificate = Owned<runtime::Certificate>;

// Records that a table function releases.
template <class T, void (*kRelease)(T*)>
struct HeldPolicy : PointerPolicy<T> {
  static void release(T* record) { kRelease(record); }
};
template <class T, void (*kRelease)(T*)>
using Held = Holder<HeldPolicy<T, kRelease>>;
inline void releaseBuffer(runtime::ByteBuffer* buffer) {
  SpyRuntime::current().commonTypes.BufferRelease(buffer);
}
inline void releaseKey(runtime::KeyObject* key) {
  SpyRuntime::current().commonTypes.KeyRelease(key);
}
inline void releaseBags(runtime::BagNode* bags) {
  SpyRuntime::current().pkcs12Types.BagListRelease(bags);
}
inline void releaseParameters(runtime::PfxParameters* parameters) {
  SpyRuntime::current().pkcs12Types.ParametersRelease(parameters);
}
using HeldBuffer = Held<runtime::ByteBuffer, releaseBuffer>;
using HeldKey = Held<runtime::KeyObject, releaseKey>;
using HeldBags = Held<runtime::BagNode, releaseBags>;
using HeldParameters = Held<runtime::PfxParameters, releaseParameters>;

class CryptoTest : public RuntimeTest {
 protected:
  int32_t decode(std::string_view encoding, runtime::Certificate** out) {
    const ExactBytes exact(encoding);
    const runtime::ByteBuffer buffer = exact.buffer();
    return types.CertificateDecode(&buffer, out);
  }

  OwnedCertificate certificate(std::string_view der) {
    OwnedCertificate made;
    EXPECT_EQ(decode(der, made.put()), kOk);
    return made;
  }

  std::string text(runtime::Name* name) {
    String string;
    EXPECT_EQ(types.StringCopy(string.get(), name), kOk);
    return string.str();
  }

  std::string attribute(runtime::Name* name, const char* type) {
    String string("old");
    EXPECT_EQ(name->table->GetAttribute(name, type, string.get()), kOk);
    return string.str();
  }

  // A private key without public half, from the DER of a PKCS#1 RSAPrivateKey.
  HeldKey privateKey(std::string_view der) {
    HeldKey key;
    EXPECT_EQ(types.KeyCreate(key.put()), kOk);
    key->privateKey.bytes = static_cast<uint8_t*>(spy.root.Allocate(der.size()));
    key->privateKey.bitLength = 8 * der.size();
    std::copy(der.begin(), der.end(), key->privateKey.bytes);
    return key;
  }

  // A certificate with what every signature needs; without a key, that is set later.
  static OwnedCertificate draft(const char* subject, const runtime::PublicKey* key = nullptr) {
    OwnedCertificate made;
    EXPECT_EQ(velmora_certificate_create(made.put()), kOk);
    EXPECT_EQ(velmora_certificate_set_subject(made.get(), subject), kOk);
    EXPECT_EQ(velmora_certificate_set_validity(made.get(), "20240229T120000", "20501231T235959"),
              kOk);
    if (key != nullptr) {
      EXPECT_EQ(velmora_certificate_set_public_key(made.get(), key), kOk);
    }
    return made;
  }

  const runtime::CommonTypes& types = spy.commonTypes;
};

}  // namespace vexa::test
