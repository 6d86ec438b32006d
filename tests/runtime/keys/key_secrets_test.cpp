#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include "runtime/crypto_fixture.h"

// Whether anything of a private key is left in the process when the key is gone. Reads the
// process's memory as the system shows it.
namespace vexa::test {
namespace {

constexpr size_t kPieceLength = 16;
constexpr size_t kPageLength = 4096;
using Piece = std::array<uint8_t, kPieceLength>;

// Pieces of numbers, as bytes and as the limbs that arithmetic works on. They and the memory that
// is searched are kept inverted, so that the search does not find itself.
class Pieces {
 public:
  Pieces() : begins_(1 << 16) {}

  void add(const uint8_t* number, uint64_t length) {
    for (uint64_t at = 8; at + kPieceLength <= length; at += kPieceLength) {
      Piece forwards;
      Piece backwards;
      for (size_t i = 0; i < kPieceLength; ++i) {
        const auto inverted = static_cast<uint8_t>(~number[at + i]);
        forwards[i] = inverted;
        backwards[kPieceLength - 1 - i] = inverted;
      }
      add(forwards);
      add(backwards);
    }
  }

  size_t count() const { return pieces_.size(); }

  // How often a piece begins here, in inverted bytes of which `count` can be its first.
  int countIn(const uint8_t* inverted, size_t count) const {
    int found = 0;
    for (const uint8_t* at = inverted; at != inverted + count; ++at) {
      if (begins_[beginOf(at)]) {
        found += static_cast<int>(std::count_if(
            pieces_.begin(), pieces_.end(),
            [at](const Piece& piece) { return std::equal(piece.begin(), piece.end(), at); }));
      }
    }
    return found;
  }

 private:
  static size_t beginOf(const uint8_t* bytes) {
    return static_cast<size_t>(bytes[0] << 8 | bytes[1]);
  }

  void add(const Piece& piece) {
    pieces_.push_back(piece);
    begins_[beginOf(piece.data())] = 1;
  }

  std::vector<Piece> pieces_;
  std::vector<uint8_t> begins_;  // by the first two bytes: whether a piece begins so
};

// What the system shows of the memory of this process. The window that moves over it lies in shared
// memory, of which there is no other and which is not searched.
class OwnMemory {
 public:
  OwnMemory()
      : file_(open("/proc/self/mem", O_RDONLY | O_CLOEXEC)),
        window_(static_cast<uint8_t*>(mmap(nullptr, kWindowLength, PROT_READ | PROT_WRITE,
                                           MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
  OwnMemory(const OwnMemory&) = delete;
  OwnMemory& operator=(const OwnMemory&) = delete;
  ~OwnMemory() {
    munmap(window_, kWindowLength);
    close(file_);
  }

  // How often the pieces stand in what can be written.
  int count(const Pieces& pieces) {
    int found = 0;
    for (const auto& [start, end] : writableRanges()) {
      std::fill_n(window_, kOverlap, uint8_t{0});
      for (uint64_t at = start; at != end && readPage(at); at += kPageLength) {
        found += isZero_ ? 0 : pieces.countIn(window_, kPageLength);
      }
    }
    return found;
  }

 private:
  static constexpr size_t kOverlap = kPieceLength - 1;
  static constexpr size_t kWindowLength = kOverlap + kPageLength;
  static constexpr uint64_t kMaxRange = 256 << 20;  // above: the shadow of a sanitizer

  static std::vector<std::pair<uint64_t, uint64_t>> writableRanges() {
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
      uint64_t start = 0;
      uint64_t end = 0;
      char dash = 0;
      std::string rights;
      std::istringstream fields(line);
      fields >> std::hex >> start >> dash >> end >> rights;
      if (rights.starts_with("rw-p") && end - start <= kMaxRange) {
        ranges.emplace_back(start, end);
      }
    }
    return ranges;
  }

  // Moves the window on to the page at this address. No secret lies in a page of zeros.
  bool readPage(uint64_t address) {
    static constexpr std::array<uint8_t, kPageLength> kZeros{};
    std::copy_n(window_ + kPageLength, kOverlap, window_);
    uint8_t* const page = window_ + kOverlap;
    if (pread(file_, page, kPageLength, static_cast<off_t>(address)) !=
        static_cast<ssize_t>(kPageLength)) {
      return false;
    }
    isZero_ = std::memcmp(page, kZeros.data(), kPageLength) == 0;
    for (size_t i = 0; i < kPageLength; ++i) {
      page[i] = static_cast<uint8_t>(~page[i]);
    }
    return true;
  }

  const int file_;
  uint8_t* const window_;  // inverted: the end of the last page, and a page
  bool isZero_ = false;
};

int countInMemory(const Pieces& pieces) { return OwnMemory().count(pieces); }

class KeySecretsTest : public CryptoTest {
 protected:
  Pieces piecesOfRsa(const HeldKey& key) {
    Pieces pieces;
    runtime::RsaPrivateKey* numbers = nullptr;
    EXPECT_EQ(
        types.RsaPrivateKeyDecode(key->privateKey.bytes, key->privateKey.bitLength / 8, &numbers),
        kOk);
    for (const runtime::BigInteger* secret :
         {&numbers->privateExponent, &numbers->prime1, &numbers->prime2}) {
      pieces.add(secret->bytes, secret->length);
    }
    types.RsaPrivateKeyRelease(numbers);
    return pieces;
  }

  // ECPrivateKey begins with 30 77 02 01 01 04 20 on this curve.
  Pieces piecesOfP256(const HeldKey& key) {
    constexpr uint64_t kSecretAt = 7;
    constexpr uint64_t kSecretLength = 32;
    Pieces pieces;
    pieces.add(key->privateKey.bytes + kSecretAt, kSecretLength);
    return pieces;
  }

  void signWith(const HeldKey& key) {
    OwnedCertificate made;
    ASSERT_EQ(velmora_certificate_create(made.put()), kOk);
    ASSERT_EQ(velmora_certificate_set_subject(made.get(), "CN=x"), kOk);
    ASSERT_EQ(velmora_certificate_set_validity(made.get(), "20240101T000000", "20250101T000000"),
              kOk);
    ASSERT_EQ(velmora_certificate_set_public_key(made.get(), &key->publicKey), kOk);
    ASSERT_EQ(velmora_certificate_sign(made.get(), key.get(), nullptr), kOk);
  }

  // Writes a file with the key and reads it.
  void passThroughFile(const HeldKey& key) {
    HeldParameters parameters;
    ASSERT_EQ(spy.pkcs12Types.ParametersCreate(parameters.put()), kOk);
    parameters->version = 3;
    parameters->iterations = 2;
    parameters->macDigest = types.TextDuplicate("SHA-1");
    parameters->bagEncryption1 = types.TextDuplicate("pbeWithSHA1And128BitRC4");
    parameters->bagEncryption2 = types.TextDuplicate("pbeWithSHA1And3-KeyTripleDES-CBC");
    ASSERT_EQ(spy.pkcs12Types.BagNodeCreate(&parameters->contents), kOk);
    ASSERT_EQ(spy.pkcs12Types.BagCreate(&parameters->contents->bag), kOk);
    runtime::SafeBag& bag = *parameters->contents->bag;
    bag.type = runtime::kKeyBag;
    bag.shrouded = 1;
    ASSERT_EQ(spy.pkcs12Types.PrivateKeyInfoCreate(&bag.key), kOk);
    ASSERT_EQ(types.ObjectIdFromText("1.2.840.113549.1.1.1", &bag.key->algorithm.identifier), kOk);
    const uint64_t length = key->privateKey.bitLength / 8;
    bag.key->key = {length, static_cast<uint8_t*>(spy.root.Allocate(length))};
    std::memcpy(bag.key->key.data, key->privateKey.bytes, length);

    String password("secret");
    HeldBuffer file;
    ASSERT_EQ(spy.pkcs12.Encode(parameters.get(), password.get(), file.put()), kOk);
    HeldBags bags;
    uint8_t verified = 0;
    ASSERT_EQ(spy.pkcs12.Decode(file.get(), nullptr, password.get(), bags.put(), &verified), kOk);
    ASSERT_EQ(bags->bag->key->key.length, length);
  }
};

TEST_F(KeySecretsTest, NothingOfAnRsaKeyIsLeftBehind) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_rsa(2048, key.put()), kOk);
  const Pieces pieces = piecesOfRsa(key);
  ASSERT_GT(pieces.count(), 40u);
  EXPECT_GT(countInMemory(pieces), 0) << "the search finds a key that is there";
  signWith(key);
  key.reset();
  EXPECT_EQ(countInMemory(pieces), 0);
}

TEST_F(KeySecretsTest, NothingOfAKeyOnACurveIsLeftBehind) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_ec("P-256", key.put()), kOk);
  const Pieces pieces = piecesOfP256(key);
  EXPECT_GT(countInMemory(pieces), 0) << "the search finds a key that is there";
  signWith(key);
  key.reset();
  EXPECT_EQ(countInMemory(pieces), 0);
}

TEST_F(KeySecretsTest, NothingOfAKeyInAFileIsLeftBehind) {
  HeldKey key;
  ASSERT_EQ(velmora_key_generate_rsa(2048, key.put()), kOk);
  const Pieces pieces = piecesOfRsa(key);
  passThroughFile(key);
  key.reset();
  EXPECT_EQ(countInMemory(pieces), 0);
}

}  // namespace
}  // namespace vexa::test
