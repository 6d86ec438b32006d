#include <deque>
#include <optional>

#include "runtime/crypto_fixture.h"
#include "support/sweep.h"

namespace vexa::test {
namespace {

class CipherTest : public CryptoTest {
 protected:
  // A parameter list as the scrambler builds it; absent parts are left out.
  struct Request {
    uint32_t algorithm = 12;
    std::optional<uint32_t> mode = 0;
    std::optional<uint64_t> padding = 4;
    std::string iv = {};
    uint64_t extra = 0;
    bool reverse = false;
    runtime::SymmetricKey* key = nullptr;
  };

  class List {
   public:
    explicit List(const Request& request) : request_(request), iv_(bufferOf(request_.iv)) {
      if (request_.key != nullptr) {
        add(runtime::kCipherKey, request_.key);
      }
      add(runtime::kCipherAlgorithm, &request_.algorithm);
      if (request_.padding) {
        add(runtime::kCipherPadding, &*request_.padding);
      }
      if (request_.mode) {
        add(runtime::kCipherMode, &*request_.mode);
      }
      if (request_.reverse) {
        add(runtime::kCipherReverse, nullptr);
      }
      if (!request_.iv.empty()) {
        add(runtime::kCipherIv, &iv_);
      }
      if (request_.extra != 0) {
        add(runtime::kCipherExtraLength, &request_.extra);
      }
    }
    List(const List&) = delete;
    List& operator=(const List&) = delete;
    const runtime::CipherItem* first() const { return &items_.front(); }

   private:
    void add(uint32_t tag, void* value) {
      items_.push_back({tag, 0, value, 0, 0, {}, nullptr, nullptr});
      if (items_.size() > 1) {
        items_[items_.size() - 2].next = &items_.back();
      }
    }

    Request request_;
    runtime::ByteBuffer iv_;
    std::deque<runtime::CipherItem> items_;
  };

  int32_t generate(uint32_t bits, uint32_t algorithm, runtime::SymmetricKey** key) {
    runtime::CipherItem second{
        runtime::kCipherAlgorithm, 0, &algorithm, 0, 0, {}, nullptr, nullptr};
    const runtime::CipherItem first{runtime::kCipherKeyBits, 0, &bits, 0, 0, {}, nullptr, &second};
    runtime::CipherItem out{runtime::kCipherKey, 0, nullptr, 0, 0, {}, nullptr, nullptr};
    const int32_t result = spy.crypt.GenerateKey(&first, &out, algorithm);
    *key = static_cast<runtime::SymmetricKey*>(out.value);
    return result;
  }

  Owned<runtime::SymmetricKey> newKey(uint32_t bits, uint32_t algorithm) {
    Owned<runtime::SymmetricKey> key;
    EXPECT_EQ(generate(bits, algorithm, key.put()), kOk);
    return key;
  }

  Owned<runtime::SymmetricKey> knownKey(uint32_t algorithm, const std::string& bytes) {
    auto key = newKey(static_cast<uint32_t>(8 * bytes.size()), algorithm);
    std::copy(bytes.begin(), bytes.end(), key->table->GetBytes(key.get()));
    return key;
  }

  // Asks for the size, then runs the cipher in a block of exactly that size.
  int32_t run(const Request& request, const std::string& in, std::string* out) {
    const List list(request);
    uint64_t size = 0;
    int32_t result = spy.crypt.GetOutputSize(list.first(), in.size(), &size);
    if (result < 0) {
      return result;
    }
    const ExactBytes input(in);
    const ExactBytes output(std::string(size, '\xEE'));
    runtime::ByteBuffer record{size, output.data()};
    result = spy.crypt.Cipher(list.first(), input.data(), in.size(), output.data(), &record);
    EXPECT_LE(record.length, size);
    if (result < 0) {
      EXPECT_EQ(record.length, size) << "the length is left alone on failure";
    }
    out->assign(reinterpret_cast<char*>(output.data()), record.length);
    return result;
  }
};

struct VectorCase {
  const char* name;
  uint32_t algorithm;
  const char* key;
  uint32_t mode;
  const char* iv;
  uint64_t extra;
  const char* plain;
  const char* cipher;  // the beginning, in the padded modes
};
void PrintTo(const VectorCase& value, std::ostream* out) { *out << value.name; }
class CipherVector : public CipherTest, public ::testing::WithParamInterface<VectorCase> {};

TEST_P(CipherVector, GivesThePublishedResultAndComesBack) {
  const VectorCase& given = GetParam();
  const auto key = knownKey(given.algorithm, fromHex(given.key));
  Request request{.algorithm = given.algorithm,
                  .mode = given.mode,
                  .iv = fromHex(given.iv),
                  .extra = given.extra,
                  .key = key.get()};
  std::string cipher, plain;
  ASSERT_EQ(run(request, fromHex(given.plain), &cipher), kOk);
  EXPECT_EQ(toHex(cipher.data(), cipher.size()).substr(0, std::string(given.cipher).size()),
            given.cipher);
  request.reverse = true;
  ASSERT_EQ(run(request, cipher, &plain), kOk);
  EXPECT_EQ(toHex(plain.data(), plain.size()), given.plain);
}

constexpr char kFipsPlain[] = "00112233445566778899aabbccddeeff";
constexpr char kFipsKey[] = "000102030405060708090a0b0c0d0e0f";
constexpr char kNistKey[] = "2b7e151628aed2a6abf7158809cf4f3c";

// FIPS 197, appendix C; SP 800-38A, appendix F; RFC 2144, appendix B.1; the worked example of DES
// that everybody prints, whose key 133457799bbcdff1 has these seven bytes without its parity; SP
// 800-17, table 1.
INSTANTIATE_TEST_SUITE_P(
    All, CipherVector,
    ::testing::Values(
        VectorCase{"Des", 1, "12695bc9b7b7f8", 0, "", 0, "0123456789abcdef", "85e813540f0ab405"},
        VectorCase{"DesWithAWeakKey", 1, "00000000000000", 0, "", 0, "95f8a5e5dd31d900",
                   "8000000000000000"},
        VectorCase{"TripleDesSpread", 2, "12695bc9b7b7f812695bc9b7b7f812695bc9b7b7f8", 0, "", 0,
                   "0123456789abcdef", "85e813540f0ab405"},
        VectorCase{"TripleDesAsGiven", 7, "133457799bbcdff1133457799bbcdff1133457799bbcdff1", 0, "",
                   0, "0123456789abcdef", "85e813540f0ab405"},
        VectorCase{"Cast5", 4, "0123456712345678234567893456789a", 0, "", 0, "0123456789abcdef",
                   "238b4fe5847e44b2"},
        VectorCase{"Aes128", 10, kFipsKey, 0, "", 0, kFipsPlain,
                   "69c4e0d86a7b0430d8cdb78070b4c55a"},
        VectorCase{"Aes192", 11, "000102030405060708090a0b0c0d0e0f1011121314151617", 0, "", 0,
                   kFipsPlain, "dda97ca4864cdfe06eaf70a0ec0d7191"},
        VectorCase{"Aes256", 12, "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f",
                   0, "", 0, kFipsPlain, "8ea2b7ca516745bfeafc49904b496089"},
        VectorCase{"Cbc", 10, kNistKey, 1, kFipsKey, 0, "6bc1bee22e409f96e93d7e117393172a",
                   "7649abac8119b246cee98e9b12e9197d"},
        VectorCase{"Cfb128", 10, kNistKey, 2, kFipsKey, 16,
                   "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51",
                   "3b3fd92eb72dad20333449f8e83cfb4ac8a64537a0b3a93fcde3cdad9f1ce58b"},
        VectorCase{"Cfb8", 10, kNistKey, 2, kFipsKey, 1, "6bc1bee22e409f96e93d7e117393172aae2d",
                   "3b79424c9c0dd436bace9e0ed4586a4f32b9"},
        VectorCase{"Stream", 6, "abc0", 0, "", 0, "736372616d626c6564", "ebb7397bea68cd0ef4"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(CipherTest, EveryLengthComesBackInEveryMode) {
  for (const uint32_t algorithm : {1u, 2u, 4u, 6u, 7u, 10u, 11u, 12u}) {
    const uint32_t bits[] = {0, 56, 168, 0, 128, 0, 12, 192, 0, 0, 128, 192, 256};
    const auto key = newKey(bits[algorithm], algorithm);
    const size_t block = algorithm >= 10 ? 16 : 8;
    for (uint32_t mode = 0; mode < 3; ++mode) {
      for (size_t length = 0; length <= 2 * block + 1; ++length) {
        Request request{.algorithm = algorithm,
                        .mode = mode,
                        .iv = mode == 0 ? "" : std::string(block, 'v'),
                        .extra = mode == 2 ? block : 0,
                        .key = key.get()};
        const std::string plain(length, 'p');
        std::string cipher, back;
        ASSERT_EQ(run(request, plain, &cipher), kOk);
        const bool padded = algorithm != 6 && mode != 2;
        EXPECT_EQ(cipher.size(), padded ? (length / block + 1) * block : length);
        request.reverse = true;
        ASSERT_EQ(run(request, cipher, &back), kOk);
        EXPECT_EQ(back, plain);
      }
    }
  }
}

TEST_F(CipherTest, TheStreamIgnoresModeVectorAndPadding) {
  const auto key = newKey(1, 6);
  std::string first, second;
  ASSERT_EQ(run({.algorithm = 6, .key = key.get()}, "text", &first), kOk);
  ASSERT_EQ(
      run({.algorithm = 6, .mode = 9, .padding = {}, .iv = "iv", .extra = 3, .key = key.get()},
          "text", &second),
      kOk);
  EXPECT_EQ(first, second);
}

TEST_F(CipherTest, FeedbackIgnoresThePadding) {
  const auto key = newKey(256, 12);
  std::string out;
  EXPECT_EQ(
      run({.mode = 2, .padding = {}, .iv = std::string(16, 'v'), .extra = 16, .key = key.get()},
          "text", &out),
      kOk);
}

TEST_F(CipherTest, WhatDoesNotFitIsRefused) {
  const auto key = newKey(256, 12);
  const auto other = newKey(64, 6);
  const std::string iv(16, 'v');
  const Request refused[] = {
      {.algorithm = 0, .key = key.get()},
      {.algorithm = 3, .key = key.get()},
      {.algorithm = 13, .key = key.get()},
      {.mode = {}, .key = key.get()},
      {.mode = 3, .iv = iv, .key = key.get()},
      {.padding = {}, .key = key.get()},
      {.padding = 5, .key = key.get()},
      {.mode = 1, .key = key.get()},
      {.mode = 1, .iv = "short", .key = key.get()},
      {.mode = 2, .extra = 16, .key = key.get()},
      {.mode = 2, .iv = iv, .key = key.get()},
      {.mode = 2, .iv = iv, .extra = 17, .key = key.get()},
      {},                    // no key
      {.key = other.get()},  // a key of another length
  };
  int n = 0;
  for (const Request& request : refused) {
    std::string out;
    EXPECT_EQ(run(request, "text", &out), kInvalidArgument) << n++;
  }
}

TEST_F(CipherTest, InputThatNoForwardCallGaveIsRefused) {
  const auto key = newKey(256, 12);
  const Request request{.reverse = true, .key = key.get()};
  for (const size_t length : {0u, 1u, 15u, 17u}) {
    std::string out;
    EXPECT_EQ(run(request, std::string(length, 'x'), &out), kFail) << length;
  }
  // A block whose padding is wrong, found by trying.
  int refused = 0;
  for (char c = 'a'; c <= 'p'; ++c) {
    std::string out;
    refused += run(request, std::string(16, c), &out) < 0;
  }
  EXPECT_GT(refused, 8);
}

TEST_F(CipherTest, ATooSmallOutputIsRefused) {
  const auto key = newKey(256, 12);
  const List list(Request{.key = key.get()});
  uint8_t out[32];
  runtime::ByteBuffer record{15, out};
  const uint8_t in[1] = {};
  EXPECT_EQ(spy.crypt.Cipher(list.first(), in, 1, out, &record), kInvalidArgument);
  EXPECT_EQ(record.length, 15u);
}

TEST_F(CipherTest, NullPointersAreRefused) {
  const auto key = newKey(256, 12);
  const List list(Request{.key = key.get()});
  uint8_t byte = 0;
  uint64_t size = 0;
  runtime::ByteBuffer record{16, &byte};
  EXPECT_EQ(spy.crypt.GetOutputSize(nullptr, 1, &size), kNullPointer);
  EXPECT_EQ(spy.crypt.GetOutputSize(list.first(), 1, nullptr), kNullPointer);
  EXPECT_EQ(spy.crypt.Cipher(nullptr, &byte, 1, &byte, &record), kNullPointer);
  EXPECT_EQ(spy.crypt.Cipher(list.first(), nullptr, 1, &byte, &record), kNullPointer);
  EXPECT_EQ(spy.crypt.Cipher(list.first(), &byte, 1, nullptr, &record), kNullPointer);
  EXPECT_EQ(spy.crypt.Cipher(list.first(), &byte, 1, &byte, nullptr), kNullPointer);
  runtime::CipherItem out{runtime::kCipherKey, 0, nullptr, 0, 0, {}, nullptr, nullptr};
  EXPECT_EQ(spy.crypt.GenerateKey(nullptr, &out, 12), kNullPointer);
  EXPECT_EQ(spy.crypt.GenerateKey(list.first(), nullptr, 12), kNullPointer);
}

TEST_F(CipherTest, NothingIsAlsoRunThroughAStream) {
  const auto key = newKey(64, 6);
  const List list(Request{.algorithm = 6, .key = key.get()});
  runtime::ByteBuffer record{9, nullptr};
  EXPECT_EQ(spy.crypt.Cipher(list.first(), nullptr, 0, nullptr, &record), kOk);
  EXPECT_EQ(record.length, 0u);
}

TEST_F(CipherTest, WithoutAKeyOrAnAlgorithmNothingIsEncrypted) {
  const auto key = newKey(64, 6);
  uint8_t byte = 'x';
  runtime::ByteBuffer record{1, &byte};
  uint32_t algorithm = 6;
  runtime::CipherItem noKey{runtime::kCipherKey, 0, nullptr, 0, 0, {}, nullptr, nullptr};
  const runtime::CipherItem first{
      runtime::kCipherAlgorithm, 0, &algorithm, 0, 0, {}, nullptr, &noKey};
  EXPECT_EQ(spy.crypt.Cipher(&first, &byte, 1, &byte, &record), kInvalidArgument);
  runtime::CipherItem onlyKey{runtime::kCipherKey, 0, key.get(), 0, 0, {}, nullptr, nullptr};
  EXPECT_EQ(spy.crypt.Cipher(&onlyKey, &byte, 1, &byte, &record), kInvalidArgument);
  algorithm = 5;
  noKey.value = key.get();
  EXPECT_EQ(spy.crypt.Cipher(&first, &byte, 1, &byte, &record), kInvalidArgument);
  EXPECT_EQ(byte, 'x');
  EXPECT_EQ(record.length, 1u);
}

TEST_F(CipherTest, KeysAreMadeForKnownCiphersInTheirLength) {
  runtime::SymmetricKey* key = nullptr;
  for (const uint32_t algorithm : {0u, 3u, 5u, 8u, 9u, 13u}) {
    EXPECT_EQ(generate(128, algorithm, &key), kInvalidArgument) << algorithm;
    EXPECT_EQ(key, nullptr);
  }
  EXPECT_EQ(generate(64, 12, &key), kBadKeyLength);
  EXPECT_EQ(generate(0, 6, &key), kBadKeyLength);
  EXPECT_EQ(generate(16385, 6, &key), kBadKeyLength);
  EXPECT_EQ(newKey(16384, 6)->table->GetBitLength(newKey(16384, 6).get()), 16384u);
}

// A longer list is one that runs in a circle.
TEST_F(CipherTest, ParametersAreLookedForAmongSixtyFour) {
  uint32_t algorithm = 6;
  uint64_t size = 0;
  for (const size_t count : {1u, 64u, 65u}) {
    std::deque<runtime::CipherItem> items(count);
    for (size_t i = 1; i < count; ++i) {
      items[i - 1].next = &items[i];
    }
    items.back().tag = runtime::kCipherAlgorithm;
    items.back().value = &algorithm;
    EXPECT_EQ(spy.crypt.GetOutputSize(&items.front(), 9, &size),
              count <= 64 ? kOk : kInvalidArgument)
        << count;
  }
  EXPECT_EQ(size, 9u);
  runtime::CipherItem circle{};
  circle.next = &circle;
  EXPECT_EQ(spy.crypt.GetOutputSize(&circle, 9, &size), kInvalidArgument);
}

TEST_F(CipherTest, TwoKeysDiffer) {
  const auto a = newKey(256, 12);
  const auto b = newKey(256, 12);
  EXPECT_NE(toHex(a->table->GetBytes(a.get()), 32), toHex(b->table->GetBytes(b.get()), 32));
}

TEST_F(CipherTest, ADuplicateKeyHasBytesOfItsOwn) {
  const auto key = newKey(12, 6);
  void* copied = nullptr;
  ASSERT_EQ(key->table->header.Duplicate(reinterpret_cast<runtime::Object*>(key.get()), &copied),
            kOk);
  Owned<runtime::SymmetricKey> copy;
  *copy.put() = static_cast<runtime::SymmetricKey*>(copied);
  ASSERT_NE(copy.get(), key.get());
  EXPECT_EQ(copy->table->GetBitLength(copy.get()), 12u);
  const std::string before = toHex(copy->table->GetBytes(copy.get()), 2);
  EXPECT_EQ(before, toHex(key->table->GetBytes(key.get()), 2));
  key->table->GetBytes(key.get())[0] = static_cast<uint8_t>(~key->table->GetBytes(key.get())[0]);
  EXPECT_EQ(toHex(copy->table->GetBytes(copy.get()), 2), before);
}

TEST_F(CipherTest, ReleasedKeysAreWiped) {
  auto key = newKey(256, 12);
  const std::string bytes(reinterpret_cast<char*>(key->table->GetBytes(key.get())), 32);
  int found = 0;
  spy.onFree = [&](const uint8_t* block, uint64_t size) {
    found += std::string_view(reinterpret_cast<const char*>(block), size).find(bytes) !=
             std::string_view::npos;
  };
  key.reset();
  spy.onFree = nullptr;
  EXPECT_EQ(found, 0);
}

TEST_F(CipherTest, EveryFailedAllocationIsSurvived) {
  sweepAllocations(spy, [&] {
    Owned<runtime::SymmetricKey> key, copy;
    int32_t result = generate(256, 12, key.put());
    void* copied = nullptr;
    if (result == kOk) {
      auto* const object = reinterpret_cast<runtime::Object*>(key.get());
      result = object->table->Duplicate(object, &copied);
    }
    *copy.put() = static_cast<runtime::SymmetricKey*>(copied);
    EXPECT_TRUE(result == kOk || result == kOutOfMemory) << result;
    return result == kOk;
  });
}

}  // namespace
}  // namespace vexa::test
