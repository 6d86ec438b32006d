#include <cstring>
#include <utility>

#include "base/certificate_chain.h"
#include "base/heap.h"
#include "base/trace.h"
#include "base/wipe.h"
#include "pkcs12/pkcs12.h"

namespace vexa::pkcs12 {
namespace {

using base::bound;

// Collects the key and the certificates from the bags.
class PfxReader {
 public:
  explicit PfxReader(const runtime::BagNode* bags) : bags_(bags) {}

  int32_t read() {
    for (const auto* node = bags_; node != nullptr; node = node->next) {
      if (isKeyBag(node->bag)) {
        if (const int32_t result = takeKey(*node->bag); result != kOk) {
          return result;
        }
      }
    }
    if (key_.get() == nullptr) {
      return kFail;
    }
    // The certificate that belongs to the key is in the list already and stays first.
    return forEachCertificate([](const runtime::SafeBag&) { return true; },
                              [](const runtime::SafeBag&) { return kOk; });
  }

  void handOut(runtime::KeyObject** key, runtime::CertificateList** certificates) {
    *key = key_.release();
    *certificates = certificates_.release();
  }

 private:
  static bool isKeyBag(const runtime::SafeBag* bag) {
    return bag != nullptr && bag->type == runtime::kKeyBag && bag->key != nullptr;
  }

  // Appends the chosen certificates in bag order, and does something with each.
  template <class Choose, class Also>
  int32_t forEachCertificate(Choose choose, Also also) {
    for (const auto* node = bags_; node != nullptr; node = node->next) {
      const runtime::SafeBag* const bag = node->bag;
      if (bag == nullptr || bag->type != runtime::kCertificateBag || bag->certificate == nullptr ||
          !choose(*bag)) {
        continue;
      }
      if (const int32_t result = base::appendCertificate(certificates_, bag->certificate);
          result != kOk) {
        return result;
      }
      if (const int32_t result = also(*bag); result != kOk) {
        return result;
      }
    }
    return kOk;
  }

  // A later key bag overwrites an earlier one.
  int32_t takeKey(const runtime::SafeBag& keyBag) {
    if (keyBag.localKeyId != nullptr) {
      const int32_t result = forEachCertificate(
          [&keyBag](const runtime::SafeBag& bag) {
            return bag.localKeyId != nullptr &&
                   bound.commonTypes->BufferCompare(bag.localKeyId, keyBag.localKeyId) == 0;
          },
          [this](const runtime::SafeBag& bag) { return takePublicKey(bag.certificate); });
      if (result != kOk) {
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
  base::Key key_;
  base::CertificateList certificates_;
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
