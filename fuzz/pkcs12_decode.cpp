#include <cstdlib>

#include "runtime/basic_tables.h"
#include "runtime/exports/common_types.h"
#include "runtime/heap.h"
#include "runtime/pkcs12/password_derivation.h"
#include "runtime/pkcs12/pkcs12_table.h"
#include "vexa/results.h"

// A PKCS#12 file under the password "secret": bags come only with success, each is complete, and
// nothing stays behind.
namespace {

using namespace vexa;
using namespace vexa::velmora;

constexpr uint32_t kMostRounds = 64;  // a mutated count must not eat the time

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void readAll(const runtime::BagNode* node) {
  for (; node != nullptr; node = node->next) {
    require(node->bag != nullptr);
    const runtime::SafeBag& bag = *node->bag;
    if (bag.type == runtime::kKeyBag) {
      require(bag.key != nullptr && bag.key->algorithm.identifier != nullptr);
      runtime::RsaPrivateKey* key = nullptr;
      commonTypes().RsaPrivateKeyDecode(bag.key->key.data, bag.key->key.length, &key);
      commonTypes().RsaPrivateKeyRelease(key);
    } else {
      require(bag.type == runtime::kCertificateBag && bag.certificate != nullptr);
      require(commonTypes().CertificateCompare(bag.certificate, bag.certificate) == 0);
    }
    if (bag.friendlyName != nullptr) {
      stringTable.GetText(bag.friendlyName);
    }
    if (bag.localKeyId != nullptr) {
      require(commonTypes().BufferCompare(bag.localKeyId, bag.localKeyId) == 0);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  limitRounds(kMostRounds);
  const uint64_t before = liveBlocks();
  const runtime::ByteBuffer input{size, const_cast<uint8_t*>(data)};
  char text[] = "secret";
  const runtime::StringObject password{text, sizeof(text) - 1};
  runtime::BagNode* bags = nullptr;
  uint8_t verified = 0xFF;
  const int32_t result = pkcs12Table.Decode(&input, nullptr, &password, &bags, &verified);
  require(verified <= 1);
  require(result == kOk || bags == nullptr);
  readAll(bags);
  const runtime::Pkcs12TypesTable* types = nullptr;
  require(pkcs12Table.GetTypes(&types) == kOk);
  types->BagListRelease(bags);
  require(liveBlocks() == before);
  return 0;
}
