#include <cstring>
#include <utility>

#include "base/certificate_chain.h"
#include "base/heap.h"
#include "base/trace.h"
#include "base/wipe.h"
#include "pkcs12/certificate_bags.h"
#include "pkcs12/in_order.h"
#include "pkcs12/pkcs12.h"

namespace vexa::pkcs12 {
namespace {

using base::bound;

// Collects the key and the certificates from the bags. Its cost grows with the keys and the
// certificates, not with their pairs.
class PfxReader {
 public:
  explicit PfxReader(const runtime::BagNode* bags) : bags_(bags) {}

  int32_t read() {
    return inOrder([&] { return collectCertificates(); }, [&] { return takeKeys(); },
                   [&] { return key_ ? kOk : kFail; }, [&] { return listAll(); });
  }

  void handOut(runtime::KeyObject** key, runtime::CertificateList** certificates) {
    *key = key_.release();
    *certificates = certificates_.release();
  }

 private:
  static bool isKeyBag(const runtime::SafeBag* bag) {
    return bag != nullptr && bag->type == runtime::kKeyBag && bag->key != nullptr;
  }

  int32_t collectCertificates() {
    return inOrder([&] { return certificateBags_.collect(bags_); }, [&] { return addCandidates(); },
                   [&] { return certificates_.arrange(); });
  }

  int32_t addCandidates() {
    int32_t result = kOk;
    for (uint64_t i = 0; i < certificateBags_.size() && result == kOk; ++i) {
      result = certificates_.addCandidate(certificateBags_[i].certificate);
    }
    return result;
  }

  int32_t takeKeys() {
    int32_t result = kOk;
    for (const auto* node = bags_; node != nullptr && result == kOk; node = node->next) {
      if (isKeyBag(node->bag)) {
        result = takeKey(*node->bag);
      }
    }
    return result;
  }

  // The certificate that belongs to the key is in the list already and stays first.
  int32_t listAll() {
    int32_t result = kOk;
    for (uint64_t i = 0; i < certificateBags_.size() && result == kOk; ++i) {
      result = certificates_.list(i);
    }
    return result;
  }

  // A later key bag overwrites an earlier one.
  int32_t takeKey(const runtime::SafeBag& keyBag) {
    return inOrder(
        [&] { return keyBag.localKeyId != nullptr ? takeCertificatesOf(*keyBag.localKeyId) : kOk; },
        [&] { return ensureKey(); },
        [&] {
          return bound.commonTypes->AlgorithmIdCopy(&key_->privateKey.algorithm,
                                                    &keyBag.key->algorithm);
        },
        [&] { return takeMaterial(keyBag.key->key); });
  }

  // The certificates with the id of a key are listed, and each puts its public key in the place of
  // the one before. Whether ids are equal is for the runtime to say: once for all of a group.
  int32_t takeCertificatesOf(const runtime::ByteBuffer& id) {
    CertificateBags::Group* const group = certificateBags_.withId(id);
    if (group == nullptr || bound.commonTypes->BufferCompare(
                                certificateBags_[group->numbers.front()].localKeyId, &id) != 0) {
      return kOk;
    }
    if (std::exchange(group->isTaken, true)) {
      return takeLastPublicKey(group->numbers);
    }
    int32_t result = kOk;
    for (uint64_t i = 0; i < group->numbers.size() && result == kOk; ++i) {
      const uint64_t number = group->numbers[i];
      result = inOrder([&] { return certificates_.list(number); },
                       [&] { return takePublicKey(certificateBags_[number].certificate); });
    }
    return result;
  }

  // All that is left to do for a further key with the same id.
  int32_t takeLastPublicKey(std::span<const uint64_t> numbers) {
    for (; !numbers.empty(); numbers = numbers.first(numbers.size() - 1)) {
      runtime::Certificate* const certificate = certificateBags_[numbers.back()].certificate;
      if (certificate->table->GetPublicKey(certificate) != nullptr) {
        return takePublicKey(certificate);
      }
    }
    return kOk;
  }

  int32_t ensureKey() { return key_ ? kOk : bound.commonTypes->KeyCreate(key_.put()); }

  int32_t takePublicKey(runtime::Certificate* certificate) {
    return inOrder([&] { return ensureKey(); },
                   [&] {
                     const auto* const publicKey = certificate->table->GetPublicKey(certificate);
                     return publicKey == nullptr
                                ? kOk
                                : bound.commonTypes->PublicKeyCopy(&key_->publicKey, publicKey);
                   });
  }

  int32_t takeMaterial(const runtime::ByteBuffer& source) {
    auto* const bytes = static_cast<uint8_t*>(base::allocate(source.length));
    if (bytes == nullptr) {
      return kOutOfMemory;
    }
    if (source.length != 0) {
      std::memcpy(bytes, source.data, source.length);
    }
    runtime::PrivateKeyMaterial& material = key_->privateKey;
    const base::RootBlock<uint8_t> old(std::exchange(material.bytes, bytes));
    if (old) {
      base::wipe(old.get(), material.bitLength / 8);
    }
    material.bitLength = 8 * source.length;
    return kOk;
  }

  const runtime::BagNode* bags_;
  CertificateBags certificateBags_;
  base::CertificateCollector certificates_;  // of the same numbers
  base::Key key_;
};

}  // namespace

int32_t aux_open_pkcs12(const runtime::ByteBuffer* data, const runtime::StringObject* password,
                        runtime::KeyObject** key, runtime::CertificateList** certificates) {
  return base::traced("aux_open_pkcs12", [&] {
    if (data == nullptr || key == nullptr || certificates == nullptr) {
      return kInvalidArgument;
    }
    base::BagList bags;
    uint8_t verified = 0;
    const int32_t decoded = bound.pkcs12->Decode(data, nullptr, password, bags.put(), &verified);
    if (verified == 0) {  // before the result, whatever that is
      return kFail;
    }
    if (decoded != kOk) {
      return decoded;
    }
    PfxReader reader(bags.get());
    const int32_t result = reader.read();
    if (result == kOk) {
      reader.handOut(key, certificates);
    }
    return result;
  });
}

}  // namespace vexa::pkcs12
