#include "capi/key_blob.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/module_fixture.h"
#include "support/sample_certificates.h"
#include "support/sweep.h"

namespace vexa::capi {
namespace {

using runtime::BigInteger;
using Bytes = std::vector<uint8_t>;

// A number of that many bytes, each different, big-endian; the first byte is not zero.
Bytes number(size_t length, uint8_t seed) {
  Bytes bytes(length);
  for (size_t i = 0; i < length; ++i) {
    bytes[i] = static_cast<uint8_t>(seed + i * 7 + 1);
  }
  if (!bytes.empty() && bytes[0] == 0) {
    bytes[0] = 1;
  }
  return bytes;
}

// The nine numbers of a key with an n-byte modulus.
struct SyntheticKey {
  explicit SyntheticKey(size_t n)
      : version{0},
        modulus(number(n, 1)),
        publicExponent{1, 0, 1},
        privateExponent(number(n, 2)),
        prime1(number(n / 2, 3)),
        prime2(number(n / 2, 4)),
        exponent1(number(n / 2, 5)),
        exponent2(number(n / 2, 6)),
        coefficient(number(n / 2, 7)) {}

  runtime::RsaPrivateKey record() {
    const auto of = [](Bytes& bytes) { return BigInteger{bytes.size(), bytes.data()}; };
    return {of(version), of(modulus),   of(publicExponent), of(privateExponent), of(prime1),
            of(prime2),  of(exponent1), of(exponent2),      of(coefficient)};
  }

  Bytes version, modulus, publicExponent, privateExponent, prime1, prime2, exponent1, exponent2,
      coefficient;
};

Bytes withoutLeadingZeros(const Bytes& bytes) {
  return Bytes(std::find_if(bytes.begin(), bytes.end(), [](uint8_t b) { return b != 0; }),
               bytes.end());
}

// The published layout (BLOBHEADER, RSAPUBKEY and the numbers), put together another way.
Bytes expectedBlob(const SyntheticKey& key, uint32_t algorithm) {
  Bytes blob = {7, 2, 0, 0};
  const auto append32 = [&blob](uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
      blob.push_back(static_cast<uint8_t>(value >> shift));
    }
  };
  const auto appendNumber = [&blob](const Bytes& bytes, size_t width) {
    Bytes reversed = withoutLeadingZeros(bytes);
    std::reverse(reversed.begin(), reversed.end());
    reversed.resize(width);
    blob.insert(blob.end(), reversed.begin(), reversed.end());
  };
  const size_t n = withoutLeadingZeros(key.modulus).size();
  append32(algorithm);
  for (const char c : {'R', 'S', 'A', '2'}) {
    blob.push_back(static_cast<uint8_t>(c));
  }
  append32(static_cast<uint32_t>(8 * n));
  appendNumber(key.publicExponent, 4);
  appendNumber(key.modulus, n);
  for (const Bytes* half :
       {&key.prime1, &key.prime2, &key.exponent1, &key.exponent2, &key.coefficient}) {
    appendNumber(*half, n / 2);
  }
  appendNumber(key.privateExponent, n);
  return blob;
}

class KeyBlob : public test::ModuleTest {
 protected:
  // The blob, or nothing.
  Bytes convert(SyntheticKey& key, uint32_t keySpec = kKeySpecExchange) {
    const runtime::RsaPrivateKey record = key.record();
    runtime::ByteBuffer* blob = aux_convert_RSAPrivateKey_to_PVKBLOB(&record, keySpec);
    Bytes bytes;
    if (blob != nullptr) {
      bytes.assign(blob->data, blob->data + blob->length);
    }
    spy.commonTypes.BufferRelease(blob);
    return bytes;
  }
  void expectRefusal(SyntheticKey& key, const std::string& message) {
    spy.clearTrace();
    EXPECT_TRUE(convert(key).empty());
    EXPECT_THAT(spy.traceTexts(1), testing::ElementsAre(message));
  }
};

constexpr char kSmallExponents[] = "error converting BLOB (only supports small public exponents)";
std::string lengthError(int field) {
  return "error calculating correct BLOB length (" + std::to_string(field) + ")";
}

TEST_F(KeyBlob, KeysOfEverySizeHaveThePublishedLayout) {
  for (const size_t bits : {512u, 1024u, 2048u, 3072u, 4096u}) {
    SyntheticKey key(bits / 8);
    EXPECT_EQ(convert(key), expectedBlob(key, 0xA400)) << bits;
  }
}

// As decoded: a zero byte stands in front of every number whose first bit is set.
TEST_F(KeyBlob, ARealKeyHasThePublishedLayout) {
  const auto& material = test::SampleCertificates::instance().janeKey->privateKey;
  runtime::RsaPrivateKey* decoded = nullptr;
  ASSERT_EQ(spy.commonTypes.RsaPrivateKeyDecode(material.bytes, material.bitLength / 8, &decoded),
            kOk);
  const auto copy = [](const BigInteger& from) {
    return Bytes(from.bytes, from.bytes + from.length);
  };
  SyntheticKey key(0);
  key.modulus = copy(decoded->modulus);
  key.publicExponent = copy(decoded->publicExponent);
  key.privateExponent = copy(decoded->privateExponent);
  key.prime1 = copy(decoded->prime1);
  key.prime2 = copy(decoded->prime2);
  key.exponent1 = copy(decoded->exponent1);
  key.exponent2 = copy(decoded->exponent2);
  key.coefficient = copy(decoded->coefficient);
  spy.commonTypes.RsaPrivateKeyRelease(decoded);
  EXPECT_EQ(key.modulus.size(), 129u);
  const Bytes blob = convert(key);
  EXPECT_EQ(blob, expectedBlob(key, 0xA400));
  EXPECT_EQ(blob.size(), 20u + 128 + 5 * 64 + 128);
}

TEST_F(KeyBlob, A2048BitKeyTakes1172Bytes) {
  SyntheticKey key(256);
  const Bytes blob = convert(key);
  ASSERT_EQ(blob.size(), 1172u);
  EXPECT_EQ(blob[12] | blob[13] << 8, 2048);
}

TEST_F(KeyBlob, KeySpec4MeansSigningAndEveryOtherExchange) {
  SyntheticKey key(64);
  EXPECT_EQ(convert(key, 4), expectedBlob(key, 0x2400));
  for (const uint32_t keySpec : {0u, 1u, 2u, 8u, 0xFFFFFFFFu}) {
    EXPECT_EQ(convert(key, keySpec), expectedBlob(key, 0xA400)) << keySpec;
  }
}

TEST_F(KeyBlob, Exponent65537IsWrittenAs01000100) {
  SyntheticKey key(64);
  const Bytes blob = convert(key);
  EXPECT_EQ(Bytes(blob.begin() + 16, blob.begin() + 20), (Bytes{1, 0, 1, 0}));
  key.publicExponent = {3};
  EXPECT_EQ(convert(key), expectedBlob(key, 0xA400));
  key.publicExponent = {0, 0, 0, 0, 0, 1, 0, 1};
  EXPECT_EQ(convert(key), expectedBlob(key, 0xA400)) << "leading zeros fit";
}

TEST_F(KeyBlob, ExponentsThatAreZeroOrTooWideAreRefused) {
  SyntheticKey key(64);
  key.publicExponent = {1, 0, 0, 0, 1};
  expectRefusal(key, kSmallExponents);
  key.publicExponent = {0};
  expectRefusal(key, kSmallExponents);
  key.publicExponent = {};
  expectRefusal(key, kSmallExponents);
}

TEST_F(KeyBlob, LeadingZerosOfTheModulusDoNotCount) {
  SyntheticKey key(64);
  key.modulus.insert(key.modulus.begin(), 3, 0);
  key.prime1.insert(key.prime1.begin(), 1, 0);
  const Bytes blob = convert(key);
  EXPECT_EQ(blob, expectedBlob(key, 0xA400));
  EXPECT_EQ(blob[12] | blob[13] << 8, 512);
}

TEST_F(KeyBlob, AnOddModulusLengthUsesTheRunningPosition) {
  SyntheticKey key(255);
  const Bytes blob = convert(key);
  EXPECT_EQ(blob, expectedBlob(key, 0xA400));
  EXPECT_EQ(blob.size(), 20u + 255 + 5 * 127 + 255);
}

TEST_F(KeyBlob, FieldsThatDoNotFitAreNamedByNumber) {
  const struct {
    Bytes SyntheticKey::*field;
    int number;
  } cases[] = {{&SyntheticKey::prime1, 2},      {&SyntheticKey::prime2, 3},
               {&SyntheticKey::exponent1, 4},   {&SyntheticKey::exponent2, 5},
               {&SyntheticKey::coefficient, 6}, {&SyntheticKey::privateExponent, 7}};
  for (const auto& [field, number] : cases) {
    SyntheticKey key(64);
    (key.*field).insert((key.*field).begin(), 1);
    expectRefusal(key, lengthError(number));
  }
}

TEST_F(KeyBlob, ZeroIsRefusedInTheModulusAndThePrimesOnly) {
  for (const auto& [field, number] :
       {std::pair{&SyntheticKey::modulus, 1}, std::pair{&SyntheticKey::prime1, 2},
        std::pair{&SyntheticKey::prime2, 3}}) {
    SyntheticKey key(64);
    key.*field = {0};
    expectRefusal(key, lengthError(number));
  }
  for (const auto field : {&SyntheticKey::exponent1, &SyntheticKey::exponent2,
                           &SyntheticKey::coefficient, &SyntheticKey::privateExponent}) {
    SyntheticKey key(64);
    key.*field = {0};
    EXPECT_EQ(convert(key), expectedBlob(key, 0xA400));
  }
}

TEST_F(KeyBlob, TheLargestModulusHas1816Bytes) {
  SyntheticKey largest(1816);
  EXPECT_EQ(convert(largest), expectedBlob(largest, 0xA400));
  for (const size_t n : {1817u, 2334u, 8172u, 8173u, 9000u}) {
    SyntheticKey key(n);
    expectRefusal(key, lengthError(1));
  }
}

TEST_F(KeyBlob, WithoutMemoryItSaysSo) {
  SyntheticKey key(64);
  for (const uint64_t n : {1u, 2u}) {
    spy.failAllocation(n);
    expectRefusal(key, "error allocation memory for BLOB");
    spy.allowAllocations();
  }
}

TEST_F(KeyBlob, TheConversionTracesItsScope) {
  SyntheticKey key(64);
  spy.clearTrace();
  (void)convert(key);
  EXPECT_EQ(spy.traceTexts().front(), "{ aux_convert_RSAPrivateKey_to_PVKBLOB");
}

TEST(ConvertInteger, CountsSignificantBytesAndFillsTheField) {
  const struct {
    Bytes number;
    size_t width;
    int32_t result;
    Bytes field;
  } cases[] = {
      {{}, 2, 0, {0, 0}},
      {{0}, 2, 0, {0, 0}},
      {{1}, 2, 1, {1, 0}},
      {{1, 0}, 2, 2, {0, 1}},
      {{0, 0, 1, 2}, 2, 2, {2, 1}},
      {{1, 0, 0}, 2, -1, {}},
      {{0, 5, 0}, 3, 2, {0, 5, 0}},
      {{1}, 0, -1, {}},
      {{0}, 0, 0, {}},
  };
  for (const auto& [number, width, result, expected] : cases) {
    Bytes source = number;
    Bytes field(width + 1, 0xEE);  // and one byte behind it
    EXPECT_EQ(convertInteger({source.size(), source.data()}, field.data(), width), result);
    EXPECT_EQ(field.back(), 0xEE);
    field.pop_back();
    if (result >= 0) {
      EXPECT_EQ(field, expected);
    }
  }
}

}  // namespace
}  // namespace vexa::capi
