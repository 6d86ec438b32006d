#include <cstring>
#include <utility>

#include "base/certificate_chain.h"
#include "base/heap.h"
#include "base/trace.h"
#include "base/wipe.h"
#include "pkcs12/certificate_bags.h"
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
    if (const int32_t result = collectCertificates(); result != kOk) {
      return result;
    }
    for (const auto* node = bags_; node != nullptr; node = node->next) {
      if (isKeyBag(node->bag)) {
        if (const int32_t result = takeKey(*node->bag); result != kOk) {
          return result;
        }
      }
    }
    return key_.get() == nullptr ? kFail : listAll();
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
    int32_t result = certificateBags_.collect(bags_);
    for (uint64_t i = 0; i < certificateBags_.size() && result == kOk; ++i) {
      result = certificates_.addCandidate(certificateBags_[i].certificate);
    }
    return result == kOk ? certificates_.arrange() : result;
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
    if (keyBag.localKeyId != nullptr) {
      if (const int32_t result = takeCertificatesOf(*keyBag.localKeyId); result != kOk) {
        return result;
      }
    }
    int32_t result = ensureKey();
    if (result == kOk) {
      result =
          bound.commonTypes->AlgorithmIdCopy(&key_->privateKey.algorithm, &keyBag.key->algorithm);
    }
    return result == kOk ? takeMaterial(keyBag.key->key) : result;
  }

  // The certificates with the id of a key are listed, and each puts its public key in the place of
  // the one before.
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
      result = certificates_.list(group->numbers[i]);
      if (result == kOk) {
        result = takePublicKey(certificateBags_[group->numbers[i]].certificate);
      }
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

  int32_t ensureKey() {
    return key_.get() != nullptr ? kOk : bound.commonTypes->KeyCreate(key_.put());
  }

  int32_t takePublicKey(runtime::Certificate* certificate) {
    const int32_t result = ensureKey();
    const runtime::PublicKey* const publicKey = certificate->table->GetPublicKey(certificate);
    return result != kOk || publicKey == nullptr
               ? result
               : bound.commonTypes->PublicKeyCopy(&key_->publicKey, publicKey);
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
  base::TraceScope scope("aux_open_pkcs12");
  if (data == nullptr || key == nullptr || certificates == nullptr) {
    return scope.leave(kInvalidArgument);
  }
  base::BagList bags;
  uint8_t verified = 0;
  const int32_t decoded = bound.pkcs12->Decode(data, nullptr, password, bags.put(), &verified);
  if (verified == 0) {  // before the result, whatever that is
    return scope.leave(kFail);
  }
  if (decoded != kOk) {
    return scope.leave(decoded);
  }
  PfxReader reader(bags.get());
  const int32_t result = reader.read();
  if (result == kOk) {
    reader.handOut(key, certificates);
  }
  return scope.leave(result);
}

}  // namespace vexa::pkcs12
