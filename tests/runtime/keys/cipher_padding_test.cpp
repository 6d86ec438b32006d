#include <algorithm>
#include <array>
#include <string>

#include "runtime/crypto_fixture.h"

// The padding that a last block ends with (RFC 5652, 6.3), judged byte by byte.
namespace vexa::test {
namespace {

constexpr size_t kBlock = 16;

class CipherPadding : public CryptoTest {
 protected:
  CipherPadding() {
    std::array<runtime::CipherItem, 2> items = {item(runtime::kCipherKeyBits, &bits_),
                                                item(runtime::kCipherAlgorithm, &algorithm_)};
    items[0].next = &items[1];
    runtime::CipherItem out = item(runtime::kCipherKey, nullptr);
    EXPECT_EQ(spy.crypt.GenerateKey(items.data(), &out, algorithm_), kOk);
    *key_.put() = static_cast<runtime::SymmetricKey*>(out.value);
  }
  void TearDown() override {
    key_.reset();
    CryptoTest::TearDown();
  }

  static runtime::CipherItem item(uint32_t tag, void* value) {
    return {tag, 0, value, 0, 0, {}, nullptr, nullptr};
  }

  int32_t run(const std::string& in, bool isReverse, std::string& out) {
    std::array<runtime::CipherItem, 5> items = {
        item(runtime::kCipherKey, key_.get()), item(runtime::kCipherAlgorithm, &algorithm_),
        item(runtime::kCipherPadding, &padding_), item(runtime::kCipherMode, &mode_),
        item(runtime::kCipherReverse, nullptr)};
    for (size_t i = 0; i + 1 < (isReverse ? items.size() : items.size() - 1); ++i) {
      items[i].next = &items[i + 1];
    }
    out.assign(in.size() + kBlock, '\0');
    runtime::ByteBuffer record = bufferOf(out);
    const int32_t result = spy.crypt.Cipher(
        items.data(), reinterpret_cast<const uint8_t*>(in.data()), in.size(), record.data, &record);
    written_ = out;
    out.resize(failed(result) ? 0 : record.length);
    return result;
  }

  // The whole output of the last run, whatever its result was.
  const std::string& written() const { return written_; }

  // What a block becomes that ends in `padding`, as the last block of a message.
  int32_t open(const std::string& padding, std::string& out) {
    const std::string block = std::string(kBlock - padding.size(), 'x') + padding;
    std::string hidden;
    EXPECT_EQ(run(block, false, hidden), kOk);
    return run(hidden.substr(0, kBlock), true, out);
  }

 private:
  uint32_t bits_ = 256;
  uint32_t algorithm_ = 12;
  uint32_t mode_ = 0;
  uint64_t padding_ = 4;
  Owned<runtime::SymmetricKey> key_;
  std::string written_;
};

TEST_F(CipherPadding, OfAnyLengthIsTakenAway) {
  for (size_t length = 1; length <= kBlock; ++length) {
    std::string out;
    EXPECT_EQ(open(std::string(length, static_cast<char>(length)), out), kOk) << length;
    EXPECT_EQ(out, std::string(kBlock - length, 'x'));
    EXPECT_EQ(written(), out + std::string(kBlock + length, '\0')) << "nothing of it is left";
  }
}

TEST_F(CipherPadding, WithOneWrongByteIsRefused) {
  for (size_t length = 2; length <= kBlock; ++length) {
    for (size_t wrong = 0; wrong + 1 < length; ++wrong) {
      std::string padding(length, static_cast<char>(length));
      padding[wrong] = 'y';
      std::string out;
      EXPECT_EQ(open(padding, out), kFail) << length << " " << wrong;
      EXPECT_EQ(written(), std::string(2 * kBlock, '\0')) << "nothing of the text is left";
    }
  }
}

TEST_F(CipherPadding, OfNoLengthOrTooLongIsRefused) {
  for (const char last : {'\0', '\x11', '\xFF'}) {
    std::string out;
    EXPECT_EQ(open(std::string(1, last), out), kFail) << int{last};
  }
}

}  // namespace
}  // namespace vexa::test
