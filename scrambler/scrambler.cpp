#include "scrambler/scrambler.h"

#include <cstring>
#include <string>
#include <utility>

#include "base/cipher_sizes.h"
#include "base/heap.h"
#include "base/trace.h"
#include "scrambler/cipher.h"
#include "scrambler/cipher_items.h"

namespace vexa::scrambler {
namespace {

// Names this implementation. Asked for on a target before a key is put into it.
// {7A1F93C8-04E6-4B5D-9D37-E2B8506C1F4A}
constexpr Guid kScramblerId{
    0x7A1F93C8, 0x04E6, 0x4B5D, {0x9D, 0x37, 0xE2, 0xB8, 0x50, 0x6C, 0x1F, 0x4A}};

constexpr uint64_t kStartBlockSize = 16;  // what algorithm 0, which no table looks up, keeps
constexpr uint32_t kForwardItems = 6;
constexpr uint32_t kReverseItems = 7;
constexpr uint32_t kRandomKind = 2;
constexpr uint64_t kPadding = 4;  // which padding the crypto runtime shall use

bool hasBytes(const runtime::ByteBuffer* buffer) {
  return buffer != nullptr && (buffer->data != nullptr || buffer->length == 0);
}

// A zero-terminated copy. Whole units: bytes of an odd length are ended by one zero byte more.
char16_t* copyAsText(const runtime::ByteBuffer& bytes) {
  const uint64_t size =
      (bytes.length / sizeof(char16_t) + bytes.length % sizeof(char16_t) + 1) * sizeof(char16_t);
  auto* text = static_cast<char16_t*>(base::allocate(size));
  if (text != nullptr) {
    std::memset(text, 0, size);
    std::memcpy(text, bytes.data, bytes.length);
  }
  return text;
}

const base::InterfaceMapRow kMap[] = {
    base::mapRow<CScrambler, IScrambler>(IID_IScrambler),
    base::mapRow<CScrambler, CScrambler>(kScramblerId),
    base::mapEnd(),
};

}  // namespace

const base::InterfaceMapRow* CScrambler::InterfaceMap() { return kMap; }

void CScrambler::select(uint32_t algorithm, uint32_t mode) {
  algorithm_ = algorithm;
  mode_ = mode;
}

int32_t CScrambler::Initialize(uint32_t keyBits) {
  return base::traced("CScrambler::Initialize", [&] {
    if (key_) {
      return kFail;
    }
    uint64_t blockSize = kStartBlockSize;
    uint64_t tableBits = 0;
    (void)base::GetCipherBlockSize(algorithm_, &blockSize);  // an unknown algorithm: size 0
    (void)base::GetCipherKeyBits(algorithm_, &tableBits);
    // Without a key the object stays as it is: its operations say so.
    (void)generateKey(algorithm_, tableBits != 0 ? tableBits : keyBits, key_.put());
    if (mode_ != kScrambleChained && mode_ != kScrambleFeedback) {
      return kOk;
    }
    if (const int32_t result = makeVector(blockSize); failed(result)) {
      key_.reset();
      return result;
    }
    if (mode_ == kScrambleFeedback) {
      extraLength_ = blockSize;
    }
    return kOk;
  });
}

int32_t CScrambler::makeVector(uint64_t blockSize) {
  vector_ = {};
  vectorBytes_.reset();
  vectorBytes_ = base::RootBlock<uint8_t>::ofBytes(blockSize);
  if (!vectorBytes_) {
    return kOutOfMemory;
  }
  vector_ = {blockSize, vectorBytes_.get()};
  (void)base::bound.random->GetBytes(kRandomKind, blockSize, 0, vector_.data);
  return kOk;
}

int32_t CScrambler::checkArguments(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) const {
  if (!key_) {
    return kFail;
  }
  return hasBytes(in) && out != nullptr ? kOk : kNullPointer;
}

// The items come in a fixed order; the mark of the reverse direction stands before the vector.
template <CScrambler::Direction kDirection>
int32_t CScrambler::cipher(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) {
  uint64_t padding = kPadding;
  CipherItems<kDirection == Direction::kReverse ? kReverseItems : kForwardItems> items;
  items.add(runtime::kCipherKey, key_.get());
  items.add(runtime::kCipherAlgorithm, &algorithm_);
  items.add(runtime::kCipherPadding, &padding);
  items.add(runtime::kCipherMode, &mode_);
  if constexpr (kDirection == Direction::kReverse) {
    items.add(runtime::kCipherReverse, nullptr);
  }
  if (vector_.length != 0) {
    items.add(runtime::kCipherIv, &vector_);
  }
  if (extraLength_ != 0) {
    items.add(runtime::kCipherExtraLength, &extraLength_);
  }
  return runCipher(items.first(), in, out);
}

int32_t CScrambler::ScrambleString(const char16_t* text, runtime::ByteBuffer** out) {
  return base::traced("CScrambler::ScrambleString", [&] {
    if (!key_) {
      return kFail;
    }
    if (text == nullptr || out == nullptr) {
      return kNullPointer;
    }
    // Only read from.
    auto* bytes = reinterpret_cast<uint8_t*>(const_cast<char16_t*>(text));
    const runtime::ByteBuffer input{std::char_traits<char16_t>::length(text) * sizeof(char16_t),
                                    bytes};
    return Scramble(&input, out);
  });
}

int32_t CScrambler::UnscrambleString(const runtime::ByteBuffer* in, char16_t** text) {
  return base::traced("CScrambler::UnscrambleString", [&] {
    if (text != nullptr) {
      *text = nullptr;
    }
    if (!key_) {
      return kFail;
    }
    if (in == nullptr || text == nullptr) {
      return kNullPointer;
    }
    base::SecretBuffer plain;
    if (const int32_t result = Unscramble(in, plain.put()); failed(result)) {
      return result;
    }
    *text = copyAsText(*plain);
    return *text != nullptr ? kOk : kOutOfMemory;
  });
}

int32_t CScrambler::Scramble(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) {
  return base::traced("CScrambler::Scramble", [&] {
    const int32_t result = checkArguments(in, out);
    return failed(result) ? result : cipher<Direction::kForward>(in, out);
  });
}

int32_t CScrambler::Unscramble(const runtime::ByteBuffer* in, runtime::ByteBuffer** out) {
  return base::traced("CScrambler::Unscramble", [&] {
    const int32_t result = checkArguments(in, out);
    return failed(result) ? result : cipher<Direction::kReverse>(in, out);
  });
}

int32_t CScrambler::CopyKeyTo(IScrambler* target) {
  return base::traced("CScrambler::CopyKeyTo", [&] {
    base::ComPtr<CScrambler> own;
    if (target == nullptr || failed(target->QueryInterface(&kScramblerId, own.putVoid())) || !own) {
      return kInvalidArgument;
    }
    if (own.get() == this) {
      return kOk;
    }
    own->key_.reset();
    if (!key_ || !base::bound.crypt) {
      return kOk;
    }
    // A shared key would be wiped under the other holder.
    SymmetricKey copy;
    const int32_t result = key_->table->header.Duplicate(
        reinterpret_cast<runtime::Object*>(key_.get()), copy.putVoid());
    if (failed(result) || !copy) {
      return kOutOfMemory;
    }
    own->key_ = std::move(copy);
    return kOk;
  });
}

namespace {

struct CipherChoice {
  uint32_t algorithm;
  uint32_t mode;
};

// No choice: the object's own defaults.
int32_t createScrambler(const CipherChoice* choice, uint32_t keyBits, IScrambler** out) {
  if (out == nullptr) {
    return kNullPointer;
  }
  *out = nullptr;
  base::ComPtr<base::CComObject<CScrambler>> scrambler;
  if (const int32_t result = base::createObject(scrambler); failed(result)) {
    return result;
  }
  if (choice != nullptr) {
    scrambler->select(choice->algorithm, choice->mode);
  }
  (void)scrambler->Initialize(keyBits);  // without a key its operations fail
  *out = scrambler.release();
  return kOk;
}

}  // namespace

int32_t CreateScrambler(uint32_t keyBits, IScrambler** out) {
  return base::traced("CreateScrambler", [&] { return createScrambler(nullptr, keyBits, out); });
}

int32_t CreateScramblerEx(uint32_t algorithm, uint32_t mode, uint32_t keyBits, IScrambler** out) {
  return base::traced("CreateScramblerEx", [&] {
    const CipherChoice choice{algorithm, mode};
    return createScrambler(&choice, keyBits, out);
  });
}

}  // namespace vexa::scrambler
